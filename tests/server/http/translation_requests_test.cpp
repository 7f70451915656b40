// The translation endpoints' parsers on the client's own bytes (its multipart
// builder and request payloads), on bodies that break the format in each way a
// careless or hostile sender could, and the signed pronunciation links.

#include "server/http/translation_requests.h"

#include <gtest/gtest.h>

#include "core/lookup/lookup_api_client.h"
#include "server/http/multipart_form.h"
#include "server/http/pronunciation_links.h"

namespace trelvis::server {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kBoundary = "----trelvis-6F9619FF-8B86-D011-B42D-00C04FC964FF";
const std::string kContentType = "multipart/form-data; boundary=" + std::string(kBoundary);

NativeCapture capture() {
  NativeCapture capture;
  capture.imageData = {0xFF, 0xD8, '\r', '\n', '-', '-', 0x00, 0xFF, 0xD9};
  capture.hotspotX = 120;
  capture.hotspotY = 40.5;
  capture.targetLanguage = "zh-Hans";
  capture.secondaryTargetLanguage = " en ";
  capture.englishPronunciation = EnglishPronunciationAccent::british;
  return capture;
}

// A body of text fields and an image, framed as the client frames them.
std::string form(std::initializer_list<std::pair<std::string, std::string>> fields,
                 std::string image = "\xFF\xD8 jpeg") {
  std::string body;
  for (const auto& [name, value] : fields) {
    body += "--" + std::string(kBoundary) + "\r\nContent-Disposition: form-data; name=\"" + name +
            "\"\r\n\r\n" + value + "\r\n";
  }
  return body + "--" + std::string(kBoundary) +
         "\r\nContent-Disposition: form-data; name=\"image\"; filename=\"capture.jpg\"\r\n"
         "Content-Type: image/jpeg\r\n\r\n" +
         image + "\r\n--" + std::string(kBoundary) + "--\r\n";
}

const std::initializer_list<std::pair<std::string, std::string>> kHover = {
    {"hotspotX", "1.5"}, {"hotspotY", "2.0"}, {"targetLang", "de"}};

TEST(TranslationRequestsTest, ReadsTheClientsOwnBodiesExactly) {
  const auto hover =
      LookupAPIClient::lookupPayload(*Url::parse("http://h/trelvis"), capture(), kBoundary);
  const auto word = parseWordLookupRequest(hover.contentType, *hover.body);
  ASSERT_TRUE(word) << word.error().detail;
  EXPECT_EQ(word->hotspotX, 120.0);
  EXPECT_EQ(word->hotspotY, 40.5);
  EXPECT_EQ(word->targetLang, "zh-Hans");
  EXPECT_EQ(word->secondaryTargetLang, "en");
  EXPECT_EQ(word->englishPronunciation, "en-GB");
  EXPECT_EQ(word->image, capture().imageData)
      << "the image keeps every byte, CR LF and -- included";

  RegionCapture region;
  region.imageData = capture().imageData;
  region.targetLanguage = "es";
  const auto area = LookupAPIClient::paragraphPayload(*Url::parse("http://h/"), region, kBoundary);
  const auto paragraph = parseRegionTranslationRequest(area.contentType, *area.body);
  ASSERT_TRUE(paragraph) << paragraph.error().detail;
  EXPECT_EQ(paragraph->targetLang, "es");
  EXPECT_FALSE(paragraph->secondaryTargetLang);
  EXPECT_EQ(paragraph->image, region.imageData);
}

TEST(TranslationRequestsTest, RefusesMalformedFormsWithTheirReason) {
  const std::string b(kBoundary);
  const std::string good = form(kHover);
  struct Case {
    std::string name;
    std::string contentType;
    std::string body;
    RequestError error;  // status 0: accepted
  };
  const Case cases[] = {
      {"good", kContentType, good, {0, ""}},
      {"quoted boundary, preamble and epilogue",
       "Multipart/Form-Data; charset=x; boundary=\"" + b + "\"",
       "preamble\r\n" + good + "epilogue",
       {0, ""}},
      {"empty body", kContentType, "", {400, "the body holds no part"}},
      {"json", "application/json", good, {415, "Content-Type: must be multipart/form-data"}},
      {"no boundary", "multipart/form-data", good, {400, "Content-Type: the boundary is missing"}},
      {"long boundary",
       "multipart/form-data; boundary=" + std::string(71, 'a'),
       good,
       {400, "Content-Type: the boundary is not a valid one"}},
      {"unclosed quote",
       "multipart/form-data; boundary=\"" + b,
       good,
       {400, "Content-Type: a quoted value is not closed"}},
      {"truncated",
       kContentType,
       good.substr(0, good.size() - 30),
       {400, "the body ends before its closing delimiter"}},
      {"without the closing delimiter",
       kContentType,
       good.substr(0, good.size() - 4),
       {400, "the body ends or breaks off at a delimiter"}},
      {"LF line ends",
       kContentType,
       "--" + b + "\nContent-Disposition: form-data; name=\"a\"\n\nx\n--" + b + "--",
       {400, "the body ends or breaks off at a delimiter"}},
      {"no disposition",
       kContentType,
       "--" + b + "\r\nContent-Type: text/plain\r\n\r\nx\r\n--" + b + "--",
       {400, "a part has no Content-Disposition"}},
      {"no name",
       kContentType,
       "--" + b + "\r\nContent-Disposition: form-data\r\n\r\nx\r\n--" + b + "--",
       {400, "Content-Disposition: the name is missing"}},
      {"escaped quote",
       kContentType,
       "--" + b + "\r\nContent-Disposition: form-data; name=\"a\\\"b\"\r\n\r\nx\r\n--" + b + "--",
       {400, "Content-Disposition: escapes in quoted values are not supported"}},
      {"endless headers",
       kContentType,
       "--" + b + "\r\nX: " + std::string(5000, 'h'),
       {400, "a part's headers are longer than 4096 bytes or break off"}},
      {"twice",
       kContentType,
       form({{"targetLang", "de"}, {"targetLang", "fr"}}),
       {400, "a part name is given twice"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto parsed = parseMultipartForm(c.contentType, c.body);
    if (c.error.status == 0) {
      ASSERT_TRUE(parsed) << parsed.error().detail;
      ASSERT_EQ(parsed->parts.size(), 4u);
      EXPECT_EQ(parsed->find("image")->fileName, "capture.jpg");
      EXPECT_EQ(parsed->find("image")->contentType, "image/jpeg");
      EXPECT_EQ(parsed->find("targetLang")->content, "de");
    } else {
      ASSERT_FALSE(parsed);
      EXPECT_EQ(parsed.error(), c.error);
    }
  }
  std::string many;
  for (int i = 0; i <= 16; ++i)
    many += "--" + b + "\r\nContent-Disposition: form-data; name=\"f" + std::to_string(i) +
            "\"\r\n\r\n\r\n";
  EXPECT_EQ(parseMultipartForm(kContentType, many + "--" + b + "--").error().detail,
            "the body has more than 16 parts");
}

TEST(TranslationRequestsTest, RefusesHoverFieldsThatAreMissingOrNoNumbers) {
  const std::pair<std::string, std::string> cases[] = {
      {form({{"hotspotY", "2.0"}, {"targetLang", "de"}}), "hotspotX: missing"},
      {form({{"hotspotX", "1"}, {"hotspotY", "2.0"}}), "targetLang: missing"},
      {form({{"hotspotX", "nan"}, {"hotspotY", "2"}, {"targetLang", "de"}}),
       "hotspotX: not a finite decimal number"},
      {form({{"hotspotX", "1e999"}, {"hotspotY", "2"}, {"targetLang", "de"}}),
       "hotspotX: not a finite decimal number"},
      {form({{"hotspotX", "1"}, {"hotspotY", "2px"}, {"targetLang", "de"}}),
       "hotspotY: not a finite decimal number"},
      {form({{"hotspotX", "1"}, {"hotspotY", ""}, {"targetLang", "de"}}),
       "hotspotY: not a finite decimal number"},
      {form({{"hotspotX", "1"}, {"hotspotY", "2"}, {"targetLang", "\xC3\x28"}}),
       "targetLang: not UTF-8"},
      {form({{"hotspotX", "1"}, {"hotspotY", "2"}, {"targetLang", std::string(300, 'x')}}),
       "targetLang: too long"},
      {form(kHover, ""), "image: empty"},
      {form(kHover).replace(form(kHover).find("name=\"image\""), 12, "name=\"photo\""),
       "image: missing"},
  };
  for (const auto& [body, detail] : cases) {
    SCOPED_TRACE(detail);
    const auto parsed = parseWordLookupRequest(kContentType, body);
    ASSERT_FALSE(parsed);
    EXPECT_EQ(parsed.error(), (RequestError{400, detail}));
  }
  EXPECT_EQ(parseWordLookupRequest(kContentType, form(kHover))->englishPronunciation, "en-US");
}

TEST(TranslationRequestsTest, ReadsTextRequestsAndTheirLimits) {
  const auto text = parseTextTranslationRequest(
      R"({"inputText":" a cat ","targetLang":"ja","englishPronunciation":"en-GB"})", "inputText");
  ASSERT_TRUE(text) << text.error().detail;
  EXPECT_EQ(text->text, " a cat ") << "the text as sent";
  EXPECT_EQ(text->englishPronunciation, "en-GB");
  const std::pair<std::string, RequestError> cases[] = {
      {R"({"inputText":"x","targetLang":"ja"})", {400, "selectedText: missing required value"}},
      {R"({"selectedText":1,"targetLang":"ja"})", {400, "selectedText: expected a string"}},
      {R"({"selectedText":"x"})", {400, "targetLang: missing required value"}},
      {R"({"selectedText":")" + std::string(20'001, 'a') + R"(","targetLang":"ja"})",
       {413, "selectedText: longer than 20000 bytes"}},
  };
  for (const auto& [body, error] : cases) {
    EXPECT_EQ(parseTextTranslationRequest(body, "selectedText").error(), error)
        << body.substr(0, 60);
  }
  EXPECT_TRUE(parseTextTranslationRequest(
      R"({"selectedText":")" + std::string(20'000, 'a') + R"(","targetLang":"ja"})",
      "selectedText"));

  const auto query =
      parsePronunciationQuery({{"lookupText", "cat"}, {"pronunciationSpeed", "slow"}, {"x", "y"}});
  ASSERT_TRUE(query);
  EXPECT_EQ(query->speed, "slow");
  EXPECT_FALSE(query->language);
  EXPECT_EQ(parsePronunciationQuery({{"pronunciationSpeed", "slow"}}).error().detail,
            "lookupText: missing");
  EXPECT_EQ(parsePronunciationQuery({{"lookupText", "a"}, {"lookupText", "b"}}).error().detail,
            "lookupText: given twice");
  EXPECT_EQ(
      parsePronunciationQuery({{"lookupText", "a"}, {"pronunciationSpeed", "fast"}}).error().detail,
      "pronunciationSpeed: must be normal or slow");
}

TEST(TranslationRequestsTest, PronunciationLinksOpenOnlyAsSignedAndUntilTheyExpire) {
  Timestamp now = *parseIso8601("2026-03-01T12:00:00Z");
  const PronunciationLinks links(
      "key", [&] { return now; }, 1h);
  const PronunciationRequest request{"naïve café", "slow", "fr"};
  const std::string link = links.link("http://127.0.0.1:9/trelvis", request);
  ASSERT_TRUE(link.starts_with("http://127.0.0.1:9/trelvis/v1/pronunciation/audio?")) << link;
  const QueryItems query = [&] {
    QueryItems items;
    for (auto& item : Url::parse(link)->queryItems())
      items.emplace_back(item.name, item.value.value_or(""));
    return items;
  }();
  const auto opened = links.open(query);
  ASSERT_TRUE(opened) << opened.error().detail;
  EXPECT_EQ(opened->lookupText, request.lookupText);
  EXPECT_EQ(opened->speed, "slow");
  EXPECT_EQ(opened->language, "fr");

  const auto changed = [&](std::string_view name, std::string value) {
    QueryItems items = query;
    for (auto& [key, old] : items) {
      if (key == name) old = value;
    }
    return links.open(items);
  };
  EXPECT_EQ(changed("lookupText", "naïve cafe").error(),
            (RequestError{403, "the link's signature does not hold"}));
  EXPECT_EQ(changed("pronunciationSpeed", "normal").error().detail,
            "the link's signature does not hold");
  EXPECT_EQ(changed("pronunciationLang", "fr ").error().detail,
            "the link's signature does not hold");
  EXPECT_EQ(changed("expires", "99999999999").error().detail, "the link's signature does not hold");
  EXPECT_EQ(changed("expires", "1x").error().detail, "the link is incomplete");
  EXPECT_EQ(PronunciationLinks("other key", [&] { return now; }).open(query).error().detail,
            "the link's signature does not hold");
  now += 1h;
  EXPECT_EQ(links.open(query).error(), (RequestError{403, "the link has expired"}));
}

}  // namespace
}  // namespace trelvis::server
