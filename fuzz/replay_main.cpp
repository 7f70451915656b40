// Runs a fuzz target's entry point once on every file under the given paths, as
// libFuzzer runs one input; a failed check or a sanitizer report ends the program
// as it would end a fuzzing run. Paths that do not exist are skipped; finding no
// input at all is a failure, so that a misplaced corpus cannot pass unnoticed.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (int i = 1; i < argc; ++i) {
    const fs::path path(argv[i]);
    if (fs::is_regular_file(path)) files.push_back(path);
    if (!fs::is_directory(path)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) files.push_back(entry.path());
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::fprintf(stderr, "replaying %s\n", file.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
  }
  std::printf("replayed %zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
