#include "core/analytics/analytics_service.h"

#include "base/log.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {
namespace {

const LogCategory kLog("analytics");

std::string joined(const AnalyticsService::Parameters& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters) {
    text += ' ';
    text += name;
    text += '=';
    text += value;
  }
  return text;
}

}  // namespace

void AnalyticsService::configure() {
  if (configured_) return;
  configured_ = true;
  enabled_ = true;
  kLog.debug("configured");
}

void AnalyticsService::logEvent(std::string_view name, const Parameters& parameters) {
  if (!enabled_) return;
  kLog.debug("event {}{}", name, joined(parameters));
}

void AnalyticsService::lookupOutcome(const LookupOutcome& outcome) {
  logEvent("translate_result", outcome.analyticsParameters());
}

void AnalyticsService::setMembershipPlan(std::optional<MembershipPlanCode> plan) {
  setUserProperties({{"membership_plan", std::string(plan ? toString(*plan) : "none")}});
}

void AnalyticsService::setUserProperties(const Parameters& properties) {
  if (!enabled_) return;
  kLog.debug("user properties{}", joined(properties));
}

}  // namespace trelvis
