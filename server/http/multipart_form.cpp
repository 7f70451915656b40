#include "server/http/multipart_form.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace trelvis::server {
namespace {

constexpr std::string_view kCrLf = "\r\n";
constexpr std::size_t kMaximumBoundaryLength = 70;

// Raised inside the reader; becomes the 400 answer.
struct Malformed {
  std::string detail;
};

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

std::string_view trimmedSpace(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

// A token character of HTTP (RFC 9110): what names and unquoted values are made of.
bool isTokenCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) ||
         std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

struct Parameter {
  std::string_view name;
  std::string_view value;
};

// The "; name=value" parameters after a media type or disposition type. A quoted
// value is taken between its quotes; a backslash escape inside it is refused
// rather than guessed at, as senders disagree on what it means in form data.
std::vector<Parameter> parameters(std::string_view text, std::string_view header) {
  std::vector<Parameter> found;
  while (!(text = trimmedSpace(text)).empty()) {
    if (text.front() != ';') throw Malformed{std::string(header) + ": malformed parameters"};
    text = trimmedSpace(text.substr(1));
    if (text.empty()) break;  // a trailing ";"
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
      throw Malformed{std::string(header) + ": a parameter has no value"};
    }
    Parameter parameter{trimmedSpace(text.substr(0, equals)), {}};
    if (!isToken(parameter.name)) throw Malformed{std::string(header) + ": malformed parameters"};
    text = trimmedSpace(text.substr(equals + 1));
    if (!text.empty() && text.front() == '"') {
      const std::size_t close = text.find('"', 1);
      if (close == std::string_view::npos) {
        throw Malformed{std::string(header) + ": a quoted value is not closed"};
      }
      parameter.value = text.substr(1, close - 1);
      if (parameter.value.find('\\') != std::string_view::npos) {
        throw Malformed{std::string(header) + ": escapes in quoted values are not supported"};
      }
      text = text.substr(close + 1);
    } else {
      const std::size_t end = std::min(text.find(';'), text.size());
      parameter.value = trimmedSpace(text.substr(0, end));
      if (!isToken(parameter.value))
        throw Malformed{std::string(header) + ": malformed parameters"};
      text = text.substr(end);
    }
    found.push_back(parameter);
  }
  return found;
}

std::optional<std::string_view> parameter(const std::vector<Parameter>& all,
                                          std::string_view name) {
  for (const Parameter& p : all) {
    if (equalsIgnoringCase(p.name, name)) return p.value;
  }
  return std::nullopt;
}

// A boundary of 1 to 70 characters of the set RFC 2046 allows, not ending in a space.
bool isBoundary(std::string_view boundary) {
  constexpr std::string_view kAllowed = "'()+_,-./:=? ";
  return !boundary.empty() && boundary.size() <= kMaximumBoundaryLength && boundary.back() != ' ' &&
         std::all_of(boundary.begin(), boundary.end(), [&](char c) {
           return std::isalnum(static_cast<unsigned char>(c)) ||
                  kAllowed.find(c) != std::string_view::npos;
         });
}

std::string_view boundaryOf(std::string_view contentType) {
  const std::size_t semicolon = std::min(contentType.find(';'), contentType.size());
  if (!equalsIgnoringCase(trimmedSpace(contentType.substr(0, semicolon)), "multipart/form-data")) {
    throw RequestError{415, "Content-Type: must be multipart/form-data"};
  }
  const std::optional<std::string_view> boundary =
      parameter(parameters(contentType.substr(semicolon), "Content-Type"), "boundary");
  if (!boundary) throw Malformed{"Content-Type: the boundary is missing"};
  if (!isBoundary(*boundary)) throw Malformed{"Content-Type: the boundary is not a valid one"};
  return *boundary;
}

// Reads the header block of one part (without its blank line) into `part`.
void readHeaders(std::string_view block, FormPart& part) {
  bool disposed = false;
  while (!block.empty()) {
    const std::size_t end = std::min(block.find(kCrLf), block.size());
    const std::string_view line = block.substr(0, end);
    block.remove_prefix(std::min(end + kCrLf.size(), block.size()));
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || !isToken(line.substr(0, colon))) {
      throw Malformed{"a part has a malformed header line"};
    }
    const std::string_view name = line.substr(0, colon);
    const std::string_view value = trimmedSpace(line.substr(colon + 1));
    if (equalsIgnoringCase(name, "Content-Disposition")) {
      if (disposed) throw Malformed{"a part has two Content-Disposition headers"};
      disposed = true;
      const std::size_t semicolon = std::min(value.find(';'), value.size());
      if (!equalsIgnoringCase(trimmedSpace(value.substr(0, semicolon)), "form-data")) {
        throw Malformed{"Content-Disposition: must be form-data"};
      }
      const std::vector<Parameter> all = parameters(value.substr(semicolon), "Content-Disposition");
      const std::optional<std::string_view> fieldName = parameter(all, "name");
      if (!fieldName || fieldName->empty())
        throw Malformed{"Content-Disposition: the name is missing"};
      part.name = *fieldName;
      part.fileName = parameter(all, "filename");
    } else if (equalsIgnoringCase(name, "Content-Type")) {
      part.contentType = value;
    }
  }
  if (!disposed) throw Malformed{"a part has no Content-Disposition"};
}

MultipartForm readForm(std::string_view boundary, std::string_view body) {
  const std::string delimiter = "--" + std::string(boundary);
  const std::string innerDelimiter = "\r\n" + delimiter;
  std::size_t at = 0;
  if (!body.starts_with(delimiter)) {
    at = body.find(innerDelimiter);
    if (at == std::string_view::npos) throw Malformed{"the body holds no part"};
    at += kCrLf.size();
  }
  MultipartForm form;
  for (;;) {
    at += delimiter.size();
    if (body.substr(at, 2) == "--") return form;  // the closing delimiter
    while (at < body.size() && (body[at] == ' ' || body[at] == '\t')) ++at;
    if (body.substr(at, 2) != kCrLf) throw Malformed{"the body ends or breaks off at a delimiter"};
    at += kCrLf.size();

    if (form.parts.size() == kMaximumParts) {
      throw Malformed{"the body has more than " + std::to_string(kMaximumParts) + " parts"};
    }
    FormPart part;
    std::size_t headerEnd = at;
    if (body.substr(at, 2) != kCrLf) {
      headerEnd = body.substr(at, kMaximumPartHeaderBytes + 4).find("\r\n\r\n");
      if (headerEnd == std::string_view::npos) {
        throw Malformed{"a part's headers are longer than " +
                        std::to_string(kMaximumPartHeaderBytes) + " bytes or break off"};
      }
      headerEnd += at;
    }
    readHeaders(body.substr(at, headerEnd - at), part);
    const std::size_t contentStart =
        headerEnd + kCrLf.size() + (headerEnd == at ? 0 : kCrLf.size());
    const std::size_t contentEnd = body.find(innerDelimiter, contentStart);
    if (contentEnd == std::string_view::npos) {
      throw Malformed{"the body ends before its closing delimiter"};
    }
    part.content = body.substr(contentStart, contentEnd - contentStart);
    if (form.find(part.name)) throw Malformed{"a part name is given twice"};
    form.parts.push_back(part);
    at = contentEnd + kCrLf.size();
  }
}

}  // namespace

const FormPart* MultipartForm::find(std::string_view name) const {
  for (const FormPart& part : parts) {
    if (part.name == name) return &part;
  }
  return nullptr;
}

Parsed<MultipartForm> parseMultipartForm(std::string_view contentType, std::string_view body) {
  try {
    return readForm(boundaryOf(contentType), body);
  } catch (const Malformed& malformed) {
    return tl::unexpected(RequestError{400, malformed.detail});
  } catch (const RequestError& error) {
    return tl::unexpected(error);
  }
}

}  // namespace trelvis::server
