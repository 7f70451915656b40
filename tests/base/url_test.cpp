#include "base/url.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace trelvis {
namespace {

Url parsed(const char* text) {
  return Url::parse(text).value();
}

TEST(UrlTest, ParsesAbsoluteUrlsIntoTheirParts) {
  struct Case {
    const char* text;
    const char* absolute;
    const char* host;
    std::optional<uint16_t> port;
    const char* path;
    std::optional<std::string> query;
  };
  const Case cases[] = {
      {"http://example.com", "http://example.com/", "example.com", {}, "/", {}},
      {"HTTPS://h:8443/v1/?x=1&y", "https://h:8443/v1/?x=1&y", "h", 8443, "/v1/", "x=1&y"},
      {"http://[::1]:8080/p", "http://[::1]:8080/p", "[::1]", 8080, "/p", {}},
      {"http://h/a/../b/./c#f", "http://h/b/c#f", "h", {}, "/b/c", {}},
      {"http://h/caf\xC3\xA9?q=\xC3\xA9",
       "http://h/caf%C3%A9?q=%C3%A9",
       "h",
       {},
       "/caf%C3%A9",
       "q=%C3%A9"},
      {"trelvis://auth/cb?code=x", "trelvis://auth/cb?code=x", "auth", {}, "/cb", "code=x"},
      {"file:///tmp/a.txt", "file:///tmp/a.txt", "", {}, "/tmp/a.txt", {}},
      // Parts that the written URL leaves out are gone: an empty query, the query
      // of a file URL.
      {"http://h/p?", "http://h/p", "h", {}, "/p", {}},
      {"file:///tmp/?q=1#f", "file:///tmp/#f", "", {}, "/tmp/", {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const Url url = parsed(c.text);
    EXPECT_EQ(url.absoluteString(), c.absolute);
    EXPECT_EQ(url.scheme(), std::string(c.absolute).substr(0, std::string(c.absolute).find(':')));
    EXPECT_EQ(url.host(), c.host);
    EXPECT_EQ(url.port(), c.port);
    EXPECT_EQ(url.path(), c.path);
    EXPECT_EQ(url.query(), c.query);
  }
}

TEST(UrlTest, RejectsRelativeEmptyAndMalformedText) {
  const std::string cases[] = {
      "",
      "/relative",
      "http://",
      "http:/h/",
      "http:///h/",
      "1http://h/",
      "ht_tp://h/",
      "mailto:someone@h.com",
      "http://h/a b",
      "http://h:65536/",
      "http://h/\x01",
      // curl cannot write these so that they read back the same.
      "file:///",
      "file:///a/..",
      "http://h%25d/",
      std::string("http://h/\0x", 11),
  };
  for (const std::string& text : cases) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(Url::parse(text).has_value());
  }
}

TEST(UrlTest, AppendingPathComponentAddsExactlyOneEncodedSegment) {
  struct Case {
    const char* base;
    const char* component;
    const char* expected;
  };
  const Case cases[] = {
      {"https://h", "v1", "https://h/v1"},
      {"https://h/api/", "lookup", "https://h/api/lookup"},
      {"https://h:8443/a?q=%C3%A9#top", "x", "https://h:8443/a/x?q=%C3%A9#top"},
      {"https://h/w", "a&b=c/d?e#f%", "https://h/w/a%26b%3Dc%2Fd%3Fe%23f%25"},
      {"https://h/w", "a-b_c.d~e", "https://h/w/a-b_c.d~e"},
      {"https://h/w", "..", "https://h/w/%2E%2E"},
      {"file:///tmp", "a b", "file:///tmp/a%20b"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    const Url base = parsed(c.base);
    EXPECT_EQ(base.appendingPathComponent(c.component).absoluteString(), c.expected);
    EXPECT_EQ(base, parsed(c.base));  // The original is left alone.
  }
}

TEST(UrlTest, SettingPathKeepsTheRestAndTheEscapesAsWritten) {
  struct Case {
    const char* base;
    const char* path;
    const char* expected;
  };
  const Case cases[] = {
      {"https://u@h:8443/old/path?q=1#f", "/a/b%20c", "https://u@h:8443/a/b%20c?q=1#f"},
      {"https://h/old", "", "https://h/"},
      {"https://h/old", "new", "https://h/new"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(parsed(c.base).settingPath(c.path).absoluteString(), c.expected);
  }
}

TEST(UrlTest, QueryItemsAreDecodedFromTheQuery) {
  struct Case {
    const char* text;
    std::vector<QueryItem> items;
  };
  const Case cases[] = {
      {"https://h/", {}},
      {"https://h/?a=1&b&c=&a=2", {{"a", "1"}, {"b", std::nullopt}, {"c", ""}, {"a", "2"}}},
      {"https://h/?&&a=x=y&#b=2", {{"a", "x=y"}}},
      {"https://h/?q=two%20words+%26%3D", {{"q", "two words+&="}}},
      {"https://h/?w=caf%C3%A9&v=\xC3\xA9", {{"w", "caf\xC3\xA9"}, {"v", "\xC3\xA9"}}},
      {"https://h/?bad=%zz%4", {{"bad", "%zz%4"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parsed(c.text).queryItems(), c.items);
  }
}

TEST(UrlTest, SettingQueryItemsEncodesThem) {
  struct Case {
    const char* base;
    std::vector<QueryItem> items;
    const char* expected;
  };
  const Case cases[] = {
      {"https://h/p?old=1", {{"q", "hello"}}, "https://h/p?q=hello"},
      {"https://h/p", {{"flag", std::nullopt}, {"empty", ""}}, "https://h/p?flag&empty="},
      {"https://h/p", {{"a&b", "c d=e+f"}}, "https://h/p?a%26b=c%20d%3De%2Bf"},
      {"http://[::1]:8/", {{"w", "caf\xC3\xA9#?/"}}, "http://[::1]:8/?w=caf%C3%A9%23%3F%2F"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.expected);
    const Url url = parsed(c.base).settingQueryItems(c.items);
    EXPECT_EQ(url.absoluteString(), c.expected);
    EXPECT_EQ(url.queryItems(), c.items);
  }
}

// A shallow copy assignment would show only here, as a double free.
TEST(UrlTest, CopiesAndMovesAreIndependentValues) {
  const Url original = parsed("https://h/a");
  Url copy = original;
  copy = copy.appendingPathComponent("b");
  Url moved = std::move(copy);
  copy = original;
  EXPECT_EQ(original.absoluteString(), "https://h/a");
  EXPECT_EQ(moved.absoluteString(), "https://h/a/b");
  EXPECT_EQ(copy, original);
}

}  // namespace
}  // namespace trelvis
