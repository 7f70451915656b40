#pragma once

// The outcome of a coroutine: nothing yet, a value, or an exception. Shared by
// Async<T>, Task<T> and the continuation bridge.

#include <exception>
#include <type_traits>
#include <utility>
#include <variant>

#include "base/check.h"

namespace trelvis::detail {

struct Unit {};

template <class T>
using ValueOrUnit = std::conditional_t<std::is_void_v<T>, Unit, T>;

template <class T>
class Result {
 public:
  bool isSet() const { return storage_.index() != 0; }

  template <class... Args>
  void setValue(Args&&... args) {
    storage_.template emplace<1>(std::forward<Args>(args)...);
  }
  void setError(std::exception_ptr error) { storage_.template emplace<2>(std::move(error)); }

  // Hands the value over, or raises the stored error.
  T take() {
    TRELVIS_DCHECK(isSet(), "the result is read before it is set");
    if (storage_.index() == 2) std::rethrow_exception(std::get<2>(storage_));
    if constexpr (!std::is_void_v<T>) return std::move(std::get<1>(storage_));
  }

  // The value, or raises the stored error; for results read more than once.
  decltype(auto) get() const {
    TRELVIS_DCHECK(isSet(), "the result is read before it is set");
    if (storage_.index() == 2) std::rethrow_exception(std::get<2>(storage_));
    if constexpr (!std::is_void_v<T>) return (std::get<1>(storage_));
  }

 private:
  std::variant<std::monostate, ValueOrUnit<T>, std::exception_ptr> storage_;
};

// return_value / return_void for promise types that keep a Result<T>.
template <class T, class Derived>
struct ReturnsValue {
  void return_value(T value) { static_cast<Derived*>(this)->result().setValue(std::move(value)); }
};
template <class Derived>
struct ReturnsValue<void, Derived> {
  void return_void() { static_cast<Derived*>(this)->result().setValue(); }
};

}  // namespace trelvis::detail
