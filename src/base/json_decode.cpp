#include "base/json_decode.h"

#include <cmath>

namespace trelvis::json {
namespace detail {
namespace {

constexpr std::string_view kExpectedInteger = "expected an integer";
constexpr std::string_view kOutOfRange = "integer out of range";

// A float stands for an integer only when it has no fractional part.
bool isIntegral(double value) {
  return std::isfinite(value) && std::trunc(value) == value;
}

}  // namespace

void fail(const std::string& path, std::string_view problem) {
  std::string message;
  if (!path.empty()) {
    message = path;
    message += ": ";
  }
  message += problem;
  throw DecodeError(message);
}

bool decodeBool(const Value& value) {
  if (!value.json().is_boolean()) value.fail("expected a boolean");
  return value.json().get<bool>();
}

int64_t decodeSigned(const Value& value, int64_t min, int64_t max) {
  const nlohmann::json& json = value.json();
  int64_t result;
  if (json.is_number_unsigned()) {
    const auto unsignedValue = json.get<uint64_t>();
    if (unsignedValue > static_cast<uint64_t>(max)) value.fail(kOutOfRange);
    result = static_cast<int64_t>(unsignedValue);
  } else if (json.is_number_integer()) {
    result = json.get<int64_t>();
  } else if (json.is_number_float()) {
    const auto number = json.get<double>();
    if (!isIntegral(number)) value.fail(kExpectedInteger);
    // 2^63 is exact as a double; int64_t holds [-2^63, 2^63).
    if (number < -0x1p63 || number >= 0x1p63) value.fail(kOutOfRange);
    result = static_cast<int64_t>(number);
  } else {
    value.fail(kExpectedInteger);
  }
  if (result < min || result > max) value.fail(kOutOfRange);
  return result;
}

uint64_t decodeUnsigned(const Value& value, uint64_t max) {
  const nlohmann::json& json = value.json();
  uint64_t result;
  if (json.is_number_unsigned()) {
    result = json.get<uint64_t>();
  } else if (json.is_number_integer()) {
    const auto signedValue = json.get<int64_t>();
    if (signedValue < 0) value.fail(kOutOfRange);
    result = static_cast<uint64_t>(signedValue);
  } else if (json.is_number_float()) {
    const auto number = json.get<double>();
    if (!isIntegral(number)) value.fail(kExpectedInteger);
    if (number < 0 || number >= 0x1p64) value.fail(kOutOfRange);
    result = static_cast<uint64_t>(number);
  } else {
    value.fail(kExpectedInteger);
  }
  if (result > max) value.fail(kOutOfRange);
  return result;
}

double decodeNumber(const Value& value) {
  if (!value.json().is_number()) value.fail("expected a number");
  return value.json().get<double>();
}

std::string decodeString(const Value& value) {
  if (!value.json().is_string()) value.fail("expected a string");
  return value.json().get<std::string>();
}

Timestamp decodeTimestamp(const Value& value) {
  const auto parsed = parseIso8601(decodeString(value));
  if (!parsed) value.fail(parsed.error());
  return *parsed;
}

std::string elementPath(const std::string& arrayPath, std::size_t index) {
  return arrayPath + "[" + std::to_string(index) + "]";
}

}  // namespace detail

ObjectReader Value::object() const {
  return ObjectReader(*json_, path_);
}

void Value::fail(std::string_view problem) const {
  detail::fail(path_, problem);
}

ObjectReader::ObjectReader(const nlohmann::json& object, std::string path)
    : object_(&object), path_(std::move(path)) {
  if (!object.is_object()) fail("expected an object");
}

void ObjectReader::fail(std::string_view problem) const {
  detail::fail(path_, problem);
}

std::optional<Value> ObjectReader::find(std::string_view key) const {
  const auto it = object_->find(std::string(key));
  if (it == object_->end() || it->is_null()) return std::nullopt;
  return Value(*it, keyPath(key));
}

std::string ObjectReader::keyPath(std::string_view key) const {
  if (path_.empty()) return std::string(key);
  std::string path = path_;
  path += '.';
  path += key;
  return path;
}

nlohmann::json parse(std::string_view text) {
  // Only the nesting depth is checked here; every value is kept.
  const nlohmann::json::parser_callback_t limitDepth =
      [](int depth, nlohmann::json::parse_event_t event, nlohmann::json&) {
        if (depth >= kMaxNestingDepth && (event == nlohmann::json::parse_event_t::object_start ||
                                          event == nlohmann::json::parse_event_t::array_start)) {
          throw DecodeError("invalid JSON: nested deeper than " +
                            std::to_string(kMaxNestingDepth) + " levels");
        }
        return true;
      };
  // The library's own messages quote the text around the fault ("number overflow
  // parsing '1e400'"), which may be a secret; the byte offset, where there is one, is
  // enough to find it.
  try {
    return nlohmann::json::parse(text.begin(), text.end(), limitDepth);
  } catch (const nlohmann::json::parse_error& error) {
    throw DecodeError("invalid JSON at byte " + std::to_string(error.byte));
  } catch (const nlohmann::json::out_of_range&) {
    throw DecodeError("invalid JSON: a number is out of range");
  } catch (const nlohmann::json::exception& error) {
    throw DecodeError("invalid JSON (error " + std::to_string(error.id) + ")");
  }
}

}  // namespace trelvis::json
