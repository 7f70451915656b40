#pragma once

// PreferenceValue: one value kept in the user's preferences: a Boolean, an integer, a
// double, UTF-8 text, or an array or string-keyed dictionary of such values. The
// alternatives stay apart: an integer is never read back as a double, nor a Boolean
// as an integer. A plain value type, copied freely between threads.

#include <concepts>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace trelvis {

class PreferenceValue {
 public:
  using Array = std::vector<PreferenceValue>;
  using Dictionary = std::map<std::string, PreferenceValue, std::less<>>;

  PreferenceValue(bool value) : storage_(value) {}
  template <std::integral T>
  requires(!std::same_as<T, bool>) PreferenceValue(T value)
      : storage_(static_cast<int64_t>(value)) {}
  PreferenceValue(double value) : storage_(value) {}
  PreferenceValue(std::string value) : storage_(std::move(value)) {}
  PreferenceValue(std::string_view value) : storage_(std::string(value)) {}
  PreferenceValue(const char* value) : storage_(std::string(value)) {}
  PreferenceValue(Array value) : storage_(std::move(value)) {}
  PreferenceValue(Dictionary value) : storage_(std::move(value)) {}

  // T is one of bool, int64_t, double, std::string, Array, Dictionary.
  template <class T>
  bool is() const {
    return std::holds_alternative<T>(storage_);
  }
  // The value when it holds a T, else null.
  template <class T>
  const T* getIf() const {
    return std::get_if<T>(&storage_);
  }

  template <class Visitor>
  decltype(auto) visit(Visitor&& visitor) const {
    return std::visit(std::forward<Visitor>(visitor), storage_);
  }

  // Whether a preference file can keep this value as it is: every double finite,
  // every text and dictionary key valid UTF-8.
  bool isStorable() const;

  friend bool operator==(const PreferenceValue&, const PreferenceValue&) = default;

 private:
  std::variant<bool, int64_t, double, std::string, Array, Dictionary> storage_;
};

}  // namespace trelvis
