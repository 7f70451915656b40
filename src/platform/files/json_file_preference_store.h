#pragma once

// JsonFilePreferenceStore keeps the user defaults in one JSON object, the file
// "preferences.json" in the application's configuration directory
// ($XDG_CONFIG_HOME/trelvis, else ~/.config/trelvis). The composition root creates
// the one instance at launch; it is thread-safe and owns the file while it writes.
//
// The file is read once, at construction. Every change is saved at once: under an
// advisory lock (flock on "preferences.json.lock") the file is read again, the one
// change is applied to what is on disk, and the result is written to a temporary
// file in the same directory, flushed to disk and renamed over the old file. So the
// file on disk is always one complete version, a crash loses at most the change
// being saved, and when two processes change different keys both changes are kept.
// Changes that another process saves become visible here with this process's next
// save or at the next launch. A store must not be used across fork(): the child
// would share its lock.
//
// A file that cannot be read as a JSON object (bad syntax, invalid UTF-8, a number
// beyond a double, nesting too deep, another top-level value, an I/O error) is never
// overwritten: it is logged, renamed to "preferences.json.corrupt-<UTC time>" and
// read as empty. Types survive the round trip: an integer stays an integer, a double
// stays a double even with an integral value (2.0 is written "2.0"), a Boolean stays
// a Boolean.

#include "core/prefs/preference_store.h"
#include "core/prefs/preferred_languages.h"

#include <tl/expected.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>

namespace trelvis {

class JsonFilePreferenceStore final : public PreferenceStore {
 public:
  using WallClock = std::function<std::chrono::system_clock::time_point()>;

  // Creates `directory` (mode 0700, with missing parents) when it is missing and
  // reads the file in it. `wallClock` names moved-aside files; the system clock when
  // empty.
  explicit JsonFilePreferenceStore(std::filesystem::path directory, WallClock wallClock = {});
  ~JsonFilePreferenceStore() override;
  JsonFilePreferenceStore(const JsonFilePreferenceStore&) = delete;
  JsonFilePreferenceStore& operator=(const JsonFilePreferenceStore&) = delete;

  // $XDG_CONFIG_HOME/trelvis when that is an absolute path, else
  // $HOME/.config/trelvis (the home directory from the user database when HOME is
  // not set).
  static std::filesystem::path defaultDirectory(const EnvironmentLookup& environment);
  static std::filesystem::path defaultDirectory() { return defaultDirectory(processEnvironment()); }

  static constexpr const char* kFileName = "preferences.json";

  const std::filesystem::path& filePath() const { return filePath_; }

  // The file's text as the values it holds, or what is wrong with it (bad syntax,
  // invalid UTF-8, another top-level value, a number beyond a double, nesting too
  // deep), worded to follow the file's name in a log line. JSON nulls are left out.
  static tl::expected<PreferenceValue::Dictionary, std::string> decodeFile(
      std::string_view text);
  // The text that decodeFile reads back as `values`; nothing when a value cannot be
  // written (text that is not UTF-8).
  static std::optional<std::string> encodeFile(const PreferenceValue::Dictionary& values);

  std::optional<PreferenceValue> value(std::string_view key) const override;
  void remove(std::string_view key) override;

 protected:
  void storeValue(std::string_view key, PreferenceValue value) override;

 private:
  // `unusable`: damaged, and it could not be moved aside either, so it must not be
  // replaced.
  enum class DiskState { missing, valid, movedAside, unusable };
  struct DiskRead {
    DiskState state;
    PreferenceValue::Dictionary values;
  };
  class FileLock;

  // Applies one change (a value, or a removal when none) to the file and to memory.
  void change(std::string_view key, std::optional<PreferenceValue> value);
  DiskRead readDisk() const;
  DiskState moveAside(std::string_view problem) const;
  bool save(const PreferenceValue::Dictionary& values) const;
  void removeStaleTemporaryFiles() const;

  const std::filesystem::path directory_;
  const std::filesystem::path filePath_;
  const WallClock wallClock_;
  int lockFd_ = -1;
  mutable std::mutex mutex_;
  PreferenceValue::Dictionary values_;
};

}  // namespace trelvis
