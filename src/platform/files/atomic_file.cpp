#include "platform/files/atomic_file.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "base/log.h"

namespace trelvis {
namespace {

namespace fs = std::filesystem;

std::string errorText(int error) {
  return std::system_category().message(error);
}

bool writeAll(int fd, std::string_view data) {
  while (!data.empty()) {
    const ssize_t written = ::write(fd, data.data(), data.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

fs::path xdgConfigHome(const EnvironmentLookup& environment) {
  if (const std::optional<std::string> config = environment("XDG_CONFIG_HOME");
      config && fs::path(*config).is_absolute()) {
    return fs::path(*config);
  }
  fs::path home;
  if (const std::optional<std::string> value = environment("HOME"); value && !value->empty()) {
    home = *value;
  } else {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
        found->pw_dir) {
      home = found->pw_dir;
    }
  }
  return home / ".config";
}

bool createDirectories(const fs::path& directory, mode_t mode, const LogCategory& log) {
  fs::path current;
  for (const fs::path& part : directory) {
    current /= part;
    struct stat status {};
    if (::stat(current.c_str(), &status) == 0) continue;
    if (::mkdir(current.c_str(), mode) != 0 && errno != EEXIST) {
      log.error("could not create the directory {}: {}", current.string(), errorText(errno));
      return false;
    }
  }
  std::error_code error;
  if (!fs::is_directory(directory, error)) {
    log.error("{} is not a directory", directory.string());
    return false;
  }
  return true;
}

bool writeFileAtomically(const fs::path& path, std::string_view contents, mode_t mode,
                         const LogCategory& log) {
  std::string temporary = path.string() + std::string(kAtomicWriteTemporaryInfix) + "XXXXXX";
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) {
    log.error("could not write {}: {}", path.string(), errorText(errno));
    return false;
  }
  // mkostemp creates the file private to the user; the caller says who may read it.
  bool written = ::fchmod(fd, mode) == 0 && writeAll(fd, contents) && ::fsync(fd) == 0;
  int error = errno;
  if (::close(fd) != 0 && written) {
    written = false;
    error = errno;
  }
  if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    if (written) error = errno;
    ::unlink(temporary.c_str());
    log.error("could not write {}: {}", path.string(), errorText(error));
    return false;
  }
  const fs::path directory = path.parent_path().empty() ? fs::path(".") : path.parent_path();
  const int directoryFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directoryFd < 0 || ::fsync(directoryFd) != 0) {
    log.warning("could not flush the directory {}: {}", directory.string(), errorText(errno));
  }
  if (directoryFd >= 0) ::close(directoryFd);
  return true;
}

}  // namespace trelvis
