#include "server/store/postgres/postgres_connection.h"

#include <libpq-fe.h>

#include <memory>

namespace trelvis::server {
namespace {

// Type ids of the parameters we send (pg_type.h is in the server headers only).
constexpr Oid kInt8Oid = 20;
constexpr Oid kTextOid = 25;

// Any number will do, as long as no other program takes this advisory lock.
constexpr std::string_view kMigrationLockKey = "7264657";

struct ResultDeleter {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

void ignoreNotice(void*, const char*) {}

bool isRetryable(const char* sqlState) {
  if (!sqlState) return false;
  const std::string_view state(sqlState);
  // serialization_failure, deadlock_detected, lock_not_available
  return state == "40001" || state == "40P01" || state == "55P03";
}

}  // namespace

std::string postgresParameters(std::string_view sql) {
  std::string translated;
  translated.reserve(sql.size());
  for (char c : sql) translated += c == '?' ? '$' : c;
  return translated;
}

PostgresConnection::PostgresConnection(const std::string& conninfo)
    : connection_(PQconnectdb(conninfo.c_str())) {
  if (!connection_ || PQstatus(connection_) != CONNECTION_OK) {
    const std::string message = connection_ ? PQerrorMessage(connection_) : "out of memory";
    PQfinish(connection_);
    throw StoreError("cannot connect to PostgreSQL: " + message);
  }
  PQsetNoticeProcessor(connection_, ignoreNotice, nullptr);
}

PostgresConnection::~PostgresConnection() {
  PQfinish(connection_);
}

bool PostgresConnection::isBroken() const {
  return PQstatus(connection_) != CONNECTION_OK;
}

void PostgresConnection::fail(PGresult* result, std::string_view doing) {
  std::string message(doing);
  message += ": ";
  message += result ? PQresultErrorMessage(result) : PQerrorMessage(connection_);
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  const bool retryable = result && isRetryable(PQresultErrorField(result, PG_DIAG_SQLSTATE));
  PQclear(result);
  if (retryable) throw SqlRetryableError(message);
  throw StoreError(message);
}

PGresult* PostgresConnection::run(std::string_view sql, const std::vector<SqlValue>& parameters) {
  std::vector<const char*> values(parameters.size(), nullptr);
  std::vector<std::string> texts(parameters.size());
  std::vector<Oid> types(parameters.size(), 0);
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    if (const auto* number = std::get_if<int64_t>(&parameters[i])) {
      texts[i] = std::to_string(*number);
      values[i] = texts[i].c_str();
      types[i] = kInt8Oid;
    } else if (const auto* text = std::get_if<std::string>(&parameters[i])) {
      values[i] = text->c_str();
      types[i] = kTextOid;
    }
  }
  const std::string key(sql);
  auto found = statementNames_.find(key);
  if (found == statementNames_.end()) {
    const std::string name = "s" + std::to_string(statementNames_.size());
    PGresult* prepared = PQprepare(connection_, name.c_str(), postgresParameters(sql).c_str(),
                                   static_cast<int>(parameters.size()), types.data());
    if (PQresultStatus(prepared) != PGRES_COMMAND_OK) fail(prepared, "preparing a statement");
    PQclear(prepared);
    found = statementNames_.emplace(key, name).first;
  }
  PGresult* result =
      PQexecPrepared(connection_, found->second.c_str(), static_cast<int>(parameters.size()),
                     values.data(), nullptr, nullptr, 0);
  const ExecStatusType status = PQresultStatus(result);
  if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK) fail(result, "running a statement");
  return result;
}

SqlRows PostgresConnection::query(std::string_view sql, const std::vector<SqlValue>& parameters) {
  const Result result(run(sql, parameters));
  const int rowCount = PQntuples(result.get());
  const int columns = PQnfields(result.get());
  SqlRows rows;
  rows.reserve(static_cast<std::size_t>(rowCount));
  for (int row = 0; row < rowCount; ++row) {
    std::vector<SqlValue> values;
    values.reserve(static_cast<std::size_t>(columns));
    for (int column = 0; column < columns; ++column) {
      if (PQgetisnull(result.get(), row, column)) {
        values.emplace_back(nullptr);
      } else {
        values.emplace_back(
            std::string(PQgetvalue(result.get(), row, column),
                        static_cast<std::size_t>(PQgetlength(result.get(), row, column))));
      }
    }
    rows.emplace_back(std::move(values));
  }
  return rows;
}

int64_t PostgresConnection::execute(std::string_view sql, const std::vector<SqlValue>& parameters) {
  const Result result(run(sql, parameters));
  const std::string changed = PQcmdTuples(result.get());
  return changed.empty() ? 0 : std::stoll(changed);
}

void PostgresConnection::executeScript(std::string_view sql) {
  PGresult* result = PQexec(connection_, std::string(sql).c_str());
  const ExecStatusType status = PQresultStatus(result);
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) fail(result, "running a script");
  PQclear(result);
}

void PostgresConnection::beginWrite() {
  executeScript("BEGIN");
}

void PostgresConnection::beginMigration() {
  executeScript("BEGIN; SELECT pg_advisory_xact_lock(" + std::string(kMigrationLockKey) + ")");
}

void PostgresConnection::commit() {
  executeScript("COMMIT");
}

void PostgresConnection::rollback() noexcept {
  if (PQtransactionStatus(connection_) == PQTRANS_IDLE) return;
  PQclear(PQexec(connection_, "ROLLBACK"));
}

std::vector<std::string> PostgresConnection::integrityProblems() {
  // PostgreSQL enforces the constraints itself and has no cheap whole-database
  // check; the store's own invariants are checked by the caller.
  return {};
}

}  // namespace trelvis::server
