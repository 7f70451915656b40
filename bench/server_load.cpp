// server_load: the load client of scripts/bench-server. It drives a running
// trelvis-server over loopback and prints figures; it is not a Google Benchmark
// program because what it measures is another process.
//
//   server_load account BASE CODE_FILE EMAIL PASSWORD   registers, prints an access token
//   server_load login BASE EMAIL PASSWORD COUNT          login latency
//   server_load refresh BASE EMAIL PASSWORD COUNT        refresh latency, one connection
//   server_load storm BASE EMAIL PASSWORD CLIENTS SECONDS
//                                                        clients refreshing in a loop
//   server_load hash PASSES MEMORY_MIB COUNT             Argon2id cost in process
//
// BASE is "http://127.0.0.1:PORT/trelvis"; CODE_FILE is the server's standard output.

#include <httplib.h>

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "server/auth/password_hasher.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Json = nlohmann::json;

struct Base {
  std::string host;
  int port = 0;
  std::string path;
};

Base parseBase(const std::string& url) {
  static const std::regex kUrl(R"(http://([^:/]+):([0-9]+)(/.*)?)");
  std::smatch match;
  if (!std::regex_match(url, match, kUrl))
    throw std::runtime_error("BASE is http://HOST:PORT/PATH");
  return Base{match[1], std::stoi(match[2]), match[3]};
}

class Api {
 public:
  explicit Api(const Base& base) : base_(base), client_(base.host, base.port) {
    client_.set_keep_alive(true);
    client_.set_tcp_nodelay(true);
    client_.set_read_timeout(120s);
    client_.set_connection_timeout(30s);
  }

  // The reply's status and JSON body (null when it is not JSON); status 0 when the
  // server did not answer.
  std::pair<int, Json> post(const std::string& path, const Json& body) {
    const auto result = client_.Post(base_.path + path, body.dump(), "application/json");
    if (!result) return {0, nullptr};
    return {result->status, Json::parse(result->body, nullptr, false)};
  }

 private:
  Base base_;
  httplib::Client client_;
};

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void printQuantiles(const std::string& what, std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  const auto at = [&](double q) {
    return samples[std::min(samples.size() - 1, static_cast<std::size_t>(q * samples.size()))];
  };
  fmt::print("{}: {} samples, median {:.2f} ms, p90 {:.2f} ms, p99 {:.2f} ms, max {:.2f} ms\n",
             what, samples.size(), at(0.5), at(0.9), at(0.99), samples.back());
}

std::string login(Api& api, const std::string& email, const std::string& password) {
  const auto [status, body] =
      api.post("/v1/auth/login", {{"email", email}, {"password", password}});
  if (status != 200) throw std::runtime_error("login failed with " + std::to_string(status));
  return body["refreshToken"];
}

int account(const Base& base, const std::string& codeFile, const std::string& email,
            const std::string& password) {
  Api api(base);
  const auto [sent, _] = api.post("/v1/auth/email-codes",
                                  {{"email", email}, {"purpose", "register"}, {"locale", "en"}});
  if (sent != 200) throw std::runtime_error("send code failed with " + std::to_string(sent));
  const std::regex line("verification code for " +
                        std::regex_replace(email, std::regex(R"([.])"), R"(\.)") + ": ([0-9]{6})");
  std::string code;
  for (const auto deadline = Clock::now() + 10s; code.empty() && Clock::now() < deadline;) {
    std::ifstream file(codeFile);
    std::stringstream text;
    text << file.rdbuf();
    const std::string content = text.str();
    std::smatch match;
    if (std::regex_search(content, match, line)) code = match[1];
    std::this_thread::sleep_for(10ms);
  }
  const auto [status, body] =
      api.post("/v1/auth/register", {{"email", email}, {"password", password}, {"code", code}});
  if (status != 200) throw std::runtime_error("register failed with " + std::to_string(status));
  fmt::print("{}\n", body["accessToken"].get<std::string>());
  return 0;
}

int loginLatency(const Base& base, const std::string& email, const std::string& password,
                 int count) {
  Api api(base);
  std::vector<double> samples;
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    login(api, email, password);
    samples.push_back(milliseconds(Clock::now() - start));
  }
  printQuantiles("login (Argon2id verify included)", samples);
  return 0;
}

int refreshLatency(const Base& base, const std::string& email, const std::string& password,
                   int count) {
  Api api(base);
  std::string token = login(api, email, password);
  std::vector<double> samples;
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    const auto [status, body] = api.post("/v1/auth/refresh", {{"refreshToken", token}});
    samples.push_back(milliseconds(Clock::now() - start));
    if (status != 200) throw std::runtime_error("refresh failed with " + std::to_string(status));
    token = body["refreshToken"];
  }
  printQuantiles("refresh, sequential on one connection", samples);
  return 0;
}

int storm(const Base& base, const std::string& email, const std::string& password, int clients,
          int seconds) {
  // One session (token family) per client.
  std::vector<std::string> tokens(static_cast<std::size_t>(clients));
  {
    std::atomic<int> next = 0;
    std::vector<std::thread> loggers;
    for (int t = 0; t < 4; ++t) {
      loggers.emplace_back([&] {
        Api api(base);
        for (int i; (i = next++) < clients;)
          tokens[static_cast<std::size_t>(i)] = login(api, email, password);
      });
    }
    for (std::thread& thread : loggers) thread.join();
  }

  std::atomic<bool> stop = false;
  std::atomic<long> refreshes = 0;
  std::atomic<long> failures = 0;
  std::mutex mutex;
  std::vector<std::string> issued;
  std::vector<double> samples;
  std::vector<std::thread> threads;
  const auto start = Clock::now();
  for (int c = 0; c < clients; ++c) {
    threads.emplace_back([&, c] {
      Api api(base);
      std::string& token = tokens[static_cast<std::size_t>(c)];
      std::vector<std::string> mine;
      std::vector<double> times;
      while (!stop) {
        const auto begin = Clock::now();
        const auto [status, body] = api.post("/v1/auth/refresh", {{"refreshToken", token}});
        times.push_back(milliseconds(Clock::now() - begin));
        if (status != 200) {
          ++failures;
          break;  // a lost family: this client is signed out
        }
        token = body["refreshToken"];
        mine.push_back(token);
        ++refreshes;
      }
      const std::lock_guard lock(mutex);
      issued.insert(issued.end(), mine.begin(), mine.end());
      samples.insert(samples.end(), times.begin(), times.end());
    });
  }
  std::this_thread::sleep_for(std::chrono::seconds(seconds));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();

  // Every family must still be usable exactly once more from its last token.
  long lost = failures;
  Api api(base);
  for (const std::string& token : tokens) {
    if (api.post("/v1/auth/refresh", {{"refreshToken", token}}).first != 200) ++lost;
  }
  const std::set<std::string> distinct(issued.begin(), issued.end());
  fmt::print(
      "storm: {} clients for {:.1f} s: {} refreshes ({:.0f}/s), {} failed, {} families lost, "
      "{} duplicated tokens\n",
      clients, elapsed, refreshes.load(), refreshes / elapsed, failures.load(), lost,
      issued.size() - distinct.size());
  printQuantiles("storm refresh", samples);
  return lost == 0 && issued.size() == distinct.size() ? 0 : 1;
}

int hashCost(uint64_t passes, std::size_t memoryMiB, int count) {
  trelvis::server::PasswordHasher hasher({passes, memoryMiB}, 1);
  std::vector<double> hashing;
  std::vector<double> verifying;
  for (int i = 0; i < count; ++i) {
    auto start = Clock::now();
    const std::string hash = hasher.hash("correct horse battery staple");
    hashing.push_back(milliseconds(Clock::now() - start));
    start = Clock::now();
    if (!hasher.verify(hash, "correct horse battery staple")) return 1;
    verifying.push_back(milliseconds(Clock::now() - start));
  }
  printQuantiles(fmt::format("Argon2id hash (passes {}, {} MiB)", passes, memoryMiB), hashing);
  printQuantiles(fmt::format("Argon2id verify (passes {}, {} MiB)", passes, memoryMiB), verifying);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  try {
    if (args.size() == 5 && args[0] == "account") {
      return account(parseBase(args[1]), args[2], args[3], args[4]);
    }
    if (args.size() == 5 && args[0] == "login") {
      return loginLatency(parseBase(args[1]), args[2], args[3], std::stoi(args[4]));
    }
    if (args.size() == 5 && args[0] == "refresh") {
      return refreshLatency(parseBase(args[1]), args[2], args[3], std::stoi(args[4]));
    }
    if (args.size() == 6 && args[0] == "storm") {
      return storm(parseBase(args[1]), args[2], args[3], std::stoi(args[4]), std::stoi(args[5]));
    }
    if (args.size() == 4 && args[0] == "hash") {
      return hashCost(std::stoull(args[1]), std::stoull(args[2]), std::stoi(args[3]));
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "server_load: {}\n", error.what());
    return 1;
  }
  fmt::print(stderr, "usage: see the head of bench/server_load.cpp\n");
  return 2;
}
