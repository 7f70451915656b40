#include "ui/localization.h"

#include <QCoreApplication>
#include <QTranslator>

#include <span>
#include <utility>

#include "base/log.h"

namespace trelvis {
namespace {

const LogCategory kLog("localization");

QString catalogueFile(AppLanguage language) {
  return language == AppLanguage::simplifiedChinese ? QStringLiteral(":/i18n/trelvis_zh_Hans.qm")
                                                    : QStringLiteral(":/i18n/trelvis_en.qm");
}

}  // namespace

Localization::Localization(AppLanguageStore& store, QLocale systemLocale)
    : store_(store), systemLocale_(std::move(systemLocale)) {
  install(resolve(store_.preference(), systemLocale_));
  storeConnection_ = store_.changed().connect([this](AppLanguagePreference preference) {
    const AppLanguage language = resolve(preference, systemLocale_);
    if (language != language_) install(language);
  });
}

Localization::~Localization() {
  if (translator_) QCoreApplication::removeTranslator(translator_.get());
}

AppLanguage Localization::resolve(AppLanguagePreference preference, const QLocale& systemLocale) {
  switch (preference) {
    case AppLanguagePreference::english:
      return AppLanguage::english;
    case AppLanguagePreference::simplifiedChinese:
      return AppLanguage::simplifiedChinese;
    case AppLanguagePreference::system:
      break;
  }
  return systemLocale.language() == QLocale::Chinese ? AppLanguage::simplifiedChinese
                                                     : AppLanguage::english;
}

void Localization::install(AppLanguage language) {
  auto translator = std::make_unique<QTranslator>();
  if (!translator->load(catalogueFile(language))) {
    // The catalogues are compiled into the program, so this is a broken build;
    // the keys themselves still show, which beats showing nothing.
    kLog.error("cannot load the catalogue {}", catalogueFile(language).toStdString());
  }
  // The new catalogue goes in before the old one leaves, so that no widget
  // retranslates against an empty table in between.
  QCoreApplication::installTranslator(translator.get());
  if (translator_) QCoreApplication::removeTranslator(translator_.get());
  translator_ = std::move(translator);
  language_ = language;
  changed_.emit(language);
}

QString Localization::text(std::string_view key) {
  const std::string id(key);
  return qtTrId(id.c_str());
}

std::string Localization::render(const LocalizedText& text) {
  return text.render([](std::string_view key, std::span<const int64_t> arguments) {
    QString translated = Localization::text(key);
    for (const int64_t argument : arguments) translated = translated.arg(argument);
    return translated.toStdString();
  });
}

LocalizedTextRenderer Localization::renderer() {
  return [](const LocalizedText& text) {
    return render(text);
  };
}

}  // namespace trelvis
