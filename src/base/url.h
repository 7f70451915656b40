#pragma once

// Url is an absolute URL with a scheme ("https://api.example.com/v1/lookup?q=x"), as
// used for server endpoints and for redirects handed back to the app. It is a value
// type: the derived-URL operations return a new Url and leave this one unchanged.
// Parsing and serialisation are libcurl's, so what curl accepts is what we send.
//
// Paths and queries are returned percent-encoded, as they appear in the URL; query
// items are returned decoded. A "+" in a query is a literal plus sign, not a space.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct Curl_URL;

namespace trelvis {

struct QueryItem {
  std::string name;
  // Absent for "name", empty for "name=".
  std::optional<std::string> value;

  friend bool operator==(const QueryItem&, const QueryItem&) = default;
};

class Url {
 public:
  // Accepts "scheme://authority[/path][?query][#fragment]" (an empty authority only
  // for file URLs). Bytes outside ASCII are percent-encoded; empty text, relative
  // references, spaces and control characters are rejected, and so is what curl
  // would not write back as it reads ("file:///", a "%" in the host).
  static std::optional<Url> parse(std::string_view text);

  Url(const Url& other);
  Url& operator=(const Url& other);
  // A moved-from Url may only be assigned to or destroyed.
  Url(Url&& other) noexcept;
  Url& operator=(Url&& other) noexcept;
  ~Url();

  // The whole URL, normalised by curl (lower-case scheme, "/" for an empty path).
  std::string absoluteString() const;
  // Lower case.
  std::string scheme() const;
  // Empty when there is none; an IPv6 address keeps its brackets ("[::1]").
  std::string host() const;
  // Only a port written in the URL; the scheme's default port is not filled in.
  std::optional<uint16_t> port() const;
  // Percent-encoded; at least "/".
  std::string path() const;
  // Percent-encoded, without the "?"; absent when the URL has no query. An empty
  // query ("http://h/p?") counts as none, and a file URL never has one: curl writes
  // neither, so setting or appending query items leaves a file URL unchanged.
  std::optional<std::string> query() const;
  // The "&"-separated items of the query, in order, decoded. Empty items are skipped.
  std::vector<QueryItem> queryItems() const;

  // Adds `component` as one more path segment: exactly one "/" separates it from the
  // existing path, and characters other than letters, digits and "-._~" are
  // percent-encoded (so a "/" in `component` does not start another segment; "." and
  // ".." are escaped too, so that they stay literal segments). The query and fragment
  // are kept.
  Url appendingPathComponent(std::string_view component) const;
  // Replaces the path with `encodedPath`, percent-encoded as path() gives it ("" reads
  // as "/"). The query and fragment are kept.
  Url settingPath(std::string_view encodedPath) const;
  // Replaces the whole query with `items`, encoded; no items removes the query.
  Url settingQueryItems(const std::vector<QueryItem>& items) const;
  // Adds one item at the end of the query, leaving the existing items as written.
  Url appendingQueryItem(const QueryItem& item) const;

  friend bool operator==(const Url& a, const Url& b) {
    return a.absoluteString() == b.absoluteString();
  }

 private:
  explicit Url(Curl_URL* handle) : handle_(handle) {}
  Url rebuilt(const std::string& newPath, const std::optional<std::string>& newQuery) const;

  Curl_URL* handle_;
};

}  // namespace trelvis
