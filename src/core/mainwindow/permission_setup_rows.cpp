#include "core/mainwindow/permission_setup_rows.h"

#include "core/mainwindow/main_window_model.h"

namespace trelvis {
namespace {

struct RowTexts {
  std::string_view statusKey;
  std::string_view actionKey;
  std::string_view accessibilityKey;
  std::optional<PermissionSetupAction> action;
};

RowTexts rowTexts(SystemPermissionState state) {
  switch (state) {
    case SystemPermissionState::notRequested:
      return {"permission.setup.status.notRequested", "permission.setup.action.turnOn",
              "permission.setup.accessibility.openSettings", PermissionSetupAction::openSettings};
    case SystemPermissionState::needsSettings:
      return {"permission.setup.status.notAllowed", "permission.setup.action.turnOn",
              "permission.setup.accessibility.openSettings", PermissionSetupAction::openSettings};
    case SystemPermissionState::restartRequired:
      return {"permission.setup.status.restartRequired", "permission.setup.action.restartApp",
              "permission.setup.accessibility.restart", PermissionSetupAction::restart};
    case SystemPermissionState::allowed:
      break;
  }
  return {"permission.setup.status.allowed", "permission.setup.action.allowed",
          "permission.setup.accessibility.allowed", std::nullopt};
}

}  // namespace

std::vector<PermissionRow> permissionRows(const MainWindowModel& model) {
  std::vector<PermissionRow> rows;
  for (auto kind : kAllSystemPermissionKinds) {
    bool screen = kind == SystemPermissionKind::screenRecording;
    auto state = model.permissionRowState(kind);
    auto texts = rowTexts(state);
    rows.push_back({
        .kind = kind,
        .identifier = screen ? "permission-screen-recording" : "permission-accessibility",
        .titleKey = screen ? "permission.setup.screenRecording.title"
                           : "permission.setup.accessibility.title",
        .descriptionKey = screen ? "permission.setup.screenRecording.description"
                                 : "permission.setup.accessibility.description",
        .symbol = screen ? "video-display" : "preferences-desktop-accessibility",
        .state = state,
        .statusKey = texts.statusKey,
        .actionKey = texts.actionKey,
        .accessibilityKey = texts.accessibilityKey,
        .action = texts.action,
        .isBusy = model.activePermissionRequest() == kind,
        .actionsDisabled = model.isTranslocated(),
    });
  }
  return rows;
}

std::optional<PermissionSetupHint> permissionSetupHint(const MainWindowModel& model) {
  if (model.isTranslocated()) {
    return PermissionSetupHint{"permission-setup-translocated", "permission.setup.translocated",
                               std::nullopt};
  }
  if (const auto& notice = model.permissionNotice()) {
    using Kind = PermissionSetupNotice::Kind;
    switch (notice->kind) {
      case Kind::authentication:
        return PermissionSetupHint{"permission-setup-message", {}, notice->error};
      case Kind::openSystemSettingsFailed:
        return PermissionSetupHint{"permission-setup-message",
                                   "error.permissionSetup.openSystemSettingsFailed", std::nullopt};
      case Kind::permissionNotEnabled:
        return PermissionSetupHint{"permission-setup-message",
                                   "error.permissionSetup.permissionNotEnabled", std::nullopt};
    }
  }
  int allowed = 0;
  for (auto kind : kAllSystemPermissionKinds) {
    allowed += model.permissionSnapshot().state(kind) == SystemPermissionState::allowed;
  }
  if (allowed == 2) return std::nullopt;
  return PermissionSetupHint{
      "permission-setup-hint",
      allowed == 0 ? "permission.setup.hint.needBoth" : "permission.setup.hint.needOne",
      std::nullopt};
}

}  // namespace trelvis
