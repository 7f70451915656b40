#pragma once

// MainWindow: the application's main window over MainWindowModel. While no
// session is signed in it shows the sign-in form (sign in, registration and
// password reset, with the code button's countdown and the model's validation
// errors and notices), or while a stored session is confirmed or waits for the
// network, that state; while the permission gate is up, the permission setup
// page; otherwise a sidebar of pages (home, vocabulary, review, settings) bound
// to the model's selected tab. The home page shows the account and the plan from
// MembershipStatusStore with the free plan's quota meter. The settings page holds
// the target languages, the appearance, the application's language, the English
// accent and pronunciation autoplay, launch at login, the four shortcuts with
// their recorder (one recording at a time, cancelled by a second click, Escape,
// or leaving the page), and the membership card with the link to the plans.
//
// It follows the model and the stores synchronously on their `changed` signals
// and writes what the user types straight into the model's fields. Texts come
// from the installed catalogue and are set again when Localization changes
// language; the colours follow AppearanceStore. Main thread; borrows the model
// and the stores, which must outlive it.

#include <QWidget>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/signal.h"

namespace trelvis {

class AppLanguageStore;
class Executor;
class AppearanceStore;
class EnglishPronunciationStore;
class LaunchAtLoginControlling;
class Localization;
class MainWindowModel;
class MembershipStatusStore;
class PronunciationSettingsStore;
class SecondaryTargetLanguageStore;
class ShortcutController;
class TargetLanguageStore;

class MainWindow final : public QWidget {
 public:
  // What the window shows and the settings page writes besides the model.
  struct Stores {
    MembershipStatusStore& membership;
    AppearanceStore& appearance;
    AppLanguageStore& appLanguage;
    TargetLanguageStore& targetLanguage;
    Localization& localization;
    SecondaryTargetLanguageStore& secondaryTargetLanguage;
    EnglishPronunciationStore& englishPronunciation;
    PronunciationSettingsStore& pronunciationSettings;
    LaunchAtLoginControlling& launchAtLogin;
    // Runs the recordings; lives on `mainExecutor`.
    ShortcutController& shortcuts;
  };

  // `mainExecutor` runs the permission polling while the setup page shows.
  MainWindow(MainWindowModel& model, std::shared_ptr<Executor> mainExecutor, Stores stores,
             QWidget* parent = nullptr);
  ~MainWindow() override;

  // Shows the model's state now (the signals do it by themselves).
  void refresh();

 private:
  struct Parts;

  void build();
  void refreshAuth();
  void refreshSession();
  void refreshConnectionBanner();
  void refreshPermissions();
  void refreshHome();
  void refreshSettings();
  void refreshShortcuts();
  void refreshMembershipCard();
  void toggleRecording(std::size_t row);
  void finishRecording(std::size_t row, std::string failureKey);
  void applyTheme();
  void followPermissionsWhile(bool shown);

  MainWindowModel& model_;
  std::shared_ptr<Executor> mainExecutor_;
  Stores stores_;
  std::unique_ptr<Parts> parts_;
  std::vector<Connection> connections_;
};

}  // namespace trelvis
