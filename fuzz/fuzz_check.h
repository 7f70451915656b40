#pragma once

// What the fuzz targets share: a check that stops the run the way a crash does,
// so that libFuzzer keeps the input, and the shape of a message that quotes
// nothing of its input.

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace trelvis::fuzz {

[[noreturn]] inline void fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, what);
  std::abort();
}

// Messages of the decoders name a path and a problem in printable ASCII; a quote
// mark is how the JSON library's own messages quote the text they failed on.
inline bool quotesNothing(std::string_view message) {
  for (char c : message) {
    if (c < 0x20 || c > 0x7E || c == '\'' || c == '"') return false;
  }
  return true;
}

// A message fit for a reply or a log line: not empty, printable ASCII only.
inline bool printableText(std::string_view message) {
  if (message.empty()) return false;
  for (char c : message) {
    if (c < 0x20 || c > 0x7E) return false;
  }
  return true;
}

}  // namespace trelvis::fuzz

#define FUZZ_CHECK(condition) \
  ((condition) ? (void)0 : ::trelvis::fuzz::fail(#condition, __FILE__, __LINE__))
