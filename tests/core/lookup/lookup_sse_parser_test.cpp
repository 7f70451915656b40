#include "core/lookup/lookup_sse_parser.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/json_decode.h"
#include "core/lookup/lookup_error.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using Output = LookupSSEParser::Output;
using Event = LookupStreamEvent;

// Every Output, in order, of `bytes` and then `more` fed one byte at a time and then finished.
std::vector<Output> parse(std::string_view bytes, std::string_view more = {}) {
  LookupSSEParser parser;
  std::vector<Output> outputs;
  for (auto part : {bytes, more}) {
    for (char c : part) {
      if (auto output = parser.consume(static_cast<uint8_t>(c))) outputs.push_back(*output);
    }
  }
  if (auto output = parser.finish()) outputs.push_back(*output);
  return outputs;
}

Output delta(int64_t seq, std::string field, std::string text) {
  return Output{Event{Event::FieldDelta{seq, std::move(field), std::move(text)}}};
}

// The line and block grammar is checked against a model by the event-stream fuzz
// target and its corpus; these cases are about the payload of each kind of block.
TEST(LookupSSEParserTest, BlocksBecomeEvents) {
  struct Case {
    const char* name;
    std::string bytes;
    std::vector<Output> expected;
  };
  const Case cases[] = {
      {"delta",
       "event: lookup.field.delta\ndata: {\"seq\":3,\"field\":\"meaning\",\"delta\":\"hi\"}\n\n",
       {delta(3, "meaning", "hi")}},
      {"paragraph delta, defaults",
       "event: paragraph_translation.field.delta\ndata: {\"seq\":1}\n\n",
       {delta(1, "", "")}},
      {"language",
       "event: lookup.language\ndata: {\"name\":\"English\",\"code\":\"en\"}\n\n",
       {Output{Event{Event::Language{"English", "en"}}}}},
      {"paragraph language, defaults",
       "event: paragraph_translation.language\ndata: {}\n\n",
       {Output{Event{Event::Language{"", ""}}}}},
      {"unknown name, unparsed data", "event: ping\ndata: not json\n\n", {Output{}}},
      {"name resets after a block",
       "event: lookup.language\ndata: {}\n\ndata: {}\n\n",
       {Output{Event{Event::Language{"", ""}}}, Output{}}},
      {"done with a name", "event: lookup.completed\ndata:  [DONE] \n\n", {}},
      {"last block without blank line",
       "event: lookup.field.delta\ndata: {\"seq\":9}",
       {delta(9, "", "")}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(parse(c.bytes), c.expected);
  }

  // Data lines join with a line feed before decoding; a failure has a default message.
  auto outputs = parse(
      "event: lookup.error\r\ndata: {\"message\":\r\ndata: \"quota gone\", \"code\": "
      "\"translation_quota_exhausted\", \"retryable\": false,\r\ndata: \"quota\": {\"used\": 5, "
      "\"limit\": 5, \"remaining\": 0, \"resetAt\": \"2026-01-02T03:04:05Z\"}}\r\n\r\n"
      "event: paragraph_translation.error\ndata: {}\n\n");
  ASSERT_EQ(outputs.size(), 2u);
  EXPECT_EQ(
      std::get<Event::Failure>(outputs[0].event->value).failure,
      (LookupStreamFailure{"quota gone", "translation_quota_exhausted", false,
                           LookupQuotaSnapshot{5, 5, 0, *parseIso8601("2026-01-02T03:04:05Z")}}));
  EXPECT_EQ(std::get<Event::Failure>(outputs[1].event->value).failure.message,
            "Translation stream failed");
}

// Whatever the read boundaries, the events are the same: split the stream in two
// at every position.
TEST(LookupSSEParserTest, AnySplitOfTheBytesGivesTheSameEvents) {
  const std::string stream =
      ": hello\r\n"
      "event: lookup.language\r\ndata: {\"name\":\"日本語\",\"code\":\"ja\"}\r\n\r\n"
      "event: lookup.field.delta\rdata: {\"seq\":1,\"field\":\"headword\",\"delta\":\"猫\"}\r\r"
      "event: ping\ndata: {}\n\n"
      "data: [DONE]\n\n"
      "event: lookup.field.delta\ndata: {\"seq\":2}";
  const auto whole = parse(stream);
  ASSERT_EQ(whole.size(), 4u);
  for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
    ASSERT_EQ(parse(std::string_view(stream).substr(0, cut), std::string_view(stream).substr(cut)),
              whole)
        << "cut at " << cut;
  }
}

// The fuzz targets replay many malformed shapes; these are the paths of the parser.
TEST(LookupSSEParserTest, MalformedInputRaises) {
  struct Case {
    const char* name;
    std::string bytes;
    bool invalidUTF8;  // else a decoding error
  };
  const Case cases[] = {
      {"invalid in a comment", ": \xFF\n", true},
      {"invalid in the last unterminated line", "data: \xFE", true},
      {"delta of the wrong type", "event: lookup.field.delta\ndata: {\"seq\":\"1\"}\n\n", false},
      {"paragraph without translation", "event: paragraph_translation.completed\ndata: {}\n\n",
       false},
      {"malformed quota",
       "event: lookup.error\ndata: {\"message\":\"m\",\"quota\":{\"used\":1}}\n\n", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.invalidUTF8) {
      EXPECT_EQ(testing::messageThrownBy<LookupTransportError>([&] { parse(c.bytes); }),
                "LookupTransportError.invalidResponse");
    } else {
      EXPECT_THROW(parse(c.bytes), json::DecodeError);
    }
  }
}

}  // namespace
}  // namespace trelvis
