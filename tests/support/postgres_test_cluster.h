#pragma once

// PostgresTestCluster: a private PostgreSQL server for tests, started on first use
// with initdb and pg_ctl in a temporary directory and reached only through a Unix
// socket there (no TCP port), stopped when the test program exits. initdb refuses
// to run as root, so under root the cluster belongs to the "postgres" user.
//
// initdb takes over a second; its result is kept as a template under /tmp (one per
// PostgreSQL version and user) and copied for each cluster.

#include <string>

namespace trelvis {

class PostgresTestCluster {
 public:
  // Raises std::runtime_error, with PostgreSQL's log, when the server cannot start.
  static PostgresTestCluster& shared();

  // A new empty database, as a libpq URI: "postgresql:///NAME?host=DIR&user=postgres".
  std::string createDatabase();

  ~PostgresTestCluster();
  PostgresTestCluster(const PostgresTestCluster&) = delete;
  PostgresTestCluster& operator=(const PostgresTestCluster&) = delete;

 private:
  PostgresTestCluster();
  // Stops the server and removes its directory, as a shell command line.
  std::string stopCommand() const;

  std::string binDirectory_;
  std::string directory_;
  int databases_ = 0;
};

}  // namespace trelvis
