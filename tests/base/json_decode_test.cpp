#include "base/json_decode.h"

#include "support/thrown.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace trelvis {
namespace records {

enum class Plan { free, pro };

Plan decodeJson(const json::Value& value, json::Tag<Plan>) {
  const auto text = value.as<std::string>();
  if (text == "free") return Plan::free;
  if (text == "pro") return Plan::pro;
  value.fail("unknown plan");
}

struct Entry {
  std::string word;
  int32_t count = 0;
};

Entry decodeJson(const json::ObjectReader& reader, json::Tag<Entry>) {
  return {reader.required<std::string>("word"), reader.value<int32_t>("count")};
}

struct Quota {
  int64_t remaining = 0;
  std::optional<Timestamp> resetsAt;
};

Quota decodeJson(const json::ObjectReader& reader, json::Tag<Quota>) {
  return {reader.required<int64_t>("remaining"), reader.optional<Timestamp>("resets_at")};
}

struct Reply {
  Plan plan = Plan::free;
  Quota quota;
  std::vector<Entry> items;
};

Reply decodeJson(const json::ObjectReader& reader, json::Tag<Reply>) {
  return {reader.value<Plan>("plan", Plan::free), reader.required<Quota>("quota"),
          reader.value<std::vector<Entry>>("items")};
}

}  // namespace records

namespace {

// A reader must not be built over a temporary document that dies before it.
static_assert(!std::is_constructible_v<json::ObjectReader, nlohmann::json&&>);

template <class T>
std::string show(const T& value) {
  std::ostringstream out;
  if constexpr (std::is_same_v<T, Timestamp>) {
    out << formatIso8601(value, true);
  } else if constexpr (std::is_same_v<T, std::optional<int>>) {
    out << (value ? std::to_string(*value) : "none");
  } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
    for (const auto& element : value) out << element << ";";
  } else {
    out << std::boolalpha << value;
  }
  return out.str();
}

using Decode = std::function<std::string(const json::ObjectReader&)>;

template <class T>
Decode valueOf() {
  return [](const json::ObjectReader& reader) {
    return show(reader.value<T>("v"));
  };
}

template <class T>
Decode requiredOf() {
  return [](const json::ObjectReader& reader) {
    return show(reader.required<T>("v"));
  };
}

TEST(JsonDecodeTest, FieldsAreDecodedStrictly) {
  struct Case {
    const char* value;  // Of "v"; absent when null.
    Decode decode;
    const char* expected;
  };
  const Case cases[] = {
      {"true", valueOf<bool>(), "true"},
      {nullptr, valueOf<bool>(), "false"},
      {"1", valueOf<bool>(), "error: v: expected a boolean"},
      {"3.0", valueOf<int32_t>(), "3"},
      {"3.5", valueOf<int32_t>(), "error: v: expected an integer"},
      {R"("3")", valueOf<int32_t>(), "error: v: expected an integer"},
      {"2147483647", valueOf<int32_t>(), "2147483647"},
      {"2147483648", valueOf<int32_t>(), "error: v: integer out of range"},
      {"-2147483649", valueOf<int32_t>(), "error: v: integer out of range"},
      {"1e10", valueOf<int32_t>(), "error: v: integer out of range"},
      {"-9223372036854775808", valueOf<int64_t>(), "-9223372036854775808"},
      {"9223372036854775808", valueOf<int64_t>(), "error: v: integer out of range"},
      {"9.2233720368547758e18", valueOf<int64_t>(), "error: v: integer out of range"},
      {"-9.2233720368547758e18", valueOf<int64_t>(), "-9223372036854775808"},
      {"18446744073709551615", valueOf<uint64_t>(), "18446744073709551615"},
      {"18446744073709551616", valueOf<uint64_t>(), "error: v: integer out of range"},
      {"-1", valueOf<uint64_t>(), "error: v: integer out of range"},
      {"1.5", valueOf<double>(), "1.5"},
      {R"("1.5")", valueOf<double>(), "error: v: expected a number"},
      {R"("caf\u00e9")", valueOf<std::string>(), "caf\xC3\xA9"},
      {"null", valueOf<std::string>(), ""},
      {"1", valueOf<std::string>(), "error: v: expected a string"},
      {R"("2026-01-02T03:04:05.5+01:00")", valueOf<Timestamp>(), "2026-01-02T02:04:05.500Z"},
      {R"("2026-01-02")", valueOf<Timestamp>(), "error: v: Expected an ISO-8601 timestamp."},
      {"null", valueOf<std::optional<int>>(), "none"},
      {R"("0")", valueOf<std::optional<int>>(), "error: v: expected an integer"},
      {R"(["a", "b"])", valueOf<std::vector<std::string>>(), "a;b;"},
      {R"(["a", 1])", valueOf<std::vector<std::string>>(), "error: v[1]: expected a string"},
      {"[null]", valueOf<std::vector<std::string>>(), "error: v[0]: expected a string"},
      {R"({"0": "a"})", valueOf<std::vector<std::string>>(), "error: v: expected an array"},
      {nullptr, requiredOf<int>(), "error: v: missing required value"},
      {"null", requiredOf<std::string>(), "error: v: missing required value"},
  };
  for (const Case& c : cases) {
    const std::string text = c.value ? std::string(R"({"v": )") + c.value + "}" : "{}";
    SCOPED_TRACE(text);
    const nlohmann::json document = json::parse(text);
    std::string result;
    try {
      result = c.decode(json::ObjectReader(document));
    } catch (const json::DecodeError& error) {
      result = std::string("error: ") + error.what();
    }
    EXPECT_EQ(result, c.expected);
  }
}

TEST(JsonDecodeTest, RecordsDecodeThroughHooksAndErrorsNameTheNestedPath) {
  const std::pair<const char*, const char*> failures[] = {
      {"[]", "expected an object"},
      {"{}", "quota: missing required value"},
      {R"({"quota": {"remaining": "x"}})", "quota.remaining: expected an integer"},
      {R"({"quota": {"remaining": 1, "resets_at": "soon"}})",
       "quota.resets_at: Expected an ISO-8601 timestamp."},
      {R"({"quota": {"remaining": 1}, "plan": "gold"})", "plan: unknown plan"},
      {R"({"quota": {"remaining": 1}, "items": [{"word": "a"}, {"word": "b"}, {}]})",
       "items[2].word: missing required value"},
      {R"({"token": "secret)", "invalid JSON at byte 18"},
      {R"({"token": "secret"} x)", "invalid JSON at byte 21"},
  };
  for (const auto& [text, message] : failures) {
    SCOPED_TRACE(text);
    EXPECT_EQ(testing::messageThrownBy<json::DecodeError>(
                  [text = text] { json::decodeText<records::Reply>(text); }),
              message);
  }

  const auto reply = json::decodeText<records::Reply>(R"({
    "plan": "pro", "unknown": [1, 2],
    "quota": {"remaining": 7, "resets_at": "2026-01-02T03:04:05Z"},
    "items": [{"word": "a", "count": 2}, {"word": "b", "count": null}]
  })");
  EXPECT_EQ(reply.plan, records::Plan::pro);
  EXPECT_EQ(reply.quota.remaining, 7);
  EXPECT_EQ(reply.quota.resetsAt, parseIso8601("2026-01-02T03:04:05Z").value());
  ASSERT_EQ(reply.items.size(), 2u);
  EXPECT_EQ(reply.items[0].word + std::to_string(reply.items[0].count), "a2");
  EXPECT_EQ(reply.items[1].word + std::to_string(reply.items[1].count), "b0");
}

TEST(JsonDecodeTest, ParseRefusesHostileTextWithoutQuotingIt) {
  // `depth` arrays, or objects each holding the next under "a".
  const auto nested = [](int depth, bool objects) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += objects ? R"({"a":)" : "[";
    if (objects) text += "0";
    for (int i = 0; i < depth; ++i) text += objects ? "}" : "]";
    return text;
  };
  const std::string tooDeep = "invalid JSON: nested deeper than 256 levels";
  const std::pair<std::string, std::string> cases[] = {
      {R"({"seq": 1e400})", "invalid JSON: a number is out of range"},
      {"{\"s\": \"secret\xC3\x28\"}", "invalid JSON at byte 15"},
      {"[\"\xED\xA0\x80\"]", "invalid JSON at byte 4"},  // a UTF-16 surrogate
      {nested(256, false), ""},
      {nested(257, false), tooDeep},
      {nested(257, true), tooDeep},
      {nested(100000, false), tooDeep},  // refused before it can exhaust the stack
  };
  for (const auto& [text, message] : cases) {
    SCOPED_TRACE(text.substr(0, 40));
    try {
      const nlohmann::json document = json::parse(text);
      EXPECT_EQ(message, "") << "parsed";
    } catch (const json::DecodeError& error) {
      EXPECT_EQ(error.what(), message);
    }
  }
}

}  // namespace
}  // namespace trelvis
