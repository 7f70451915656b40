#pragma once

// TestEnvironment: the whole composition root on virtual time, with a fake for
// every platform service and every collaborator that the environment receives
// ready-made. The real lookup client runs over the fake HTTP transport. The
// environment is built on first use of app(), so that a test can set the fakes,
// the preferences and the process environment first. Every fake writes into
// the one `log`.

#include <memory>
#include <string>

#include "base/async/test_scheduler.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/shell/app_environment.h"
#include "support/call_log.h"
#include "support/fake_access_token_provider.h"
#include "support/fake_app_features.h"
#include "support/fake_command_event_tap.h"
#include "support/fake_environment.h"
#include "support/fake_hot_key_registrar.h"
#include "support/fake_http_transport.h"
#include "support/fake_input_environment.h"
#include "support/fake_local_event_monitor.h"
#include "support/fake_lookup_pipeline.h"

namespace trelvis {

class TestEnvironment {
 public:
  AppEnvironment& app() {
    if (!app_) build();
    return *app_;
  }

  TestScheduler scheduler;
  std::shared_ptr<Executor> main = scheduler.makeExecutor();
  CallLog log;
  InMemoryPreferenceStore preferences;
  EnvironmentTable environmentVariables;
  std::string currentDirectory = "/nonexistent";
  // False builds the environment without a main window model, select and input, as a
  // build without those features has it.
  bool withLaterFeatures = true;

  FakeAccessibilityPermission accessibility;
  FakeHotKeyRegistrar hotKeys;
  FakeLocalEventMonitor localEvents;
  FakePointerLocator pointer;
  FakeFrontmostApplication frontmost;
  FakeCommandEventTap commandTap;
  std::shared_ptr<FakeHttpTransport> http = std::make_shared<FakeHttpTransport>();

  std::shared_ptr<FakeAccessTokenProvider> tokens = std::make_shared<FakeAccessTokenProvider>();
  std::shared_ptr<FakeSignInCheck> signIn = std::make_shared<FakeSignInCheck>(log);
  std::shared_ptr<FakeLearning> learning = std::make_shared<FakeLearning>(log);
  std::shared_ptr<FakeMembershipStore> membership = std::make_shared<FakeMembershipStore>(log);
  std::shared_ptr<FakePronunciationPlayer> playback =
      std::make_shared<FakePronunciationPlayer>(log);
  std::shared_ptr<FakeRegionOverlay> regionOverlay = std::make_shared<FakeRegionOverlay>(log);
  // What the overlay was made with.
  AppearanceStore* regionOverlayAppearance = nullptr;
  std::function<ShortcutBinding()> regionOverlayBinding;
  std::shared_ptr<FakeOverlayPanel> panel = std::make_shared<FakeOverlayPanel>(log);
  std::shared_ptr<FakeMainWindowModel> mainWindow = std::make_shared<FakeMainWindowModel>(log);
  std::shared_ptr<FakeScreenCapture> capture = std::make_shared<FakeScreenCapture>(log);
  std::shared_ptr<FakeSelectTranslate> select = std::make_shared<FakeSelectTranslate>(log);
  std::shared_ptr<FakeInputTranslation> input = std::make_shared<FakeInputTranslation>(log);

 private:
  void build() {
    AppEnvironment::Platform platform{
        main,
        [this] { return scheduler.makeExecutor(); },
        scheduler,
        preferences,
        environmentOf(environmentVariables),
        currentDirectory,
        [] { return std::vector<std::string>{"en-US"}; },
        http,
        accessibility,
        hotKeys,
        localEvents,
        pointer,
        frontmost,
        [this](std::optional<ShortcutBinding> lookup, std::optional<ShortcutBinding> region,
               CommandTapMonitor::OnTrigger onTrigger,
               CommandTapMonitor::OnRegionSelection onRegion) {
          return std::make_shared<CommandTapMonitor>(accessibility, commandTap, scheduler, lookup,
                                                     region, std::move(onTrigger),
                                                     std::move(onRegion));
        },
        [] { return false; },
        [this] { log.add("activate application"); },
        [this](AppearanceStore& appearance, std::function<ShortcutBinding()> binding) {
          regionOverlayAppearance = &appearance;
          regionOverlayBinding = std::move(binding);
          return regionOverlay;
        },
        [this](TargetLanguageStore&, SecondaryTargetLanguageStore&) { return capture; },
        [this](LookupOverlayModel&, AppearanceStore&, AppLanguageStore&) { return panel; },
        [this](SignInHistoryStore&, SetupCompletionStore&,
               const std::shared_ptr<ShortcutController>&) {
          return AppEnvironment::Platform::MainWindowParts{
              mainWindow, withLaterFeatures ? mainWindow : nullptr};
        },
    };
    app_ = AppEnvironment::create(
        std::move(platform),
        withLaterFeatures
            ? AppEnvironment::Collaborators{signIn, tokens, learning, membership, learning,
                                            playback, select, input, input, input}
            : AppEnvironment::Collaborators{signIn, tokens, learning, membership, learning,
                                            playback, nullptr, nullptr, nullptr, nullptr});
  }

  std::shared_ptr<AppEnvironment> app_;
};

}  // namespace trelvis
