#include <gtest/gtest.h>

#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

#include "core/prefs/app_language_store.h"
#include "core/prefs/in_memory_preference_store.h"
#include "core/triggers/shortcut_display.h"
#include "ui/localization.h"
#include "ui/lookup_error_texts.h"
#include "ui/qt_test_application.h"

namespace trelvis {
namespace {

struct Message {
  QString source;
  QString translation;
  bool finished = true;
};
using Catalogue = std::map<std::string, Message>;

Catalogue readCatalogue(const std::string& name) {
  const QString path =
      QStringLiteral(TRELVIS_SOURCE_DIR "/resources/translations/") + QString::fromStdString(name);
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
  Catalogue catalogue;
  QXmlStreamReader xml(&file);
  std::string id;
  while (!xml.atEnd()) {
    if (xml.readNext() != QXmlStreamReader::StartElement) continue;
    if (xml.name() == QLatin1String("message")) {
      id = xml.attributes().value(QLatin1String("id")).toString().toStdString();
      EXPECT_FALSE(id.empty()) << "a message without an id in " << name;
      EXPECT_FALSE(catalogue.count(id)) << id << " twice in " << name;
      catalogue[id];
    } else if (xml.name() == QLatin1String("source")) {
      catalogue[id].source = xml.readElementText();
    } else if (xml.name() == QLatin1String("translation")) {
      const QString type = xml.attributes().value(QLatin1String("type")).toString();
      catalogue[id].finished = type.isEmpty();
      catalogue[id].translation = xml.readElementText();
    }
  }
  EXPECT_FALSE(xml.hasError()) << name << ": " << xml.errorString().toStdString();
  return catalogue;
}

// Dotted texts in the client's code that are not the interface's words.
bool isLocalizedKey(const std::string& text) {
  for (std::string_view prefix : {"me.mossgrove.", "com.trelvis.", "permissions.", "entry."}) {
    // Preference keys, log names, and the fields of the lookup stream.
    if (text.starts_with(prefix)) return false;
  }
  // The lookup stream's event names.
  for (std::string_view event :
       {"lookup.completed", "lookup.error", "lookup.field.delta", "lookup.language"}) {
    if (text == event) return false;
  }
  // File names.
  const std::string extension = text.substr(text.rfind('.') + 1);
  for (std::string_view file : {"jpg", "json", "lock", "png", "qm", "svg", "ts"}) {
    if (extension == file) return false;
  }
  return true;
}

// Every string literal of the client's logic and interface that reads as a
// localized key ("lookup.error.title", "shortcut.key.code"), with a file it is in.
std::map<std::string, std::string> keysUsedInCode() {
  static const std::regex literal(R"re("([a-z][a-zA-Z0-9]*(\.[a-zA-Z][a-zA-Z0-9]*)+)")re");
  std::map<std::string, std::string> keys;
  const std::filesystem::path root(TRELVIS_SOURCE_DIR "/src");
  for (const char* layer : {"core", "ui", "app"}) {
    if (!std::filesystem::exists(root / layer)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root / layer)) {
      const std::string extension = entry.path().extension().string();
      if (extension != ".h" && extension != ".cpp") continue;
      std::ifstream in(entry.path());
      std::stringstream text;
      text << in.rdbuf();
      const std::string code = text.str();
      for (auto it = std::sregex_iterator(code.begin(), code.end(), literal);
           it != std::sregex_iterator(); ++it) {
        const std::string key = (*it)[1].str();
        if (isLocalizedKey(key)) keys.emplace(key, entry.path().lexically_relative(root).string());
      }
    }
  }
  return keys;
}

std::set<QString> placeholders(const QString& text) {
  static const QRegularExpression placeholder(QStringLiteral("%[1-9]"));
  std::set<QString> found;
  for (auto it = placeholder.globalMatch(text); it.hasNext();) found.insert(it.next().captured());
  return found;
}

TEST(TranslationCatalogueTest, HoldsEveryKeyTheCodeUsesInBothLanguages) {
  const Catalogue english = readCatalogue("trelvis_en.ts");
  const Catalogue chinese = readCatalogue("trelvis_zh_Hans.ts");
  const std::map<std::string, std::string> used = keysUsedInCode();
  // The scan finds the keys of every layer that has some.
  ASSERT_TRUE(used.count("shortcut.key.code"));
  ASSERT_TRUE(used.count("lookup.error.title"));
  ASSERT_TRUE(used.count("tray.quit"));

  for (const auto& [key, file] : used) {
    EXPECT_TRUE(english.count(key)) << key << " (used in " << file << ") is not in trelvis_en.ts";
    EXPECT_TRUE(chinese.count(key))
        << key << " (used in " << file << ") is not in trelvis_zh_Hans.ts";
  }
  for (const auto& [key, message] : english) {
    EXPECT_TRUE(chinese.count(key)) << key << " is only in the English catalogue";
  }
  for (const Catalogue* catalogue : {&english, &chinese}) {
    for (const auto& [key, message] : *catalogue) {
      EXPECT_TRUE(message.finished && !message.translation.trimmed().isEmpty())
          << key << " has no finished translation";
      EXPECT_EQ(placeholders(message.translation), placeholders(english.at(key).source))
          << key << " fills other arguments than its source";
    }
  }
}

TEST(TranslationCatalogueTest, EveryLookupErrorHasItsOwnWords) {
  const Catalogue english = readCatalogue("trelvis_en.ts");
  std::set<std::string_view> messages;
  for (const LookupErrorCode code : allLookupErrorCodes()) {
    messages.insert(lookupErrorMessageKey(code));
    EXPECT_TRUE(english.count(std::string(lookupErrorTitleKey(code))));
  }
  EXPECT_EQ(messages.size(), allLookupErrorCodes().size());
}

// The catalogues compiled into the program carry the same texts, and switching
// the language switches them at once.
TEST(TranslationCatalogueTest, TheCompiledCataloguesFollowTheLanguagePreference) {
  testing::QtTestApplication::instance();
  InMemoryPreferenceStore preferences;
  AppLanguageStore store(preferences);
  store.setPreference(AppLanguagePreference::english);
  Localization localization(store, QLocale(QLocale::Chinese, QLocale::China));
  std::vector<AppLanguage> changes;
  Connection connection =
      localization.changed().connect([&](AppLanguage language) { changes.push_back(language); });

  for (const auto& [name, language] :
       {std::pair{"trelvis_en.ts", AppLanguagePreference::english},
        std::pair{"trelvis_zh_Hans.ts", AppLanguagePreference::simplifiedChinese}}) {
    store.setPreference(language);
    for (const auto& [key, message] : readCatalogue(name)) {
      EXPECT_EQ(Localization::text(key), message.translation) << key << " in " << name;
    }
  }
  EXPECT_EQ(Localization::render(ShortcutDisplay::keyLabel(10)), "按键 10");
  // "system" is the system's language, Chinese here.
  store.setPreference(AppLanguagePreference::system);
  EXPECT_EQ(localization.language(), AppLanguage::simplifiedChinese);
  EXPECT_EQ(changes, (std::vector<AppLanguage>{AppLanguage::simplifiedChinese}));
  store.setPreference(AppLanguagePreference::english);
  EXPECT_EQ(Localization::render(ShortcutDisplay::modifierTapLabel(58)), "Left Alt");
  EXPECT_EQ(Localization::resolve(AppLanguagePreference::system, QLocale(QLocale::German)),
            AppLanguage::english);
}

}  // namespace
}  // namespace trelvis
