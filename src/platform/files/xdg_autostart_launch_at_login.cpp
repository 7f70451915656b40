#include "platform/files/xdg_autostart_launch_at_login.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

#include "base/log.h"
#include "base/text.h"
#include "platform/files/atomic_file.h"

namespace trelvis {
namespace {

namespace fs = std::filesystem;

const LogCategory kLog("launch-at-login");

// Characters after which a launcher would no longer read the path as one word.
constexpr std::string_view kReservedInExec = " \t\n\"'\\><~|&;$*?#()`";

fs::path runningExecutable() {
  std::error_code error;
  fs::path path = fs::read_symlink("/proc/self/exe", error);
  if (error) kLog.error("could not find the running program: {}", error.message());
  return path;
}

// Whether the entry's own keys switch it off: a hidden entry counts as deleted,
// and GNOME's switch leaves the file in place with its flag set to false.
bool entryIsSwitchedOff(std::istream& in) {
  bool inMainGroup = false;
  for (std::string line; std::getline(in, line);) {
    const std::string text = trimmed(line);
    if (text.starts_with('[')) {
      inMainGroup = text == "[Desktop Entry]";
      continue;
    }
    const auto equals = text.find('=');
    if (!inMainGroup || equals == std::string::npos) continue;
    const std::string key = trimmed(std::string_view(text).substr(0, equals));
    const std::string value = trimmed(std::string_view(text).substr(equals + 1));
    if (key == "Hidden" && value == "true") return true;
    if (key == "X-GNOME-Autostart-enabled" && value == "false") return true;
  }
  return false;
}

// The Exec value that starts `executable`, quoted and escaped so that a launcher
// splits it back into that one path.
std::string execValue(std::string_view executable) {
  // A literal percent sign would read as a field code.
  std::string argument;
  for (const char c : executable) {
    argument += c;
    if (c == '%') argument += '%';
  }
  if (argument.find_first_of(kReservedInExec) != std::string::npos) {
    std::string quoted = "\"";
    for (const char c : argument) {
      if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
      quoted += c;
    }
    argument = quoted + "\"";
  }
  // The value is then a string of the file, with its own escapes.
  std::string value;
  for (const char c : argument) {
    switch (c) {
      case '\\':
        value += "\\\\";
        break;
      case '\n':
        value += "\\n";
        break;
      case '\t':
        value += "\\t";
        break;
      case '\r':
        value += "\\r";
        break;
      default:
        value += c;
    }
  }
  return value;
}

// Whether `directory` exists or could be made: the nearest part of it that exists
// is a folder this user may write into. Reading the status creates nothing.
bool folderCanExist(const fs::path& directory) {
  std::error_code error;
  fs::path existing = directory;
  while (!fs::exists(existing, error) && existing.has_relative_path()) {
    existing = existing.parent_path();
  }
  return fs::is_directory(existing, error) && ::access(existing.c_str(), W_OK | X_OK) == 0;
}

}  // namespace

XdgAutostartLaunchAtLogin::XdgAutostartLaunchAtLogin(const EnvironmentLookup& environment,
                                                     fs::path executable)
    : directory_(xdgConfigHome(environment) / "autostart"),
      filePath_(directory_ / kFileName),
      executable_(std::move(executable)) {
  if (executable_.empty()) executable_ = runningExecutable();
}

void XdgAutostartLaunchAtLogin::refreshStatus() {
  if (!folderCanExist(directory_)) {
    kLog.warning("{} cannot be made: launch at login is unavailable", directory_.string());
    status_ = LaunchAtLoginStatus::unavailable;
    return;
  }
  std::ifstream in(filePath_);
  if (!in) {
    std::error_code error;
    if (fs::exists(filePath_, error)) kLog.error("could not read {}", filePath_.string());
    status_ = LaunchAtLoginStatus::off;
    return;
  }
  status_ = entryIsSwitchedOff(in) ? LaunchAtLoginStatus::off : LaunchAtLoginStatus::on;
}

void XdgAutostartLaunchAtLogin::enable() {
  if (!createDirectories(directory_, 0700, kLog)) {
    status_ = LaunchAtLoginStatus::unavailable;
    return;
  }
  if (executable_.empty()) {
    kLog.error("launch at login stays off: the running program is unknown");
  } else {
    std::ostringstream entry;
    entry << "[Desktop Entry]\n"
          << "Type=Application\n"
          << "Name=Trelvis\n"
          << "Exec=" << execValue(executable_.string()) << "\n"
          << "Terminal=false\n"
          << "X-GNOME-Autostart-enabled=true\n";
    writeFileAtomically(filePath_, entry.str(), 0644, kLog);
  }
  refreshStatus();
}

void XdgAutostartLaunchAtLogin::disable() {
  if (::unlink(filePath_.c_str()) != 0 && errno != ENOENT) {
    kLog.error("could not remove {}: {}", filePath_.string(),
               std::system_category().message(errno));
  }
  refreshStatus();
}

}  // namespace trelvis
