#pragma once

// Random access into a dictzip file (".dict.dz"): gzip whose extra field lists the
// compressed size of every fixed-size chunk, each chunk deflated on its own. A
// read inflates only the chunks it touches. Read-only; any thread may read.

#include "server/engines/dict/mapped_file.h"

#include <tl/expected.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace trelvis::server {

class DictzipReader {
 public:
  static tl::expected<DictzipReader, std::string> open(const std::string& path);

  // `length` bytes of the uncompressed text from `offset`, or why not.
  tl::expected<std::string, std::string> read(uint64_t offset, uint64_t length) const;

 private:
  MappedFile file_;
  uint32_t chunkLength_ = 0;
  std::vector<uint64_t> chunkStarts_;  // compressed offsets, one past the last chunk at the end
};

}  // namespace trelvis::server
