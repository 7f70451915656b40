#include "base/uuid.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace trelvis {
namespace {

TEST(UuidTest, ParsesEitherCaseAndRejectsEverythingElse) {
  struct Case {
    const char* text;
    std::optional<std::string> canonical;
  };
  const Case cases[] = {
      {"aBcDeF01-2345-6789-AbCd-Ef0123456789", "ABCDEF01-2345-6789-ABCD-EF0123456789"},
      {"123e4567-e89b-42d3-a456-42661417400", std::nullopt},
      {"123e4567-e89b-42d3-a456-4266141740000", std::nullopt},
      {"123e4567-e89b-42d3-a4564-26614174000", std::nullopt},
      {"g23e4567-e89b-42d3-a456-426614174000", std::nullopt},
      {"+23e4567-e89b-42d3-a456-426614174000", std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const std::optional<Uuid> uuid = Uuid::parse(c.text);
    EXPECT_EQ(uuid ? std::optional(uuid->toString()) : std::nullopt, c.canonical);
  }
}

TEST(UuidTest, RandomUuidsAreVersionFourAndDistinct) {
  std::unordered_set<Uuid> seen;
  for (int i = 0; i < 100; ++i) {
    const Uuid uuid = Uuid::random();
    const std::string text = uuid.toString();
    SCOPED_TRACE(text);
    EXPECT_EQ(text[14], '4');
    EXPECT_EQ(uuid.bytes()[8] & 0xC0, 0x80);  // RFC 4122 variant.
    EXPECT_EQ(Uuid::parse(text), uuid);
    EXPECT_TRUE(seen.insert(uuid).second);
  }
}

TEST(UuidTest, OrdersLikeTheCanonicalText) {
  const std::vector<std::string> sorted = {
      "00000000-0000-0000-0000-000000000000", "00000000-0000-0000-0000-0000000000FF",
      "00000000-0000-0000-0100-000000000000", "FF000000-0000-0000-0000-000000000000"};
  std::set<Uuid> ordered;
  for (auto it = sorted.rbegin(); it != sorted.rend(); ++it) ordered.insert(*Uuid::parse(*it));
  std::vector<std::string> texts;
  for (const Uuid& uuid : ordered) texts.push_back(uuid.toString());
  EXPECT_EQ(texts, sorted);
  EXPECT_EQ(Uuid(), *ordered.begin());
}

}  // namespace
}  // namespace trelvis
