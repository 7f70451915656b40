#pragma once

// A read-only memory map of a data file. Dictionaries keep their files mapped for
// the life of the process and read them from any thread.

#include <tl/expected.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace trelvis::server {

class MappedFile {
 public:
  static tl::expected<MappedFile, std::string> open(const std::string& path);
  MappedFile() = default;
  MappedFile(MappedFile&& other) noexcept;
  MappedFile& operator=(MappedFile&& other) noexcept;
  ~MappedFile();

  std::string_view text() const { return {static_cast<const char*>(data_), size_}; }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace trelvis::server
