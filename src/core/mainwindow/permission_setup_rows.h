#pragma once

// What the permission setup page shows besides the model's fields: the two rows
// in order, each with its texts, its action and whether that action may run, and
// the hint line under them. Localized keys only; the view looks the texts up.

#include <optional>
#include <string_view>
#include <vector>

#include "core/account/auth_session_error.h"
#include "core/mainwindow/main_window_model.h"

namespace trelvis {

struct PermissionRow {
  SystemPermissionKind kind;
  std::string_view identifier;
  std::string_view titleKey;
  std::string_view descriptionKey;
  std::string_view symbol;
  SystemPermissionState state;
  std::string_view statusKey;
  std::string_view actionKey;
  std::string_view accessibilityKey;
  std::optional<PermissionSetupAction> action;  // none once allowed
  bool isBusy = false;
  bool actionsDisabled = false;
};

// The hint line: a key, or an authentication failure shown in the error's own
// words, or nothing when both permissions are allowed.
struct PermissionSetupHint {
  std::string_view identifier;
  std::string_view key;  // empty for an authentication failure
  std::optional<AuthSessionError> error;
};

std::vector<PermissionRow> permissionRows(const MainWindowModel& model);
std::optional<PermissionSetupHint> permissionSetupHint(const MainWindowModel& model);

}  // namespace trelvis
