#include "platform/files/json_file_preference_store.h"

#include "base/json_decode.h"
#include "base/log.h"
#include "platform/files/atomic_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace trelvis {
namespace {

namespace fs = std::filesystem;

const LogCategory kLog("preferences");

constexpr std::string_view kLockSuffix = ".lock";
constexpr std::string_view kCorruptInfix = ".corrupt-";

std::string errorText(int error) {
  return std::system_category().message(error);
}

// Nothing for a JSON null, which no preference holds; nulls inside arrays and
// dictionaries are left out likewise.
std::optional<PreferenceValue> fromJson(const nlohmann::json& json) {
  switch (json.type()) {
    case nlohmann::json::value_t::boolean:
      return PreferenceValue(json.get<bool>());
    case nlohmann::json::value_t::number_integer:
      return PreferenceValue(json.get<int64_t>());
    case nlohmann::json::value_t::number_unsigned: {
      const auto value = json.get<uint64_t>();
      if (value <= static_cast<uint64_t>(INT64_MAX))
        return PreferenceValue(static_cast<int64_t>(value));
      return PreferenceValue(static_cast<double>(value));
    }
    case nlohmann::json::value_t::number_float:
      return PreferenceValue(json.get<double>());
    case nlohmann::json::value_t::string:
      return PreferenceValue(json.get<std::string>());
    case nlohmann::json::value_t::array: {
      PreferenceValue::Array array;
      for (const nlohmann::json& element : json) {
        if (std::optional<PreferenceValue> value = fromJson(element)) {
          array.push_back(std::move(*value));
        }
      }
      return PreferenceValue(std::move(array));
    }
    case nlohmann::json::value_t::object: {
      PreferenceValue::Dictionary dictionary;
      for (const auto& [key, element] : json.items()) {
        if (std::optional<PreferenceValue> value = fromJson(element)) {
          dictionary.insert_or_assign(key, std::move(*value));
        }
      }
      return PreferenceValue(std::move(dictionary));
    }
    default:
      return std::nullopt;
  }
}

nlohmann::json toJson(const PreferenceValue& value) {
  return value.visit([](const auto& stored) -> nlohmann::json {
    using T = std::decay_t<decltype(stored)>;
    if constexpr (std::is_same_v<T, PreferenceValue::Array>) {
      nlohmann::json array = nlohmann::json::array();
      for (const PreferenceValue& element : stored) array.push_back(toJson(element));
      return array;
    } else if constexpr (std::is_same_v<T, PreferenceValue::Dictionary>) {
      nlohmann::json object = nlohmann::json::object();
      for (const auto& [key, element] : stored) object[key] = toJson(element);
      return object;
    } else {
      // A double keeps its type on disk: nlohmann writes 2.0 as "2.0", not "2".
      return nlohmann::json(stored);
    }
  });
}

// "20261121T051530Z".
std::string utcStamp(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm utc{};
  ::gmtime_r(&seconds, &utc);
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc);
  return std::string(text, length);
}

}  // namespace

// Holds the advisory lock on the lock file for one read-modify-write. Without a lock
// file (it could not be opened) saving still works, only without the merge guarantee.
class JsonFilePreferenceStore::FileLock {
 public:
  explicit FileLock(int fd) : fd_(fd) {
    if (fd_ < 0) return;
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno == EINTR) continue;
      kLog.warning("could not lock the preferences file: {}", errorText(errno));
      fd_ = -1;
      return;
    }
  }
  ~FileLock() {
    if (fd_ >= 0) ::flock(fd_, LOCK_UN);
  }
  bool held() const { return fd_ >= 0; }
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int fd_;
};

JsonFilePreferenceStore::JsonFilePreferenceStore(fs::path directory, WallClock wallClock)
    : directory_(std::move(directory)),
      filePath_(directory_ / kFileName),
      wallClock_(wallClock ? std::move(wallClock)
                           : [] { return std::chrono::system_clock::now(); }) {
  if (!createDirectories(directory_, 0700, kLog)) return;
  const std::string lockPath = filePath_.string() + std::string(kLockSuffix);
  lockFd_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lockFd_ < 0) {
    kLog.error("could not open the preferences lock file {}: {}", lockPath, errorText(errno));
  }
  const FileLock lock(lockFd_);
  if (lock.held()) removeStaleTemporaryFiles();
  values_ = readDisk().values;
}

JsonFilePreferenceStore::~JsonFilePreferenceStore() {
  if (lockFd_ >= 0) ::close(lockFd_);
}

fs::path JsonFilePreferenceStore::defaultDirectory(const EnvironmentLookup& environment) {
  return xdgConfigHome(environment) / "trelvis";
}

std::optional<PreferenceValue> JsonFilePreferenceStore::value(std::string_view key) const {
  const std::lock_guard guard(mutex_);
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void JsonFilePreferenceStore::remove(std::string_view key) {
  change(key, std::nullopt);
}

void JsonFilePreferenceStore::storeValue(std::string_view key, PreferenceValue value) {
  change(key, std::move(value));
}

void JsonFilePreferenceStore::change(std::string_view key, std::optional<PreferenceValue> value) {
  const std::lock_guard guard(mutex_);
  const FileLock lock(lockFd_);
  DiskRead disk = readDisk();
  // What another process saved since is kept. When there is no usable file, what
  // this process knows is the best there is: a deleted or damaged file must not
  // cost the other preferences.
  PreferenceValue::Dictionary next =
      disk.state == DiskState::valid ? std::move(disk.values) : values_;
  const auto found = next.find(key);
  const bool unchanged =
      value ? found != next.end() && found->second == *value : found == next.end();
  if (!unchanged) {
    if (value) {
      next.insert_or_assign(std::string(key), std::move(*value));
    } else {
      next.erase(found);
    }
  }
  values_ = std::move(next);
  if (unchanged &&
      (disk.state == DiskState::valid || (disk.state == DiskState::missing && values_.empty()))) {
    return;
  }
  if (disk.state == DiskState::unusable) {
    kLog.error("not saving preference {}: the damaged preferences file is still in place", key);
    return;
  }
  save(values_);
}

JsonFilePreferenceStore::DiskRead JsonFilePreferenceStore::readDisk() const {
  const int fd = ::open(filePath_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return {DiskState::missing, {}};
    return {moveAside("could not be opened: " + errorText(errno)), {}};
  }
  std::string text;
  char buffer[8192];
  for (;;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count == 0) break;
    if (count < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      ::close(fd);
      return {moveAside("could not be read: " + errorText(error)), {}};
    }
    text.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(fd);

  auto values = decodeFile(text);
  if (!values) return {moveAside(values.error()), {}};
  return {DiskState::valid, std::move(*values)};
}

tl::expected<PreferenceValue::Dictionary, std::string> JsonFilePreferenceStore::decodeFile(
    std::string_view text) {
  nlohmann::json document;
  try {
    document = json::parse(text);
  } catch (const json::DecodeError& error) {
    return tl::make_unexpected("is not valid JSON (" + std::string(error.what()) + ")");
  }
  if (!document.is_object()) return tl::make_unexpected("does not hold a JSON object");
  std::optional<PreferenceValue> values = fromJson(document);
  return std::move(*values->getIf<PreferenceValue::Dictionary>());
}

std::optional<std::string> JsonFilePreferenceStore::encodeFile(
    const PreferenceValue::Dictionary& values) {
  try {
    return toJson(PreferenceValue(values)).dump(2) + "\n";
  } catch (const nlohmann::json::exception& error) {
    kLog.error("could not encode the preferences: {}", error.what());
    return std::nullopt;
  }
}

JsonFilePreferenceStore::DiskState JsonFilePreferenceStore::moveAside(
    std::string_view problem) const {
  const std::string base = filePath_.string() + std::string(kCorruptInfix) + utcStamp(wallClock_());
  for (int counter = 0;; ++counter) {
    const std::string target = counter == 0 ? base : base + "-" + std::to_string(counter);
    int result =
        ::renameat2(AT_FDCWD, filePath_.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
      // A file system without RENAME_NOREPLACE; the lock keeps our own processes
      // from racing between the check and the rename.
      if (::access(target.c_str(), F_OK) == 0) continue;
      result = ::rename(filePath_.c_str(), target.c_str());
    }
    if (result == 0) {
      kLog.error("the preferences file {} {}; moved it aside to {} and started afresh",
                 filePath_.string(), problem, target);
      return DiskState::movedAside;
    }
    if (errno == EEXIST) continue;
    kLog.error("the preferences file {} {}, and moving it aside failed: {}", filePath_.string(),
               problem, errorText(errno));
    return DiskState::unusable;
  }
}

bool JsonFilePreferenceStore::save(const PreferenceValue::Dictionary& values) const {
  const std::optional<std::string> text = encodeFile(values);
  return text && writeFileAtomically(filePath_, *text, 0600, kLog);
}

void JsonFilePreferenceStore::removeStaleTemporaryFiles() const {
  // Called under the lock: no other writer is between its temporary file and the
  // rename, so any temporary file left is from a writer that died.
  const std::string prefix = std::string(kFileName) + std::string(kAtomicWriteTemporaryInfix);
  std::error_code error;
  for (fs::directory_iterator it(directory_, error); !error && it != fs::directory_iterator();
       it.increment(error)) {
    std::error_code ignored;
    if (it->path().filename().string().starts_with(prefix)) fs::remove(it->path(), ignored);
  }
}

}  // namespace trelvis
