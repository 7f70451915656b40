#include "base/check.h"

#include <cstdio>
#include <cstdlib>

namespace trelvis::detail {

void checkFailed(const char* condition, const char* message, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: check failed: %s: %s\n", file, line, condition, message);
  std::fflush(stderr);
  std::abort();
}

}  // namespace trelvis::detail
