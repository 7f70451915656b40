#include "core/net/server_api.h"

#include <gtest/gtest.h>

#include "core/net/multipart_form.h"
#include "support/fake_environment.h"

namespace trelvis {
namespace {

TEST(ServerAPITest, BaseURLComesFromTheEnvironmentWhenUsable) {
  const std::string fallback = defaultBaseURL().absoluteString();
  EXPECT_EQ(fallback, "http://127.0.0.1:8787/trelvis");
  struct Case {
    std::optional<std::string> value;
    std::string expected;
  };
  const Case cases[] = {
      {std::nullopt, fallback},
      {"   \n", fallback},
      {"not a url", fallback},
      {" https://api.example/trelvis\n", "https://api.example/trelvis"},
      {"http://localhost:9000/x/", "http://localhost:9000/x/"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value.value_or("(unset)"));
    EnvironmentTable env;
    if (c.value) env["TRELVIS_API_BASE_URL"] = *c.value;
    EXPECT_EQ(effectiveBaseURL(environmentOf(env)).absoluteString(), c.expected);
  }
}

TEST(ServerAPITest, StripTrailingSlashRemovesEverySlashAtTheEnd) {
  struct Case {
    const char* url;
    const char* expected;
  };
  for (const Case& c :
       {Case{"https://h/trelvis//", "https://h/trelvis"},
        Case{"https://h/trelvis", "https://h/trelvis"}, Case{"https://h/", "https://h/"}}) {
    SCOPED_TRACE(c.url);
    EXPECT_EQ(stripTrailingSlash(*Url::parse(c.url)).absoluteString(), c.expected);
  }
}

TEST(ServerAPITest, RequestsCarryTheIdentifyingHeaders) {
  auto request = ServerAPIRequest::make(*Url::parse("https://h/x"));
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.timeout, std::chrono::seconds(60));
  EXPECT_EQ(request.headers.get("x-trelvis-platform"), "linux");
  EXPECT_EQ(request.headers.get("X-Trelvis-Version"), std::string(ServerAPIRequest::appVersion()));
  EXPECT_FALSE(ServerAPIRequest::appVersion().empty());

  auto unversioned = ServerAPIRequest::make(*Url::parse("https://h/x"), "");
  EXPECT_FALSE(unversioned.headers.contains("X-Trelvis-Version"));
}

TEST(MultipartFormTest, DecimalTextAlwaysHasAFraction) {
  struct Case {
    double value;
    const char* text;
  };
  for (const Case& c : {Case{-3, "-3.0"}, Case{0.1, "0.1"}, Case{1e20, "1e+20"},
                        Case{1.0 / 3, "0.3333333333333333"}}) {
    EXPECT_EQ(decimalText(c.value), c.text);
    EXPECT_EQ(std::stod(decimalText(c.value)), c.value);
  }
}

}  // namespace
}  // namespace trelvis
