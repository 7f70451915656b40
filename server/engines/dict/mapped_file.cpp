#include "server/engines/dict/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace trelvis::server {

tl::expected<MappedFile, std::string> MappedFile::open(const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return tl::unexpected("cannot open " + path);
  struct stat info {};
  if (fstat(fd, &info) != 0) {
    ::close(fd);
    return tl::unexpected("cannot read " + path);
  }
  MappedFile file;
  file.size_ = static_cast<size_t>(info.st_size);
  if (file.size_ > 0) {
    void* data = mmap(nullptr, file.size_, PROT_READ, MAP_PRIVATE, fd, 0);
    if (data == MAP_FAILED) {
      ::close(fd);
      return tl::unexpected("cannot map " + path);
    }
    file.data_ = data;
  }
  ::close(fd);
  return file;
}

MappedFile::MappedFile(MappedFile&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
  if (this != &other) {
    if (data_) munmap(data_, size_);
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
  }
  return *this;
}

MappedFile::~MappedFile() {
  if (data_) munmap(data_, size_);
}

}  // namespace trelvis::server
