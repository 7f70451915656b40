#include "support/trelvis_server_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <regex>
#include <stdexcept>

namespace trelvis {
namespace {

using namespace std::chrono_literals;

struct Spawned {
  pid_t pid = -1;
  int stdoutPipe = -1;  // -1 when standard output goes to a file
  int stderrPipe = -1;
};

// Starts the server executable; its output goes to pipes (or stdout to a file).
Spawned spawn(const std::vector<std::string>& arguments, const std::string& standardOutputFile) {
  std::vector<std::string> argv{TRELVIS_SERVER_EXECUTABLE};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& argument : argv) pointers.push_back(argument.data());
  pointers.push_back(nullptr);

  std::array<int, 2> out{-1, -1};
  std::array<int, 2> err{-1, -1};
  if ((standardOutputFile.empty() && ::pipe2(out.data(), O_CLOEXEC) != 0) ||
      ::pipe2(err.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make pipes for trelvis-server");
  }
  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("cannot fork trelvis-server");
  if (pid == 0) {
    // Only async-signal-safe calls between fork and exec. A test program that
    // crashes takes its servers with it.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() == 1) ::_exit(127);
    int outFd = out[1];
    if (!standardOutputFile.empty()) outFd = ::open(standardOutputFile.c_str(), O_WRONLY);
    if (outFd < 0 || ::dup2(outFd, STDOUT_FILENO) < 0 || ::dup2(err[1], STDERR_FILENO) < 0) {
      ::_exit(127);
    }
    ::execv(pointers[0], pointers.data());
    ::_exit(127);
  }
  if (out[1] >= 0) ::close(out[1]);
  ::close(err[1]);
  return Spawned{pid, out[0], err[0]};
}

// Reads both pipes until both end, handing each chunk to `sink(isStdout, bytes)`.
// `expire` runs once if they are still open after `timeout`.
template <class Sink>
void drain(int stdoutPipe, int stderrPipe, Sink sink,
           std::chrono::milliseconds timeout = std::chrono::milliseconds::max(),
           const std::function<void()>& expire = {}) {
  std::array<pollfd, 2> fds{{{stdoutPipe, POLLIN, 0}, {stderrPipe, POLLIN, 0}}};
  std::array<char, 4096> buffer{};
  const auto start = std::chrono::steady_clock::now();
  bool expired = false;
  while (fds[0].fd >= 0 || fds[1].fd >= 0) {
    const bool timed = expire && !expired;
    const int wait = timed ? 50 : -1;
    if (::poll(fds.data(), fds.size(), wait) < 0 && errno != EINTR) break;
    if (timed && std::chrono::steady_clock::now() - start > timeout) {
      expired = true;
      expire();
    }
    for (std::size_t i = 0; i < fds.size(); ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      const ssize_t count = ::read(fds[i].fd, buffer.data(), buffer.size());
      if (count > 0) {
        sink(i == 0, std::string_view(buffer.data(), static_cast<std::size_t>(count)));
      } else if (count == 0 || errno != EINTR) {
        ::close(fds[i].fd);
        fds[i].fd = -1;  // poll skips negative descriptors
      }
    }
  }
}

int exitStatusOf(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace

CommandResult runTrelvisServer(const std::vector<std::string>& arguments,
                               std::chrono::milliseconds timeout) {
  const Spawned child = spawn(arguments, {});
  CommandResult result;
  drain(
      child.stdoutPipe, child.stderrPipe,
      [&](bool isStdout, std::string_view bytes) {
        (isStdout ? result.standardOutput : result.standardError).append(bytes);
      },
      timeout, [&] { ::kill(child.pid, SIGKILL); });
  int status = 0;
  while (::waitpid(child.pid, &status, 0) < 0 && errno == EINTR) {
  }
  result.exitStatus = exitStatusOf(status);
  return result;
}

TrelvisServerProcess::TrelvisServerProcess() : TrelvisServerProcess(Options{}) {}

TrelvisServerProcess::TrelvisServerProcess(Options options) : options_(std::move(options)) {
  dataDirectory_ = options_.dataDirectory;
  if (dataDirectory_.empty()) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "trelvis-server-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot make a data directory");
    dataDirectory_ = pattern;
    ownsDataDirectory_ = true;
  }
  start();
}

TrelvisServerProcess::~TrelvisServerProcess() {
  if (pid_ > 0 && exitStatus_ < 0) kill();
  if (reader_.joinable()) reader_.join();
  std::error_code ignored;
  if (ownsDataDirectory_) std::filesystem::remove_all(dataDirectory_, ignored);
}

void TrelvisServerProcess::start() {
  std::vector<std::string> arguments{"serve", "--listen", "127.0.0.1:0", "--data-dir",
                                     dataDirectory_.string()};
  if (!options_.database.empty())
    arguments.insert(arguments.end(), {"--database", options_.database});
  if (options_.cheapPasswordHashing) {
    arguments.insert(arguments.end(), {"--argon2-passes", "1", "--argon2-memory-mib", "1"});
  }
  if (!options_.engines) arguments.insert(arguments.end(), {"--engines", "off"});
  arguments.insert(arguments.end(), options_.arguments.begin(), options_.arguments.end());
  const Spawned child = spawn(arguments, options_.standardOutputFile);
  pid_ = child.pid;
  stdoutPipe_ = child.stdoutPipe;
  stderrPipe_ = child.stderrPipe;
  reader_ = std::thread([this] { readOutput(); });

  // The server logs where it listens once the socket is open.
  static const std::regex kListening("listening on (https?://[^ ]+:([0-9]+)[^ ]*) with");
  std::unique_lock lock(mutex_);
  std::smatch match;
  const bool listening = changed_.wait_for(
      lock, 60s, [&] { return outputClosed_ || std::regex_search(stderr_, match, kListening); });
  if (!listening || !match.ready() || match.empty()) {
    const std::string output = stderr_;
    lock.unlock();
    kill();
    throw std::runtime_error("trelvis-server did not start:\n" + output);
  }
  baseUrl_ = match[1];
  port_ = std::stoi(match[2]);
}

void TrelvisServerProcess::readOutput() {
  drain(stdoutPipe_, stderrPipe_, [this](bool isStdout, std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    (isStdout ? stdout_ : stderr_).append(bytes);
    changed_.notify_all();
  });
  const std::lock_guard lock(mutex_);
  outputClosed_ = true;
  changed_.notify_all();
}

std::optional<std::string> TrelvisServerProcess::waitForVerificationCode(
    std::string_view email, std::chrono::milliseconds timeout) {
  const std::string prefix = "verification code for " + std::string(email) + ": ";
  std::unique_lock lock(mutex_);
  std::size_t& taken = codesTaken_[std::string(email)];
  std::optional<std::string> code;
  changed_.wait_for(lock, timeout, [&] {
    std::size_t seen = 0;
    for (std::size_t at = stdout_.find(prefix); at != std::string::npos;
         at = stdout_.find(prefix, at + 1)) {
      const std::size_t start = at + prefix.size();
      const std::size_t end = stdout_.find('\n', start);
      if (end == std::string::npos) break;
      if (seen++ == taken) {
        code = stdout_.substr(start, end - start);
        return true;
      }
    }
    return outputClosed_;
  });
  if (code) ++taken;
  return code;
}

std::string TrelvisServerProcess::standardOutput() const {
  const std::lock_guard lock(mutex_);
  return stdout_;
}

std::string TrelvisServerProcess::standardError() const {
  const std::lock_guard lock(mutex_);
  return stderr_;
}

int TrelvisServerProcess::waitForExit(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (exitStatus_ < 0) {
    int status = 0;
    const pid_t done = ::waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      exitStatus_ = exitStatusOf(status);
    } else if (std::chrono::steady_clock::now() > deadline) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status, 0);
      exitStatus_ = exitStatusOf(status);
      throw std::runtime_error("trelvis-server did not exit in time");
    } else {
      std::this_thread::sleep_for(5ms);
    }
  }
  if (reader_.joinable()) reader_.join();
  return exitStatus_;
}

int TrelvisServerProcess::terminate(std::chrono::milliseconds timeout) {
  if (exitStatus_ < 0) ::kill(pid_, SIGTERM);
  return waitForExit(timeout);
}

void TrelvisServerProcess::kill() {
  if (exitStatus_ < 0) ::kill(pid_, SIGKILL);
  waitForExit(30s);
}

CommandResult TrelvisServerProcess::run(std::vector<std::string> arguments) const {
  arguments.insert(arguments.end(), {"--data-dir", dataDirectory_.string()});
  if (!options_.database.empty())
    arguments.insert(arguments.end(), {"--database", options_.database});
  return runTrelvisServer(arguments);
}

}  // namespace trelvis
