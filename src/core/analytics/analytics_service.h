#pragma once

// AnalyticsService reports the program's named events and user properties. On
// this platform nothing leaves the machine: events are written to the log at
// debug level under "analytics", and only once the service has been
// configured and enabled at start. Main thread.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/membership/membership_status_refreshing.h"

namespace trelvis {

struct LookupOutcome;

class AnalyticsService {
 public:
  using Parameters = std::vector<std::pair<std::string, std::string>>;

  // Marks the service configured and enabled; later calls change nothing.
  void configure();
  bool isConfigured() const { return configured_; }
  bool isEnabled() const { return enabled_; }

  // Dropped while the service is not enabled.
  void logEvent(std::string_view name, const Parameters& parameters = {});
  // "translate_result" with the outcome's parameters.
  void lookupOutcome(const LookupOutcome& outcome);

  // "membership_plan": the plan's code, or "none".
  void setMembershipPlan(std::optional<MembershipPlanCode> plan);
  void setUserProperties(const Parameters& properties);

 private:
  bool configured_ = false;
  bool enabled_ = false;
};

}  // namespace trelvis
