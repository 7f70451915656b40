#pragma once

// Strict decoding of the JSON records the server sends. A record type is decoded by
// a decodeJson function found by argument-dependent lookup:
//
//   Quota decodeJson(const json::ObjectReader& reader, json::Tag<Quota>) {
//     return Quota{.remaining = reader.required<int64_t>("remaining"),
//                  .resetsAt = reader.optional<Timestamp>("resets_at")};
//   }
//   Quota quota = json::decodeText<Quota>(body);
//
// A key that is absent or null gives the field's default; a present value of the
// wrong type, and an absent or null required value, fail with a DecodeError whose
// message starts with the path of the value ("quota.remaining: expected an
// integer"). Messages never quote the values themselves, which may be secrets.
//
// Built-in types: bool (only from true/false); integer types (from JSON integers
// and from floats with an integral value, range-checked for the target type);
// double (any number); std::string (only strings); Timestamp (an ISO-8601 string);
// std::vector<T> (an array); std::optional<T> (null or T); nlohmann::json (as is).
// A decodeJson(const json::Value&, json::Tag<T>) hook decodes T from any JSON value,
// for example an enumeration from a string.
//
// Only .cpp files that decode JSON include this header: nlohmann/json is heavy.

#include "base/iso8601.h"

#include <nlohmann/json.hpp>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace trelvis::json {

class DecodeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Selects the decodeJson overload for T; also brings T's namespace into lookup.
template <class T>
struct Tag {};

class ObjectReader;

// One JSON value and where it was found ("items[2].word"), which every error message
// starts with. Borrows the JSON; the document must outlive it.
class Value {
 public:
  Value(const nlohmann::json& json, std::string path) : json_(&json), path_(std::move(path)) {}
  Value(const nlohmann::json&& json, std::string path) = delete;

  const nlohmann::json& json() const { return *json_; }
  const std::string& path() const { return path_; }

  // The value decoded as T, or a DecodeError.
  template <class T>
  T as() const;
  // The value as an object, or a DecodeError.
  ObjectReader object() const;

  // Throws a DecodeError "<path>: <problem>".
  [[noreturn]] void fail(std::string_view problem) const;

 private:
  const nlohmann::json* json_;
  std::string path_;
};

// Reads the members of one JSON object. Borrows the JSON; the document must outlive
// the reader.
class ObjectReader {
 public:
  // Throws a DecodeError when `object` is not an object.
  explicit ObjectReader(const nlohmann::json& object, std::string path = {});
  ObjectReader(const nlohmann::json&& object, std::string path = {}) = delete;

  // The value at `key`, or `fallback` when the key is absent or null.
  template <class T>
  T value(std::string_view key, T fallback = {}) const;
  // The value at `key`; absent or null is an error.
  template <class T>
  T required(std::string_view key) const;
  // The value at `key`, or nothing when the key is absent or null.
  template <class T>
  std::optional<T> optional(std::string_view key) const;
  // The array at `key` (empty when absent or null), each element decoded by
  // `decodeElement`, which takes an ObjectReader (the elements must be objects) or a
  // Value.
  template <class T, class F>
  std::vector<T> array(std::string_view key, F decodeElement) const;

  // True when `key` is present and not null.
  bool has(std::string_view key) const { return find(key).has_value(); }

  const nlohmann::json& json() const { return *object_; }
  const std::string& path() const { return path_; }

  // Throws a DecodeError "<path>: <problem>", for checks across fields.
  [[noreturn]] void fail(std::string_view problem) const;

 private:
  // The value at `key`, or nothing when it is absent or null.
  std::optional<Value> find(std::string_view key) const;
  std::string keyPath(std::string_view key) const;

  const nlohmann::json* object_;
  std::string path_;
};

// Deeper nesting than this is refused, so that no recursive walk over a document
// (a copy, a conversion) can exhaust the stack.
inline constexpr int kMaxNestingDepth = 256;

// Parses JSON text from outside: every failure (bad syntax, invalid UTF-8, a number
// beyond a double, nesting deeper than kMaxNestingDepth) is a DecodeError, and its
// message never quotes the text.
nlohmann::json parse(std::string_view text);

template <class T>
T decode(const nlohmann::json& json) {
  return Value(json, {}).as<T>();
}

template <class T>
T decodeText(std::string_view text) {
  const nlohmann::json json = parse(text);
  return decode<T>(json);
}

namespace detail {

bool decodeBool(const Value& value);
int64_t decodeSigned(const Value& value, int64_t min, int64_t max);
uint64_t decodeUnsigned(const Value& value, uint64_t max);
double decodeNumber(const Value& value);
std::string decodeString(const Value& value);
Timestamp decodeTimestamp(const Value& value);
std::string elementPath(const std::string& arrayPath, std::size_t index);
[[noreturn]] void fail(const std::string& path, std::string_view problem);

template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

template <class T>
inline constexpr bool kIsVector = false;
template <class T>
inline constexpr bool kIsVector<std::vector<T>> = true;

template <class T>
concept ObjectDecodable = requires(const ObjectReader& reader) {
  { decodeJson(reader, Tag<T>{}) } -> std::convertible_to<T>;
};

template <class T>
concept ValueDecodable = requires(const Value& value) {
  { decodeJson(value, Tag<T>{}) } -> std::convertible_to<T>;
};

template <class T>
inline constexpr bool kUnsupported = false;

template <class T, class F>
T decodeWith(const Value& value, F& decodeElement) {
  if constexpr (std::is_invocable_v<F&, const ObjectReader&>) {
    return decodeElement(value.object());
  } else {
    return decodeElement(value);
  }
}

}  // namespace detail

template <class T>
T Value::as() const {
  if constexpr (std::is_same_v<T, bool>) {
    return detail::decodeBool(*this);
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    return static_cast<T>(
        detail::decodeSigned(*this, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(detail::decodeUnsigned(*this, std::numeric_limits<T>::max()));
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(detail::decodeNumber(*this));
  } else if constexpr (std::is_same_v<T, std::string>) {
    return detail::decodeString(*this);
  } else if constexpr (std::is_same_v<T, Timestamp>) {
    return detail::decodeTimestamp(*this);
  } else if constexpr (std::is_same_v<T, nlohmann::json>) {
    return *json_;
  } else if constexpr (detail::kIsOptional<T>) {
    if (json_->is_null()) return std::nullopt;
    return as<typename T::value_type>();
  } else if constexpr (detail::kIsVector<T>) {
    if (!json_->is_array()) fail("expected an array");
    T result;
    result.reserve(json_->size());
    for (std::size_t i = 0; i < json_->size(); ++i) {
      result.push_back(
          Value((*json_)[i], detail::elementPath(path_, i)).as<typename T::value_type>());
    }
    return result;
  } else if constexpr (detail::ObjectDecodable<T>) {
    return decodeJson(object(), Tag<T>{});
  } else if constexpr (detail::ValueDecodable<T>) {
    return decodeJson(*this, Tag<T>{});
  } else {
    static_assert(detail::kUnsupported<T>, "no JSON decoding for this type: add a decodeJson");
  }
}

template <class T>
T ObjectReader::value(std::string_view key, T fallback) const {
  if (const std::optional<Value> found = find(key)) return found->as<T>();
  return fallback;
}

template <class T>
T ObjectReader::required(std::string_view key) const {
  static_assert(!detail::kIsOptional<T>, "a required value cannot be optional");
  if (const std::optional<Value> found = find(key)) return found->as<T>();
  detail::fail(keyPath(key), "missing required value");
}

template <class T>
std::optional<T> ObjectReader::optional(std::string_view key) const {
  if (const std::optional<Value> found = find(key)) return found->as<T>();
  return std::nullopt;
}

template <class T, class F>
std::vector<T> ObjectReader::array(std::string_view key, F decodeElement) const {
  std::vector<T> result;
  const std::optional<Value> found = find(key);
  if (!found) return result;
  const nlohmann::json& elements = found->json();
  if (!elements.is_array()) found->fail("expected an array");
  result.reserve(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const Value element(elements[i], detail::elementPath(found->path(), i));
    result.push_back(detail::decodeWith<T>(element, decodeElement));
  }
  return result;
}

}  // namespace trelvis::json
