#include "platform/files/json_file_preference_store.h"

#include "base/log.h"
#include "support/fake_environment.h"
#include "support/temp_directory.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace trelvis {
namespace {

namespace fs = std::filesystem;

using TempDir = testing::TempDirectory;
using testing::readFile;

void writeFile(const fs::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

// File names in `directory` that start with `prefix`.
std::vector<std::string> namesStartingWith(const fs::path& directory, std::string_view prefix) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(prefix)) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// 2026-11-21 05:15:30 UTC.
std::chrono::system_clock::time_point fixedTime() {
  return std::chrono::system_clock::time_point(std::chrono::seconds(1795238130));
}

// Runs `body` in a child process; its exit status is 0 when `body` returns true.
pid_t forkChild(const std::function<bool()>& body) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    bool ok = false;
    try {
      ok = body();
    } catch (...) {
    }
    ::_exit(ok ? 0 : 1);
  }
  return pid;
}

// The exit code, or 128 + the signal that ended the process.
int waitExitStatus(pid_t pid) {
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(JsonFilePreferenceStoreTest, ValuesKeepTheirTypesAcrossLaunches) {
  TempDir temp;
  const fs::path directory = temp.path() / "config" / "trelvis";
  const PreferenceValue::Dictionary values = {
      {"bool", true},
      {"int", 2},
      {"int.max", std::numeric_limits<int64_t>::max()},
      {"int.min", std::numeric_limits<int64_t>::min()},
      {"double", 2.0},
      {"double.small", 0.1},
      {"double.huge", 1e300},
      {"text", "\"quoted\"\n中文 🎉"},
      {"array", PreferenceValue::Array{1, 1.0, false, "x", PreferenceValue::Array{}}},
      {"dict", PreferenceValue::Dictionary{{"nested", PreferenceValue::Dictionary{{"n", 3.0}}}}},
  };
  {
    JsonFilePreferenceStore store(directory);
    for (const auto& [key, value] : values) EXPECT_TRUE(store.setValue(key, value));
    store.setString("removed", "soon");
    store.remove("removed");
  }
  const JsonFilePreferenceStore reopened(directory);
  for (const auto& [key, value] : values) EXPECT_EQ(reopened.value(key), value) << key;
  EXPECT_EQ(reopened.value("removed"), std::nullopt);

  const std::string text = readFile(reopened.filePath());
  EXPECT_NE(text.find("\"double\": 2.0"), std::string::npos) << text;
  EXPECT_NE(text.find("\"int\": 2,"), std::string::npos) << text;
  struct stat status {};
  ASSERT_EQ(::stat(directory.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat((temp.path() / "config").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  ASSERT_EQ(::stat(reopened.filePath().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);

  // Nulls hold no preference: left out, and the file is not treated as damaged.
  writeFile(reopened.filePath(), R"({"a": null, "b": [1, null, 2], "c": 18446744073709551615})");
  const JsonFilePreferenceStore withNulls(directory);
  EXPECT_EQ(withNulls.value("a"), std::nullopt);
  EXPECT_EQ(withNulls.arrayValue("b"), (PreferenceValue::Array{1, 2}));
  EXPECT_EQ(withNulls.doubleValue("c"), 18446744073709551615.0);
  EXPECT_TRUE(namesStartingWith(directory, "preferences.json.corrupt").empty());
}

TEST(JsonFilePreferenceStoreTest, DamagedFilesAreMovedAsideAndNeverOverwritten) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  // The fuzz target replays more shapes of damage through the decoder; moving aside
  // is the same for all of them.
  const std::string damaged[] = {"{\"half\": ", "[1, 2]", "", "{\"k\": 1e400}",
                                 "{\"k\": " + deep + "}"};
  for (const std::string& content : damaged) {
    SCOPED_TRACE(content.substr(0, 20));
    TempDir temp;
    writeFile(temp.path() / "preferences.json", content);
    LogCapture log;
    JsonFilePreferenceStore store(temp.path(), fixedTime);
    EXPECT_EQ(store.value("k"), std::nullopt);
    const auto records = log.records("preferences");
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].message.find("1e400"), std::string::npos) << records[0].message;
    EXPECT_EQ(readFile(temp.path() / "preferences.json.corrupt-20261121T051530Z"), content);

    store.setBool("x", true);
    writeFile(temp.path() / "preferences.json", content);  // damaged again, same second
    store.setInteger("y", 1);  // the re-read before saving finds the damage
    EXPECT_EQ(readFile(temp.path() / "preferences.json.corrupt-20261121T051530Z-1"), content);
    EXPECT_EQ(namesStartingWith(temp.path(), "preferences.json.corrupt").size(), 2u);
    const JsonFilePreferenceStore reopened(temp.path());
    EXPECT_EQ(reopened.boolValue("x"), true) << "what this process knew survives";
    EXPECT_EQ(reopened.integerValue("y"), 1);
  }

  TempDir temp;
  fs::create_directory(temp.path() / "preferences.json");  // opens, but cannot be read
  JsonFilePreferenceStore store(temp.path(), fixedTime);
  EXPECT_TRUE(fs::is_directory(temp.path() / "preferences.json.corrupt-20261121T051530Z"));
  EXPECT_TRUE(store.setBool("x", true));
  EXPECT_TRUE(fs::is_regular_file(store.filePath()));
}

TEST(JsonFilePreferenceStoreTest, ChangesOfAnotherWriterAreMergedNotLost) {
  TempDir temp;
  writeFile(temp.path() / "preferences.json.tmp-Ab12Cd", "left by a writer that died");
  JsonFilePreferenceStore first(temp.path());
  EXPECT_TRUE(namesStartingWith(temp.path(), "preferences.json.tmp").empty());
  JsonFilePreferenceStore second(temp.path());
  first.setString("a", "first");
  second.setString("b", "second");
  EXPECT_EQ(first.value("b"), std::nullopt) << "the file is read once, then at each save";
  first.setString("shared", "first");
  second.remove("shared");
  first.setString("c", "first");
  EXPECT_EQ(first.stringValue("b"), "second");
  EXPECT_EQ(first.value("shared"), std::nullopt);

  fs::remove(first.filePath());  // a deleted file costs nothing that is known here
  second.setInteger("d", 4);
  const JsonFilePreferenceStore third(temp.path());
  EXPECT_EQ(third.stringValue("a"), "first");
  EXPECT_EQ(third.stringValue("b"), "second");
  EXPECT_EQ(third.value("c"), std::nullopt);
  EXPECT_EQ(third.integerValue("d"), 4);
}

TEST(JsonFilePreferenceStoreTest, ConcurrentProcessesKeepEveryKeyAndTheFileAlwaysParses) {
  TempDir temp;
  constexpr int kChildren = 4;
  constexpr int kKeys = 25;
  int go[2];
  ASSERT_EQ(::pipe(go), 0);
  std::vector<pid_t> children;
  for (int child = 0; child < kChildren; ++child) {
    children.push_back(forkChild([&, child] {
      char byte;
      if (::read(go[0], &byte, 1) != 1) return false;
      JsonFilePreferenceStore store(temp.path());
      for (int key = 0; key < kKeys; ++key) {
        store.setInteger("child" + std::to_string(child) + ".key" + std::to_string(key), key);
      }
      return true;
    }));
  }
  ASSERT_EQ(::write(go[1], "gggg", kChildren), kChildren);
  // Reads while the children write: every version read is complete.
  for (int i = 0; i < 20; ++i) {
    const JsonFilePreferenceStore reader(temp.path());
    ASSERT_TRUE(namesStartingWith(temp.path(), "preferences.json.corrupt").empty());
  }
  for (const pid_t pid : children) EXPECT_EQ(waitExitStatus(pid), 0);
  ::close(go[0]);
  ::close(go[1]);

  const JsonFilePreferenceStore result(temp.path());
  for (int child = 0; child < kChildren; ++child) {
    for (int key = 0; key < kKeys; ++key) {
      EXPECT_EQ(result.integerValue("child" + std::to_string(child) + ".key" + std::to_string(key)),
                key);
    }
  }
  EXPECT_EQ(namesStartingWith(temp.path(), "preferences.json"),
            (std::vector<std::string>{"preferences.json", "preferences.json.lock"}));
}

TEST(JsonFilePreferenceStoreTest, AWriterKilledAtAnyMomentLeavesACompleteVersion) {
  TempDir temp;
  std::mt19937 random(20261121);
  const std::string filler(8 * 1024, 'x');
  int64_t lastSeen = -1;
  int killedWhileWriting = 0;
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    int started[2];
    ASSERT_EQ(::pipe(started), 0);
    const pid_t pid = forkChild([&] {
      JsonFilePreferenceStore store(temp.path());
      const auto blob = store.dictionaryValue("blob");
      int64_t n = blob ? *blob->at("n").getIf<int64_t>() + 1 : 0;
      for (;; ++n) {
        store.setDictionary("blob", {{"n", n}, {"filler", filler}, {"check", n}});
        if (::write(started[1], "s", 1) < 0) return false;
      }
    });
    ::close(started[1]);  // so that a child that dies early ends the read
    char byte;
    ASSERT_EQ(::read(started[0], &byte, 1), 1);
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution<int>(0, 6000)(random)));
    ::kill(pid, SIGKILL);
    EXPECT_EQ(waitExitStatus(pid), 128 + SIGKILL);
    ::close(started[0]);

    killedWhileWriting += !namesStartingWith(temp.path(), "preferences.json.tmp").empty();
    LogCapture log;
    const JsonFilePreferenceStore reader(temp.path());
    EXPECT_TRUE(log.records("preferences").empty());
    const auto blob = reader.dictionaryValue("blob");
    ASSERT_TRUE(blob.has_value());
    const int64_t n = *blob->at("n").getIf<int64_t>();
    EXPECT_EQ(blob->at("check"), PreferenceValue(n));
    EXPECT_EQ(blob->at("filler"), PreferenceValue(filler));
    EXPECT_GE(n, lastSeen) << "a kill must never bring back an older version";
    lastSeen = n;
  }
  EXPECT_TRUE(namesStartingWith(temp.path(), "preferences.json.corrupt").empty());
  // How many kills hit a save between its temporary file and the rename.
  RecordProperty("killedWhileWriting", killedWhileWriting);
}

TEST(JsonFilePreferenceStoreTest, DefaultDirectoryFollowsXdgConfigHomeThenHome) {
  struct Case {
    EnvironmentTable environment;
    fs::path expected;
  };
  const Case cases[] = {
      {{{"XDG_CONFIG_HOME", "/x/cfg"}, {"HOME", "/home/u"}}, "/x/cfg/trelvis"},
      {{{"XDG_CONFIG_HOME", "relative/cfg"}, {"HOME", "/home/u"}}, "/home/u/.config/trelvis"},
      {{{"XDG_CONFIG_HOME", ""}, {"HOME", "/home/u"}}, "/home/u/.config/trelvis"},
      {{{"HOME", "/home/v"}}, "/home/v/.config/trelvis"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(JsonFilePreferenceStore::defaultDirectory(environmentOf(c.environment)), c.expected);
  }
}

}  // namespace
}  // namespace trelvis
