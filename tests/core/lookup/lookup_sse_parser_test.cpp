#include "core/lookup/lookup_sse_parser.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/json_decode.h"
#include "core/lookup/lookup_error.h"

namespace trelvis {
namespace {

using Output = LookupSSEParser::Output;
using Event = LookupStreamEvent;

// Every Output, in order, of `bytes` fed one at a time and then finished.
std::vector<Output> parse(std::string_view bytes) {
  LookupSSEParser parser;
  std::vector<Output> outputs;
  for (char c : bytes) {
    if (auto output = parser.consume(static_cast<uint8_t>(c))) outputs.push_back(*output);
  }
  if (auto output = parser.finish()) outputs.push_back(*output);
  return outputs;
}

Output delta(int64_t seq, std::string field, std::string text) {
  return Output{Event{Event::FieldDelta{seq, std::move(field), std::move(text)}}};
}

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
      {"paragraph delta",
       "event: paragraph_translation.field.delta\ndata: {\"seq\":1}\n\n",
       {delta(1, "", "")}},
      {"empty delta payload", "event: lookup.field.delta\ndata: {}\n\n", {delta(0, "", "")}},
      {"language",
       "event: lookup.language\ndata: {\"name\":\"English\",\"code\":\"en\"}\n\n",
       {Output{Event{Event::Language{"English", "en"}}}}},
      {"language without fields",
       "event: paragraph_translation.language\ndata: {}\n\n",
       {Output{Event{Event::Language{"", ""}}}}},
      {"no colon after data",
       "event: lookup.field.delta\ndata:{\"delta\":\"x\"}\n\n",
       {delta(0, "", "x")}},
      {"unknown name", "event: ping\ndata: {}\n\n", {Output{}}},
      {"unknown name, unparsed data", "event: ping\ndata: not json\n\n", {Output{}}},
      {"default name is message", "data: {}\n\n", {Output{}}},
      {"comment then blank line", ":keep-alive\n\n", {}},
      {"event line alone", "event: lookup.language\n\n", {}},
      {"done", "data: [DONE]\n\n", {}},
      {"done with spaces and a name", "event: lookup.completed\ndata:  [DONE] \n\n", {}},
      {"id and retry ignored",
       "id: 7\nretry: 10\nevent: lookup.language\ndata: {\"code\":\"ja\"}\n\n",
       {Output{Event{Event::Language{"", "ja"}}}}},
      {"name resets after a block",
       "event: lookup.language\ndata: {}\n\ndata: {}\n\n",
       {Output{Event{Event::Language{"", ""}}}, Output{}}},
      {"empty event value is a name", "event:\ndata: {}\n\n", {Output{}}},
      {"last block without blank line",
       "event: lookup.field.delta\ndata: {\"seq\":9}",
       {delta(9, "", "")}},
      {"last block ended by its line",
       "event: lookup.field.delta\ndata: {\"seq\":9}\n",
       {delta(9, "", "")}},
      {"CR line ends", "event: lookup.field.delta\rdata: {\"seq\":2}\r\r", {delta(2, "", "")}},
      {"mixed line ends",
       "event: lookup.field.delta\r\ndata: {\"seq\":2}\n\r\n",
       {delta(2, "", "")}},
      {"untouched", "", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(parse(c.bytes), c.expected);
  }
}

TEST(LookupSSEParserTest, DataLinesJoinWithLineFeedBeforeDecoding) {
  auto outputs = parse(
      "event: lookup.error\r\ndata: {\"message\":\r\ndata: \"quota gone\", \"code\": "
      "\"translation_quota_exhausted\", \"retryable\": false,\r\ndata: \"quota\": {\"used\": 5, "
      "\"limit\": 5, \"remaining\": 0, \"resetAt\": \"2026-01-02T03:04:05Z\"}}\r\n\r\n");
  ASSERT_EQ(outputs.size(), 1u);
  const auto& failure = std::get<Event::Failure>(outputs[0].event->value).failure;
  EXPECT_EQ(failure.message, "quota gone");
  EXPECT_EQ(failure.code, "translation_quota_exhausted");
  EXPECT_EQ(failure.retryable, false);
  ASSERT_TRUE(failure.quota.has_value());
  EXPECT_EQ(failure.quota->limit, 5);

  auto bare = parse("event: paragraph_translation.error\ndata: {}\n\n");
  ASSERT_EQ(bare.size(), 1u);
  EXPECT_EQ(std::get<Event::Failure>(bare[0].event->value).failure.message,
            "Translation stream failed");
}

TEST(SSEParserTest, FieldValueLosesOnlyOneLeadingSpace) {
  struct Case {
    const char* line;
    const char* data;
  };
  for (const Case& c : {Case{"data:x", "x"}, Case{"data: x", "x"}, Case{"data:  x", " x"},
                        Case{"data", ""}, Case{"data:", ""}, Case{"data: a: b", "a: b"}}) {
    SCOPED_TRACE(c.line);
    SSEParser parser;
    EXPECT_EQ(parser.consumeLine(c.line), nullptr);
    const SSEBlock* block = parser.consumeLine("");
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->eventName, "message");
    EXPECT_EQ(block->data, c.data);
  }
}

TEST(LookupSSEParserTest, CompletedResultsDecode) {
  auto outputs = parse(
      "event: lookup.completed\ndata: {}\n\n"
      "event: paragraph_translation.completed\ndata: {\"translation\":\"bonjour\"}\n\n");
  ASSERT_EQ(outputs.size(), 2u);
  const auto& ocr = std::get<Event::Completed>(outputs[0].event->value).result;
  EXPECT_EQ(ocr.selectionReason, "none");
  EXPECT_FALSE(ocr.hasSelection());
  EXPECT_EQ(
      std::get<Event::ParagraphTranslationCompleted>(outputs[1].event->value).result.translation,
      "bonjour");
}

// Whatever the read boundaries, the events are the same: split the stream in two
// at every position, and also feed it in reads of every size.
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
    LookupSSEParser parser;
    std::vector<Output> outputs;
    for (auto part :
         {std::string_view(stream).substr(0, cut), std::string_view(stream).substr(cut)}) {
      for (char c : part) {
        if (auto output = parser.consume(static_cast<uint8_t>(c))) outputs.push_back(*output);
      }
    }
    if (auto output = parser.finish()) outputs.push_back(*output);
    ASSERT_EQ(outputs, whole) << "cut at " << cut;
  }
}

TEST(LookupSSEParserTest, MalformedInputRaises) {
  struct Case {
    const char* name;
    std::string bytes;
    bool invalidUTF8;  // else a decoding error
  };
  const Case cases[] = {
      {"lone continuation byte", "data: \x80\n\n", true},
      {"truncated sequence at line end", "event: lookup.language\ndata: \xE3\x81\n\n", true},
      {"overlong slash", "data: \xC0\xAF\n\n", true},
      {"surrogate", "data: \xED\xA0\x80\n\n", true},
      {"invalid in a comment", ": \xFF\n", true},
      {"invalid in the last unterminated line", "data: \xFE", true},
      {"delta not JSON", "event: lookup.field.delta\ndata: {seq\n\n", false},
      {"delta of the wrong type", "event: lookup.field.delta\ndata: {\"seq\":\"1\"}\n\n", false},
      {"paragraph without translation", "event: paragraph_translation.completed\ndata: {}\n\n",
       false},
      {"malformed quota",
       "event: lookup.error\ndata: {\"message\":\"m\",\"quota\":{\"used\":1}}\n\n", false},
      {"invalid UTF-8 inside a JSON string",
       "event: lookup.error\ndata: {\"message\":\"\xFF\"}\n\n", true},
      {"number beyond a double", "event: lookup.field.delta\ndata: {\"seq\":1e400}\n\n", false},
      {"lone surrogate escape", "event: lookup.error\ndata: {\"message\":\"\\ud800\"}\n\n",
       false},
      {"nested too deep",
       "event: lookup.completed\ndata: " + std::string(5000, '[') + std::string(5000, ']') +
           "\n\n",
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.invalidUTF8) {
      try {
        parse(c.bytes);
        ADD_FAILURE() << "no error";
      } catch (const LookupTransportError& e) {
        EXPECT_TRUE(std::holds_alternative<LookupTransportError::InvalidResponse>(e.value()));
      }
    } else {
      EXPECT_THROW(parse(c.bytes), json::DecodeError);
      // What reaches the card is a protocol error that quotes none of the payload.
      try {
        parse(c.bytes);
      } catch (...) {
        const LookupError error = LookupError::from(std::current_exception());
        EXPECT_EQ(error.code(), LookupErrorCode::protocolError);
        for (const char* quoted : {"1e400", "ud800", "[[", "seq\"", "\"1\""}) {
          EXPECT_EQ(error.detail()->find(quoted), std::string::npos) << *error.detail();
        }
      }
    }
  }
}

}  // namespace
}  // namespace trelvis
