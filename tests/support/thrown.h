#pragma once

// thrownBy: the exception of a given type that a call throws, or nothing when the
// call returns, so that a test states the expected failure in one comparison.

#include <optional>
#include <string>
#include <utility>

namespace trelvis::testing {

template <class E, class F>
std::optional<E> thrownBy(F&& body) {
  try {
    std::forward<F>(body)();
  } catch (const E& error) {
    return error;
  }
  return std::nullopt;
}

// What the E thrown by `body` says, or "(nothing thrown)".
template <class E, class F>
std::string messageThrownBy(F&& body) {
  const std::optional<E> error = thrownBy<E>(std::forward<F>(body));
  return error ? error->what() : "(nothing thrown)";
}

}  // namespace trelvis::testing
