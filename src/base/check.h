#pragma once

// TRELVIS_DCHECK(condition, message): a programming error that debug builds stop at,
// with the message and the place on stderr. Release builds compile it away.

namespace trelvis::detail {
[[noreturn]] void checkFailed(const char* condition, const char* message, const char* file,
                              int line);
}  // namespace trelvis::detail

#ifdef NDEBUG
#define TRELVIS_DCHECK(condition, message) \
  do {                                     \
  } while (false)
#else
#define TRELVIS_DCHECK(condition, message)                                     \
  do {                                                                         \
    if (!(condition)) {                                                        \
      ::trelvis::detail::checkFailed(#condition, message, __FILE__, __LINE__); \
    }                                                                          \
  } while (false)
#endif
