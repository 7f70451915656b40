// The URL parser and the derived-URL operations on arbitrary text. The input is a
// URL, then after the first line feed a path component and query value. A URL that
// parses must print as text that parses to itself; its query items must survive
// being set again; an appended path component or query item must come back as
// given (but for a file URL, which has no query), the rest of the URL unchanged.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/url.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using trelvis::QueryItem;
  using trelvis::Url;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t newline = input.find('\n');
  const std::string_view text = input.substr(0, newline);
  const std::string extra(newline == std::string_view::npos ? "x" : input.substr(newline + 1));

  const auto url = Url::parse(text);
  if (!url) return 0;
  const std::string printed = url->absoluteString();
  const auto again = Url::parse(printed);
  FUZZ_CHECK(again && again->absoluteString() == printed);
  FUZZ_CHECK(!url->scheme().empty());
  url->host();
  url->port();

  const auto items = url->queryItems();
  FUZZ_CHECK(url->settingQueryItems(items).queryItems() == items);

  const Url appended = url->appendingPathComponent(extra);
  const std::string path = url->path();
  FUZZ_CHECK(appended.path().starts_with(path));
  FUZZ_CHECK(appended.path().find('/', path.size() + (path.ends_with('/') ? 0 : 1)) ==
             std::string::npos);
  FUZZ_CHECK(appended.query() == url->query());

  if (url->scheme() == "file") return 0;  // a file URL has no query
  const Url withItem = url->appendingQueryItem({"k", extra});
  auto itemsAfter = withItem.queryItems();
  FUZZ_CHECK(!itemsAfter.empty() && itemsAfter.back() == (QueryItem{"k", extra}));
  itemsAfter.pop_back();
  FUZZ_CHECK(itemsAfter == items);
  FUZZ_CHECK(withItem.path() == path);
  return 0;
}
