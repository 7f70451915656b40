#pragma once

// TrelvisServerProcess: a real `trelvis-server serve` on a free loopback port, with a
// private data directory, for tests that talk to the server over HTTP (the server's
// own wire tests, and end-to-end tests of the client's account code). Its standard
// output and error are captured: tests read the verification codes the server prints
// and check what it logged. Destroying the object kills the server and removes the
// temporary directory.
//
// The server is killed when the thread that started it ends, so a crashing test
// leaves no server behind: start it from the test's own thread.
//
// Password hashing is made cheap by default, so that tests that register many
// accounts stay fast; the hashing itself is the same Argon2id. The language
// engines are loaded only when asked for.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace trelvis {

struct CommandResult {
  int exitStatus = -1;
  std::string standardOutput;
  std::string standardError;
};

class TrelvisServerProcess {
 public:
  struct Options {
    // More arguments for `serve` ("--free-daily-translations", "3").
    std::vector<std::string> arguments;
    // The data directory; empty for a fresh temporary one, removed afterwards.
    std::filesystem::path dataDirectory;
    // "--database" when not empty (a PostgreSQL URI).
    std::string database;
    // Where standard output goes instead of being captured ("/dev/full").
    std::string standardOutputFile;
    bool cheapPasswordHashing = true;
    // The language engines take seconds to load and hundreds of megabytes; tests
    // of accounts do without them.
    bool engines = false;
  };

  // Starts the server and waits until it listens; raises std::runtime_error, with
  // what the server wrote, when it does not within 60 seconds.
  TrelvisServerProcess();
  explicit TrelvisServerProcess(Options options);
  ~TrelvisServerProcess();
  TrelvisServerProcess(const TrelvisServerProcess&) = delete;
  TrelvisServerProcess& operator=(const TrelvisServerProcess&) = delete;

  // "http://127.0.0.1:PORT/trelvis"
  const std::string& baseUrl() const { return baseUrl_; }
  int port() const { return port_; }
  pid_t pid() const { return pid_; }
  const std::filesystem::path& dataDirectory() const { return dataDirectory_; }

  // The next code printed for `email` that no earlier call returned; nothing when
  // none comes within `timeout`.
  std::optional<std::string> waitForVerificationCode(
      std::string_view email, std::chrono::milliseconds timeout = std::chrono::seconds(10));

  std::string standardOutput() const;
  std::string standardError() const;

  // SIGTERM, then waits for the exit; gives the exit status (128 + signal when
  // killed by one).
  int terminate(std::chrono::milliseconds timeout = std::chrono::seconds(30));
  // SIGKILL, then waits.
  void kill();

  // Runs `trelvis-server ARGUMENTS` on this server's database (an admin command).
  CommandResult run(std::vector<std::string> arguments) const;

 private:
  void start();
  void readOutput();
  int waitForExit(std::chrono::milliseconds timeout);

  Options options_;
  std::filesystem::path dataDirectory_;
  bool ownsDataDirectory_ = false;
  pid_t pid_ = -1;
  int exitStatus_ = -1;
  int port_ = 0;
  std::string baseUrl_;

  int stdoutPipe_ = -1;
  int stderrPipe_ = -1;
  std::thread reader_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string stdout_;
  std::string stderr_;
  bool outputClosed_ = false;
  std::map<std::string, std::size_t, std::less<>> codesTaken_;
};

// Runs the trelvis-server executable with `arguments` to completion; kills it
// (exit status 137) when it runs longer than `timeout`.
CommandResult runTrelvisServer(const std::vector<std::string>& arguments,
                               std::chrono::milliseconds timeout = std::chrono::seconds(60));

}  // namespace trelvis
