#include "base/url.h"

#include "base/check.h"

#include <curl/curl.h>

#include <new>
#include <stdexcept>
#include <utility>

namespace trelvis {
namespace {

// Owns the strings that curl_url_get hands out.
struct CurlString {
  char* text = nullptr;
  CurlString() = default;
  CurlString(const CurlString&) = delete;
  CurlString& operator=(const CurlString&) = delete;
  ~CurlString() { curl_free(text); }
};

// curl 7.88 takes the handle as non-const even for reading.
std::optional<std::string> getPart(Curl_URL* handle, CURLUPart part) {
  CurlString value;
  if (curl_url_get(handle, part, &value.text, 0) != CURLUE_OK || value.text == nullptr) {
    return std::nullopt;
  }
  return std::string(value.text);
}

bool isAsciiAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isAsciiDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isUnreserved(char c) {
  return isAsciiAlpha(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}

constexpr char kHexDigits[] = "0123456789ABCDEF";

void appendEscaped(std::string& out, unsigned char byte) {
  out += '%';
  out += kHexDigits[byte >> 4];
  out += kHexDigits[byte & 0xF];
}

std::string percentEncode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (isUnreserved(c)) {
      out += c;
    } else {
      appendEscaped(out, static_cast<unsigned char>(c));
    }
  }
  return out;
}

int hexValue(char c) {
  if (isAsciiDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A "%" that does not start a valid escape is kept as it is.
std::string percentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hexValue(text[i + 1]);
      const int low = hexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

std::string encodeQueryItem(const QueryItem& item) {
  std::string out = percentEncode(item.name);
  if (item.value) {
    out += '=';
    out += percentEncode(*item.value);
  }
  return out;
}

// curl is lenient where we want to be strict: it takes "http:/host" and "http:///host"
// as "http://host", and a scheme that starts with a digit. Insist on
// "scheme://authority" with a well-formed scheme first.
bool hasSchemeAndAuthority(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0 || !isAsciiAlpha(text[0])) return false;
  const std::string_view scheme = text.substr(0, colon);
  for (char c : scheme) {
    if (!isAsciiAlpha(c) && !isAsciiDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  const std::string_view rest = text.substr(colon + 1);
  if (!rest.starts_with("//")) return false;
  const bool emptyAuthority = rest.size() == 2 || rest[2] == '/';
  if (!emptyAuthority) return true;
  constexpr std::string_view kFile = "file";
  if (scheme.size() != kFile.size()) return false;
  for (std::size_t i = 0; i < scheme.size(); ++i) {
    if ((scheme[i] | 0x20) != kFile[i]) return false;
  }
  return true;
}

}  // namespace

std::optional<Url> Url::parse(std::string_view text) {
  if (!hasSchemeAndAuthority(text)) return std::nullopt;
  // curl keeps raw UTF-8 in what it returns; escape it so that the text is a URI.
  std::string escaped;
  escaped.reserve(text.size());
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == 0) return std::nullopt;
    if (byte >= 0x80) {
      appendEscaped(escaped, byte);
    } else {
      escaped += c;
    }
  }
  const auto parseOnce = [](const std::string& uri) -> std::optional<Url> {
    Curl_URL* handle = curl_url();
    if (handle == nullptr) throw std::bad_alloc();
    Url url(handle);
    if (curl_url_set(handle, CURLUPART_URL, uri.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
      return std::nullopt;
    }
    return std::optional<Url>(std::move(url));
  };
  // curl keeps parts that it leaves out when it writes the URL: the empty query of
  // "http://h/p?", any query of a file URL. Reading the URL again as written, into a
  // fresh handle, leaves only what is written, so that the parts and the text agree.
  // What curl cannot write so that it reads back the same is refused: curl 7.88
  // writes "file:///" as "file://(nil)", and escapes a "%" in a host once more each
  // time it hands the host out.
  const std::optional<Url> first = parseOnce(escaped);
  if (!first) return std::nullopt;
  const std::optional<std::string> written = getPart(first->handle_, CURLUPART_URL);
  const std::optional<std::string> host = getPart(first->handle_, CURLUPART_HOST);
  if (!written || (host && host->find('%') != std::string::npos)) return std::nullopt;
  std::optional<Url> url = parseOnce(*written);
  if (!url || getPart(url->handle_, CURLUPART_URL) != written) return std::nullopt;
  return url;
}

Url::Url(const Url& other) : handle_(curl_url_dup(other.handle_)) {
  if (handle_ == nullptr) throw std::bad_alloc();
}

Url& Url::operator=(const Url& other) {
  if (this != &other) {
    Url copy(other);
    std::swap(handle_, copy.handle_);
  }
  return *this;
}

Url::Url(Url&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

Url& Url::operator=(Url&& other) noexcept {
  if (this != &other) {
    curl_url_cleanup(handle_);
    handle_ = std::exchange(other.handle_, nullptr);
  }
  return *this;
}

Url::~Url() {
  curl_url_cleanup(handle_);
}

std::string Url::absoluteString() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  return getPart(handle_, CURLUPART_URL).value_or(std::string());
}

std::string Url::scheme() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  return getPart(handle_, CURLUPART_SCHEME).value_or(std::string());
}

std::string Url::host() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  return getPart(handle_, CURLUPART_HOST).value_or(std::string());
}

std::optional<uint16_t> Url::port() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  const std::optional<std::string> text = getPart(handle_, CURLUPART_PORT);
  if (!text) return std::nullopt;
  // curl has already checked that the port is a number in 0...65535.
  return static_cast<uint16_t>(std::stoul(*text));
}

std::string Url::path() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  return getPart(handle_, CURLUPART_PATH).value_or(std::string("/"));
}

std::optional<std::string> Url::query() const {
  TRELVIS_DCHECK(handle_ != nullptr, "use of a moved-from Url");
  return getPart(handle_, CURLUPART_QUERY);
}

std::vector<QueryItem> Url::queryItems() const {
  std::vector<QueryItem> items;
  const std::optional<std::string> encoded = query();
  if (!encoded) return items;
  std::string_view rest = *encoded;
  while (!rest.empty()) {
    const std::size_t end = rest.find('&');
    const std::string_view item = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (item.empty()) continue;
    const std::size_t equals = item.find('=');
    if (equals == std::string_view::npos) {
      items.push_back({percentDecode(item), std::nullopt});
    } else {
      items.push_back(
          {percentDecode(item.substr(0, equals)), percentDecode(item.substr(equals + 1))});
    }
  }
  return items;
}

Url Url::appendingPathComponent(std::string_view component) const {
  std::string newPath = path();
  if (!newPath.ends_with('/')) newPath += '/';
  // A component of dots alone would be taken as "this" or "parent" directory.
  if (component == "." || component == "..") {
    for (std::size_t i = 0; i < component.size(); ++i) newPath += "%2E";
  } else {
    newPath += percentEncode(component);
  }
  return rebuilt(newPath, query());
}

Url Url::settingPath(std::string_view encodedPath) const {
  std::string newPath(encodedPath);
  if (!newPath.starts_with('/')) newPath.insert(newPath.begin(), '/');
  return rebuilt(newPath, query());
}

Url Url::settingQueryItems(const std::vector<QueryItem>& items) const {
  std::string encoded;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i > 0) encoded += '&';
    encoded += encodeQueryItem(items[i]);
  }
  return rebuilt(path(), encoded);
}

Url Url::appendingQueryItem(const QueryItem& item) const {
  std::string encoded = query().value_or(std::string());
  if (!encoded.empty()) encoded += '&';
  encoded += encodeQueryItem(item);
  return rebuilt(path(), encoded);
}

// curl_url_set on a single part lower-cases percent escapes, and takes a path with
// dot segments or spaces as it is. Replacing the end of the whole URL and parsing it
// again keeps escapes as written and applies the same checks as parse().
Url Url::rebuilt(const std::string& newPath, const std::optional<std::string>& newQuery) const {
  const std::optional<std::string> fragment = getPart(handle_, CURLUPART_FRAGMENT);
  const auto tail = [&fragment](const std::string& path, const std::optional<std::string>& query) {
    std::string text = path;
    if (query && !query->empty()) text += '?' + *query;
    if (fragment && !fragment->empty()) text += '#' + *fragment;
    return text;
  };
  const std::string whole = absoluteString();
  const std::string oldTail = tail(path(), query());
  TRELVIS_DCHECK(whole.ends_with(oldTail), "curl writes the path, query and fragment last");
  std::string text = whole.substr(0, whole.size() - oldTail.size());
  text += tail(newPath, newQuery);
  std::optional<Url> url = parse(text);
  if (!url) throw std::logic_error("a URL built from encoded parts did not parse");
  return *std::move(url);
}

}  // namespace trelvis
