#include "platform/files/xdg_autostart_launch_at_login.h"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "support/fake_environment.h"
#include "support/temp_directory.h"

namespace trelvis {
namespace {

namespace fs = std::filesystem;

using testing::readFile;

std::string execLine(const std::string& entry) {
  std::istringstream in(entry);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("Exec=")) return line.substr(5);
  }
  return {};
}

class XdgAutostartLaunchAtLoginTest : public ::testing::Test {
 protected:
  XdgAutostartLaunchAtLogin make(fs::path executable = "/opt/trelvis/bin/trelvis") {
    return XdgAutostartLaunchAtLogin(
        environmentOf({{"XDG_CONFIG_HOME", config.string()}, {"HOME", "/nonexistent"}}),
        std::move(executable));
  }

  testing::TempDirectory temp;
  fs::path config = temp.path() / "config";
  fs::path entry = config / "autostart" / "trelvis.desktop";
};

TEST_F(XdgAutostartLaunchAtLoginTest, EnablingWritesAnEntryThatDisablingRemoves) {
  auto launch = make();
  launch.refreshStatus();
  EXPECT_EQ(launch.status(), LaunchAtLoginStatus::off);
  EXPECT_FALSE(fs::exists(config)) << "reading the status creates nothing";
  EXPECT_EQ(launch.filePath(), entry);

  launch.enable();
  EXPECT_EQ(launch.status(), LaunchAtLoginStatus::on);
  const std::string written = readFile(entry);
  EXPECT_TRUE(written.starts_with("[Desktop Entry]\n")) << written;
  EXPECT_NE(written.find("\nType=Application\n"), std::string::npos);
  EXPECT_NE(written.find("\nX-GNOME-Autostart-enabled=true\n"), std::string::npos);
  EXPECT_EQ(execLine(written), "/opt/trelvis/bin/trelvis");
  struct stat status {};
  ASSERT_EQ(::stat(entry.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  EXPECT_EQ(std::distance(fs::directory_iterator(entry.parent_path()), fs::directory_iterator()), 1)
      << "no temporary file is left behind";

  launch.disable();
  EXPECT_EQ(launch.status(), LaunchAtLoginStatus::off);
  EXPECT_FALSE(fs::exists(entry));
  launch.disable();  // nothing to remove is no failure
  EXPECT_EQ(launch.status(), LaunchAtLoginStatus::off);

  // The running program by default.
  XdgAutostartLaunchAtLogin running(environmentOf({{"XDG_CONFIG_HOME", config.string()}}));
  running.enable();
  EXPECT_EQ(execLine(readFile(entry)), fs::read_symlink("/proc/self/exe").string());
}

TEST_F(XdgAutostartLaunchAtLoginTest, AnEntryCountsAsOnUnlessItIsSwitchedOff) {
  struct Case {
    const char* entry;
    LaunchAtLoginStatus expected;
  } cases[] = {
      {"[Desktop Entry]\nExec=/x\n", LaunchAtLoginStatus::on},
      {"[Desktop Entry]\nHidden=false\nExec=/x\n", LaunchAtLoginStatus::on},
      {"[Desktop Entry]\nExec=/x\nHidden=true\n", LaunchAtLoginStatus::off},
      {"[Desktop Entry]\n Hidden = true \n", LaunchAtLoginStatus::off},
      {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", LaunchAtLoginStatus::off},
      // Keys of another group are not the entry's.
      {"[Desktop Entry]\nExec=/x\n[Desktop Action x]\nHidden=true\n", LaunchAtLoginStatus::on},
      {"", LaunchAtLoginStatus::on},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.entry);
    fs::create_directories(entry.parent_path());
    std::ofstream(entry) << c.entry;
    auto launch = make();
    launch.refreshStatus();
    EXPECT_EQ(launch.status(), c.expected);
  }
  // Enabling replaces a hidden entry with one that runs.
  std::ofstream(entry) << "[Desktop Entry]\nHidden=true\n";
  auto launch = make();
  launch.enable();
  EXPECT_EQ(launch.status(), LaunchAtLoginStatus::on);

  // A folder that cannot exist: a file stands where it should be.
  fs::remove_all(config);
  std::ofstream(config) << "not a directory";
  auto blocked = make();
  blocked.refreshStatus();
  EXPECT_EQ(blocked.status(), LaunchAtLoginStatus::unavailable);
  blocked.enable();
  EXPECT_EQ(blocked.status(), LaunchAtLoginStatus::unavailable);
}

// A launcher must split the Exec value back into the one path.
TEST_F(XdgAutostartLaunchAtLoginTest, TheExecLineQuotesWhatALauncherWouldSplit) {
  struct Case {
    const char* executable;
    const char* exec;
  } cases[] = {
      {"/usr/bin/trelvis", "/usr/bin/trelvis"},
      {"/opt/My Apps/trelvis", R"("/opt/My Apps/trelvis")"},
      {"/opt/100%/trelvis", "/opt/100%%/trelvis"},
      {"/opt/a\"b/trelvis", R"("/opt/a\\"b/trelvis")"},
      {"/opt/$HOME/trelvis", R"("/opt/\\$HOME/trelvis")"},
      {"/opt/a\\b/trelvis", R"("/opt/a\\\\b/trelvis")"},
      {"/opt/it's/trelvis", R"("/opt/it's/trelvis")"},
      {"/opt/a\tb", R"("/opt/a\tb")"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.executable);
    auto launch = make(c.executable);
    launch.enable();
    EXPECT_EQ(execLine(readFile(entry)), c.exec);
  }
}

}  // namespace
}  // namespace trelvis
