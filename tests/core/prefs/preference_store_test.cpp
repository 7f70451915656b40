#include "core/prefs/in_memory_preference_store.h"

#include "base/log.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace trelvis {
namespace {

TEST(PreferenceStoreTest, TypedReadsSeeOnlyTheStoredType) {
  InMemoryPreferenceStore store;
  store.setBool("bool", true);
  store.setInteger("int", 2);
  store.setDouble("double", 2.0);
  store.setString("text", "true");
  store.setDictionary("dict", {{"inner", PreferenceValue::Array{1, "two", 3.5}}});

  // The typed reads that see each key.
  const auto readers = [&](const char* key) {
    std::string names;
    if (store.boolValue(key)) names += "bool ";
    if (store.integerValue(key)) names += "integer ";
    if (store.doubleValue(key)) names += "double ";
    if (store.stringValue(key)) names += "string ";
    if (store.dictionaryValue(key)) names += "dictionary ";
    return names;
  };
  EXPECT_EQ(readers("bool") + readers("int") + readers("double") + readers("text") +
                readers("dict") + readers("missing"),
            "bool integer double string dictionary ");
  EXPECT_EQ(store.integerValue("int"), 2);
  EXPECT_EQ(store.stringValue("text"), "true");
  EXPECT_EQ(store.dictionaryValue("dict")->at("inner"), (PreferenceValue::Array{1, "two", 3.5}));
  EXPECT_NE(PreferenceValue(2), PreferenceValue(2.0));
  EXPECT_NE(PreferenceValue(1), PreferenceValue(true));

  store.setString("int", "now text");
  EXPECT_EQ(store.integerValue("int"), std::nullopt);
  store.remove("int");
  store.remove("never stored");
  EXPECT_EQ(store.value("int"), std::nullopt);
}

TEST(PreferenceStoreTest, RefusesValuesAFileCannotKeepAndKeepsTheOldOne) {
  InMemoryPreferenceStore store;
  store.setDouble("d", 1.5);
  LogCapture log;
  const PreferenceValue refused[] = {
      std::numeric_limits<double>::quiet_NaN(),
      std::numeric_limits<double>::infinity(),
      std::string("bad \xC3\x28 text"),
      PreferenceValue::Array{1, std::string("\xED\xA0\x80")},  // a UTF-16 surrogate
      PreferenceValue::Dictionary{{std::string("\xFF"), 1}},
  };
  for (const PreferenceValue& value : refused) {
    EXPECT_FALSE(store.setValue("d", value));
    EXPECT_EQ(store.doubleValue("d"), 1.5);
  }
  EXPECT_FALSE(store.setBool("\xC0\x80", true));
  EXPECT_EQ(log.records("preferences").size(), std::size(refused) + 1);

  EXPECT_TRUE(store.setString("d", "ünïcödé 中文 🎉"));
  EXPECT_EQ(store.snapshot().size(), 1u);
}

}  // namespace
}  // namespace trelvis
