#include "server/engines/translate/apertium_translator.h"

#include "base/log.h"
#include "base/text.h"
#include "server/engines/languages.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

extern char** environ;

namespace trelvis::server {

namespace {

const LogCategory kLog("apertium");

// Apertium names languages by two- or three-letter codes; "eng-spa", "es-pt".
const Language* apertiumLanguage(std::string_view code) {
  if (code.size() == 3) return findLanguageByIso3(code);
  if (code.size() == 2 && code != "zh") return findLanguage(code);
  return nullptr;
}

// Characters that the apertium stream format reserves; they travel escaped.
constexpr std::string_view kReserved = "\\[]^$@/<>{}";

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 8);
  for (char c : text) {
    if (c == '\0') continue;
    if (kReserved.find(c) != std::string_view::npos) out += '\\';
    // One segment is one line: line breaks inside it would end it early.
    out += (c == '\n' || c == '\r') ? ' ' : c;
  }
  return out;
}

std::string unescaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) ++i;
    out += text[i];
  }
  return out;
}

}  // namespace

// One pair's chain of apertium processes, run by /bin/sh from the mode file.
class ApertiumTranslator::Pipeline {
 public:
  Pipeline(std::string name, std::string command) : name_(std::move(name)), command_(std::move(command)) {}
  ~Pipeline() { stop(); }

  const std::string& name() const { return name_; }

  tl::expected<std::string, std::string> translate(std::string_view text, std::chrono::milliseconds timeout) {
    std::lock_guard lock(mutex_);
    if (pid_ <= 0 && !start()) return tl::unexpected("cannot start the apertium pair " + name_);
    // A blank before the NUL lets the last word through every stage.
    std::string segment = escaped(text) + "\n";
    segment.push_back('\0');
    auto failed = [&](const std::string& why) {
      kLog.warning("pair {}: {}; restarting it", name_, why);
      stop();
      return tl::unexpected("apertium pair " + name_ + " failed: " + why);
    };
    size_t written = 0;
    while (written < segment.size()) {
      ssize_t n = ::write(input_, segment.data() + written, segment.size() - written);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return failed("the pipeline closed its input");
      written += static_cast<size_t>(n);
    }
    std::string output;
    auto deadline = std::chrono::steady_clock::now() + timeout;
    char buffer[4096];
    while (output.empty() || output.back() != '\0') {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) return failed("no answer in time");
      pollfd wait{output_, POLLIN, 0};
      int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) return failed("no answer in time");
      ssize_t n = ::read(output_, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return failed("the pipeline ended");
      output.append(buffer, static_cast<size_t>(n));
    }
    // Several stages may each pass a NUL on; all of them end this segment.
    while (!output.empty() && output.back() == '\0') output.pop_back();
    return trimmed(unescaped(output));
  }

 private:
  bool start() {
    int toChild[2];
    int fromChild[2];
    if (pipe2(toChild, O_CLOEXEC) != 0) return false;
    if (pipe2(fromChild, O_CLOEXEC) != 0) {
      ::close(toChild[0]);
      ::close(toChild[1]);
      return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // Its own process group, so that stopping it reaches every stage.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes, 0);
    // "$1" is the generator's option (no marks on unknown words), "$2" the tagger's.
    const char* argv[] = {"/bin/sh", "-c", command_.c_str(), "sh", "-n", "", nullptr};
    pid_t pid = 0;
    int status = posix_spawn(&pid, "/bin/sh", &actions, &attributes, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(toChild[0]);
    ::close(fromChild[1]);
    if (status != 0) {
      ::close(toChild[1]);
      ::close(fromChild[0]);
      return false;
    }
    pid_ = pid;
    input_ = toChild[1];
    output_ = fromChild[0];
    return true;
  }

  void stop() {
    if (input_ >= 0) ::close(std::exchange(input_, -1));
    if (output_ >= 0) ::close(std::exchange(output_, -1));
    if (pid_ > 0) {
      ::kill(-pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
      pid_ = -1;
    }
  }

  std::string name_;
  std::string command_;
  std::mutex mutex_;
  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
};

ApertiumTranslator::ApertiumTranslator(const std::string& modesDirectory, std::chrono::milliseconds timeout)
    : timeout_(timeout) {
  ::signal(SIGPIPE, SIG_IGN);
  std::error_code error;
  for (const auto& file : std::filesystem::directory_iterator(modesDirectory, error)) {
    if (file.path().extension() != ".mode") continue;
    std::string stem = file.path().stem().string();
    size_t dash = stem.find('-');
    if (dash == std::string::npos || stem.find('-', dash + 1) != std::string::npos) continue;
    const Language* source = apertiumLanguage(stem.substr(0, dash));
    const Language* target = apertiumLanguage(stem.substr(dash + 1));
    if (!source || !target || source == target) continue;
    std::ifstream mode(file.path());
    std::stringstream command;
    command << mode.rdbuf();
    // Null-flush mode on every stage: each reads to a NUL, answers and flushes.
    std::string pipeline = command.str();
    std::string flushed;
    size_t start = 0;
    while (start < pipeline.size()) {
      size_t bar = pipeline.find('|', start);
      std::string stage = trimmed(pipeline.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
      size_t space = stage.find(' ');
      stage.insert(space == std::string::npos ? stage.size() : space, " -z");
      flushed += (flushed.empty() ? "" : " | ") + stage;
      if (bar == std::string::npos) break;
      start = bar + 1;
    }
    auto key = std::make_pair(std::string(source->code), std::string(target->code));
    pipelines_.emplace(key, std::make_unique<Pipeline>(stem, flushed));
  }
}

ApertiumTranslator::~ApertiumTranslator() = default;

std::vector<ApertiumTranslator::Pipeline*> ApertiumTranslator::route(std::string_view source,
                                                                     std::string_view target) const {
  auto direct = pipelines_.find({std::string(source), std::string(target)});
  if (direct != pipelines_.end()) return {direct->second.get()};
  auto first = pipelines_.find({std::string(source), "es"});
  auto second = pipelines_.find({"es", std::string(target)});
  if (first != pipelines_.end() && second != pipelines_.end()) return {first->second.get(), second->second.get()};
  return {};
}

bool ApertiumTranslator::supports(std::string_view source, std::string_view target) const {
  return !route(source, target).empty();
}

std::string ApertiumTranslator::model(std::string_view source, std::string_view target) const {
  std::string name;
  for (Pipeline* pipeline : route(source, target)) name += (name.empty() ? "" : "+") + pipeline->name();
  return name;
}

std::vector<std::pair<std::string, std::string>> ApertiumTranslator::directPairs() const {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (const auto& [key, pipeline] : pipelines_) pairs.push_back(key);
  return pairs;
}

tl::expected<std::string, TranslationFailure> ApertiumTranslator::translate(std::string_view text,
                                                                            std::string_view source,
                                                                            std::string_view target,
                                                                            const TranslationDelta& onDelta) {
  std::vector<Pipeline*> chain = route(source, target);
  if (chain.empty()) {
    return tl::unexpected(TranslationFailure{TranslationFailure::Kind::missingPair,
                                             "no offline translation covers " + describePair(source, target)});
  }
  // Paragraph by paragraph, so that a long text streams.
  std::string result;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find("\n\n", start);
    std::string paragraph = trimmed(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
    start = end == std::string_view::npos ? text.size() + 1 : end + 2;
    if (paragraph.empty()) continue;
    for (Pipeline* pipeline : chain) {
      auto translated = pipeline->translate(paragraph, timeout_);
      if (!translated) return tl::unexpected(TranslationFailure{TranslationFailure::Kind::engineFailed, translated.error()});
      paragraph = std::move(*translated);
    }
    std::string delta = result.empty() ? paragraph : "\n\n" + paragraph;
    result += delta;
    if (!onDelta(delta)) return tl::unexpected(TranslationFailure{TranslationFailure::Kind::stopped, "stopped"});
  }
  return result;
}

void ApertiumTranslator::warmUp() {
  for (auto& [key, pipeline] : pipelines_) {
    auto warmed = pipeline->translate("hello", timeout_);
    if (!warmed) kLog.warning("{}", warmed.error());
  }
}

}  // namespace trelvis::server
