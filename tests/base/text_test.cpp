#include "base/text.h"

#include <gtest/gtest.h>

#include <string>

namespace trelvis {
namespace {

TEST(TextTest, TrimsUnicodeWhiteSpaceAtBothEndsOnly) {
  struct Case {
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"", ""},
      {" \t\n\v\f\r two  words \r\n", "two  words"},
      {"\xC2\xA0 NBSP \xC2\xA0", "NBSP"},
      {"\xE2\x80\x80 U+2000 to U+200A \xE2\x80\x8A", "U+2000 to U+200A"},
      {"\xE3\x80\x80\xE6\x97\xA5\xE3\x80\x80", "\xE6\x97\xA5"},  // U+3000 around a CJK word.
      {"\xE2\x80\x8B ZWSP \xE2\x80\x8B", "\xE2\x80\x8B ZWSP \xE2\x80\x8B"},
      {" \xEF\xBB\xBF BOM", "\xEF\xBB\xBF BOM"},
      {" \xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80 ", "\xC3\xA9t\xC3\xA9 \xF0\x9F\x98\x80"},
      {" \xC2\xA0\xE3\x80\x80\n", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(trimmed(c.text), c.expected);
    EXPECT_EQ(isBlank(c.text), c.expected.empty());
  }
}

TEST(TextTest, InvalidUtf8IsNeverWhiteSpace) {
  struct Case {
    const char* name;
    std::string text;
    std::string expected;
  };
  const Case cases[] = {
      {"truncated U+3000", " \xE3\x80", "\xE3\x80"},
      {"lead byte before a space", "x\xE3 ", "x\xE3"},
      {"overlong spaces", "\xC0\xA0 x \xE0\x82\xA0", "\xC0\xA0 x \xE0\x82\xA0"},
      {"stray byte before a valid space", "\xFF\xC2\xA0", "\xFF"},
      {"surrogate", "\xED\xA0\x80 ", "\xED\xA0\x80"},
      {"nul", std::string("\0 ", 2), std::string("\0", 1)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(trimmed(c.text), c.expected);
    EXPECT_FALSE(isBlank(c.text));
  }
}

}  // namespace
}  // namespace trelvis
