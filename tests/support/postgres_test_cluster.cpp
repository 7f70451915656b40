#include "support/postgres_test_cluster.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <libpq-fe.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace trelvis {
namespace {

namespace fs = std::filesystem;

std::string output(const std::string& command) {
  std::string text;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  if (!pipe) return text;
  std::array<char, 256> buffer{};
  while (std::fgets(buffer.data(), buffer.size(), pipe.get())) text += buffer.data();
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  return text;
}

bool isRoot() {
  return ::geteuid() == 0;
}

// `command` run by the cluster's owner, as a shell command line.
std::string asOwner(const std::string& command) {
  return isRoot() ? "runuser -u postgres -- sh -c '" + command + "'" : command;
}

void runAsOwner(const std::string& command, const std::string& what, const fs::path& log) {
  const std::string line = asOwner(command);
  if (std::system(line.c_str()) != 0) {
    std::ifstream file(log);
    std::stringstream text;
    text << file.rdbuf();
    throw std::runtime_error(what + " failed:\n" + text.str());
  }
}

void giveToOwner(const fs::path& path) {
  if (!isRoot()) return;
  const passwd* owner = ::getpwnam("postgres");
  if (!owner || ::chown(path.c_str(), owner->pw_uid, owner->pw_gid) != 0) {
    throw std::runtime_error("cannot give " + path.string() + " to the postgres user");
  }
}

// The initialised data directory to copy, made once per PostgreSQL version and
// user; a lock keeps parallel test programs from making it twice.
fs::path templateDirectory(const std::string& bin) {
  const std::string version = output(bin + "/pg_config --version | cut -d' ' -f2");
  const fs::path root = fs::temp_directory_path() /
                        ("trelvis-pg-template-" + version + "-" + std::to_string(::geteuid()));
  const fs::path data = root / "data";
  const int lock = ::open((root.string() + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
  ::flock(lock, LOCK_EX);
  if (!fs::exists(root / "complete")) {
    fs::remove_all(root);
    fs::create_directories(root);
    giveToOwner(root);
    runAsOwner(bin + "/initdb --no-sync -A trust -U postgres -E UTF8 --locale=C -D " +
                   data.string() + " > " + (root / "initdb.log").string() + " 2>&1",
               "initdb", root / "initdb.log");
    std::ofstream(root / "complete") << "ok\n";
  }
  ::flock(lock, LOCK_UN);
  ::close(lock);
  return data;
}

}  // namespace

PostgresTestCluster& PostgresTestCluster::shared() {
  static PostgresTestCluster cluster;
  return cluster;
}

PostgresTestCluster::PostgresTestCluster() {
  binDirectory_ = output("pg_config --bindir 2>/dev/null");
  if (binDirectory_.empty()) throw std::runtime_error("pg_config not found (package postgresql)");
  const fs::path data = templateDirectory(binDirectory_);
  std::string pattern = (fs::temp_directory_path() / "trelvis-pg-XXXXXX").string();
  if (!::mkdtemp(pattern.data()))
    throw std::runtime_error("cannot make a directory for PostgreSQL");
  directory_ = pattern;
  giveToOwner(directory_);
  const fs::path log = fs::path(directory_) / "server.log";
  runAsOwner("cp -a " + data.string() + " " + directory_ + "/data", "copying the cluster", log);
  runAsOwner(binDirectory_ + "/pg_ctl -D " + directory_ + "/data -l " + log.string() +
                 " -w -o \"-k " + directory_ +
                 " -c listen_addresses= -c fsync=off -c synchronous_commit=off"
                 " -c full_page_writes=off\" start > /dev/null",
             "starting PostgreSQL", log);
  // A test program that crashes never runs the destructor: a watcher outlives it
  // and stops the server then.
  std::system(("(while kill -0 " + std::to_string(::getpid()) + " 2>/dev/null; do sleep 1; done; " +
               stopCommand() + ") </dev/null >/dev/null 2>&1 &")
                  .c_str());
}

std::string PostgresTestCluster::stopCommand() const {
  return asOwner(binDirectory_ + "/pg_ctl -D " + directory_ + "/data -m immediate -w stop") +
         " >/dev/null 2>&1; rm -rf " + directory_;
}

PostgresTestCluster::~PostgresTestCluster() {
  std::system(stopCommand().c_str());
}

std::string PostgresTestCluster::createDatabase() {
  const std::string name = "test" + std::to_string(++databases_);
  const std::string admin = "postgresql:///postgres?host=" + directory_ + "&user=postgres";
  PGconn* connection = PQconnectdb(admin.c_str());
  PGresult* result = PQexec(connection, ("CREATE DATABASE " + name).c_str());
  const bool created = PQresultStatus(result) == PGRES_COMMAND_OK;
  const std::string error = PQerrorMessage(connection);
  PQclear(result);
  PQfinish(connection);
  if (!created) throw std::runtime_error("cannot create a database: " + error);
  return "postgresql:///" + name + "?host=" + directory_ + "&user=postgres";
}

}  // namespace trelvis
