#pragma once

// Localization: the interface's texts in the language the user chose. It installs
// the compiled catalogue of that language (English or Simplified Chinese, embedded
// in the program) on the application and follows AppLanguageStore: a change swaps
// the catalogue at once, and Qt tells every widget (QEvent::LanguageChange) so
// that it retranslates itself. Keys are looked up with qtTrId; a key the catalogue
// lacks shows as the key itself. Lives on the main thread with the application
// object; borrows the store.

#include <QLocale>
#include <QString>

#include <memory>
#include <string>
#include <string_view>

#include "base/signal.h"
#include "core/localization/app_language.h"
#include "core/prefs/app_language_store.h"
#include "core/triggers/localized_text.h"

class QTranslator;

namespace trelvis {

class Localization {
 public:
  // `systemLocale` decides what the preference "system" means.
  explicit Localization(AppLanguageStore& store, QLocale systemLocale = QLocale::system());
  ~Localization();
  Localization(const Localization&) = delete;
  Localization& operator=(const Localization&) = delete;

  AppLanguage language() const { return language_; }
  // Emitted after the catalogue of a new language is installed.
  Signal<AppLanguage>& changed() { return changed_; }

  // A Chinese system locale means Simplified Chinese (the closer of the two for a
  // reader of either script); any other, English.
  static AppLanguage resolve(AppLanguagePreference preference, const QLocale& systemLocale);

  // The text of `key` in the installed catalogue; `arguments` fill %1, %2, ...
  static QString text(std::string_view key);
  static std::string render(const LocalizedText& text);
  static LocalizedTextRenderer renderer();

 private:
  void install(AppLanguage language);

  AppLanguageStore& store_;
  const QLocale systemLocale_;
  AppLanguage language_ = AppLanguage::english;
  std::unique_ptr<QTranslator> translator_;
  Signal<AppLanguage> changed_;
  Connection storeConnection_;
};

}  // namespace trelvis
