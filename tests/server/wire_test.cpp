// The real trelvis-server over HTTP on loopback: the account flows as the desktop
// client drives them, read by the client's own decoders, and the cases
// that a careless server gets wrong (token reuse, code guessing, secrets at rest
// or in logs, malformed input, shutdown).

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httplib.h>

#include <filesystem>
#include <future>

#include <gtest/gtest.h>

#include "server/support/wire_shapes.h"
#include "support/postgres_test_cluster.h"
#include "support/temp_directory.h"
#include "support/trelvis_server_process.h"

namespace trelvis {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct Response {
  int status = 0;
  std::string body;
  httplib::Headers headers;
};

// A client of one server: paths are below its base path.
class Api {
 public:
  explicit Api(const TrelvisServerProcess& server)
      : client_("127.0.0.1", server.port()), basePath_("/trelvis") {
    client_.set_read_timeout(30s);
    client_.set_tcp_nodelay(true);
  }

  Response post(const std::string& path, const std::string& body) {
    return wrap(client_.Post(basePath_ + path, body, "application/json"));
  }
  Response get(const std::string& path, const std::string& accessToken) {
    return wrap(client_.Get(basePath_ + path, {{"Authorization", "Bearer " + accessToken}}));
  }
  Response send(const std::string& method, const std::string& path, const std::string& body,
                const httplib::Headers& headers) {
    httplib::Request request;
    request.method = method;
    request.path = path;
    request.body = body;
    request.headers = headers;
    if (!body.empty()) request.set_header("Content-Type", "application/json");
    return wrap(client_.send(request));
  }

 private:
  static Response wrap(const httplib::Result& result) {
    if (!result) return Response{0, httplib::to_string(result.error()), {}};
    return Response{result->status, result->body, result->headers};
  }

  httplib::Client client_;
  std::string basePath_;
};

std::string sendCodeBody(const std::string& email, const std::string& purpose = "register") {
  return wire::requestBody({{"email", email}, {"purpose", purpose}, {"locale", "en"}});
}

// Registers `email` with the code the server prints, as the sign-in form does;
// the server prints the address as it keeps it (`printedAs`, when it differs).
AuthTokenPair registerAccount(TrelvisServerProcess& server, const std::string& email,
                              const std::string& password, std::string printedAs = {}) {
  Api api(server);
  const Response sent = api.post("/v1/auth/email-codes", sendCodeBody(email));
  EXPECT_EQ(sent.status, 200) << sent.body;
  EXPECT_EQ(wire::decodeCooldownSeconds(sent.body), 60);
  const std::optional<std::string> code =
      server.waitForVerificationCode(printedAs.empty() ? email : printedAs);
  EXPECT_TRUE(code) << server.standardOutput();
  const Response registered =
      api.post("/v1/auth/register",
               wire::requestBody({{"email", email}, {"password", password}, {"code", *code}}));
  EXPECT_EQ(registered.status, 200) << registered.body;
  return wire::decodeTokenPair(registered.body);
}

// The client's own code covers the rest of the account's life (client_wire_test);
// here: the address as kept, a second session, and the refusals it maps to notices.
TEST(WireTest, KeepsTheAddressAsNormalisedLogsOutOneSessionAndMapsRefusals) {
  TrelvisServerProcess server;
  Api api(server);
  const AuthTokenPair registered =
      registerAccount(server, " Ann@Example.COM ", "first password", "Ann@example.com");
  ASSERT_TRUE(registered.user);
  EXPECT_EQ(registered.user->email, "Ann@example.com");
  EXPECT_GT(registered.expiresIn, 0);

  const Response loggedIn =
      api.post("/v1/auth/login",
               wire::requestBody({{"email", "Ann@example.com"}, {"password", "first password"}}));
  ASSERT_EQ(loggedIn.status, 200) << loggedIn.body;
  const AuthTokenPair laptop = wire::decodeTokenPair(loggedIn.body);
  EXPECT_EQ(laptop.user->id, registered.user->id);

  // Logout ends that session only; its tokens are dead at once.
  EXPECT_EQ(api.post("/v1/auth/logout", wire::requestBody({{"refreshToken", laptop.refreshToken}}))
                .status,
            200);
  EXPECT_EQ(api.get("/v1/account/status", laptop.accessToken).status, 401);
  EXPECT_EQ(api.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", laptop.refreshToken}}))
                .status,
            401);
  EXPECT_EQ(api.get("/v1/account/status", registered.accessToken).status, 200);

  EXPECT_EQ(
      api.post("/v1/auth/email-codes", sendCodeBody("ann@example.com", "password_reset")).status,
      404)
      << "the local part keeps its case";
  const Response taken = api.post("/v1/auth/email-codes", sendCodeBody("Ann@example.com"));
  EXPECT_EQ(taken.status, 409);
  EXPECT_FALSE(wire::decodeDetail(taken.body).empty());
  ASSERT_EQ(
      api.post("/v1/auth/email-codes", sendCodeBody("Ann@example.com", "password_reset")).status,
      200);
  const Response again =
      api.post("/v1/auth/email-codes", sendCodeBody("Ann@example.com", "password_reset"));
  EXPECT_EQ(again.status, 429) << "the reset code was sent under a minute ago";
  EXPECT_GE(wire::retryAfterSeconds(again.body), 1);
  EXPECT_LE(wire::retryAfterSeconds(again.body), 60);

  // One log line per request, naming the user where there is one.
  EXPECT_EQ(server.terminate(), 0) << server.standardError();
  const std::string log = server.standardError();
  std::size_t lines = 0;
  for (std::size_t at = log.find("[http]"); at != std::string::npos;
       at = log.find("[http]", at + 1)) {
    ++lines;
  }
  EXPECT_EQ(lines, 11u) << log;
  EXPECT_NE(log.find("path=/trelvis/v1/account/status status=200"), std::string::npos);
  EXPECT_NE(log.find("user=" + registered.user->id), std::string::npos);
}

TEST(WireTest, SecretsNeverReachTheLogOrTheDatabase) {
  TrelvisServerProcess server;
  Api api(server);
  const std::string password = "unmistakable-Passw0rd-" + std::to_string(::getpid());
  const AuthTokenPair pair = registerAccount(server, "bob@example.com", password);
  const Response refreshed =
      api.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", pair.refreshToken}}));
  const AuthTokenPair rotated = wire::decodeTokenPair(refreshed.body);
  const std::string code =
      server.standardOutput().substr(server.standardOutput().rfind(": ") + 2, 6);
  EXPECT_EQ(server.terminate(), 0);

  std::string stored;
  for (const auto& entry : fs::directory_iterator(server.dataDirectory())) {
    stored += testing::readFile(entry.path());
  }
  ASSERT_NE(stored.find("bob@example.com"), std::string::npos) << "the database was read";
  const std::string log = server.standardError();
  for (const std::string& secret :
       {password, pair.accessToken, pair.refreshToken, rotated.accessToken, rotated.refreshToken}) {
    EXPECT_EQ(stored.find(secret), std::string::npos) << "a secret is stored in the clear";
    EXPECT_EQ(log.find(secret), std::string::npos) << "a secret is in the log";
  }
  EXPECT_EQ(log.find(code), std::string::npos) << "the code is on standard output only";
}

TEST(WireTest, ReusingARotatedRefreshTokenRevokesItsFamily) {
  TrelvisServerProcess server;
  Api api(server);
  const AuthTokenPair first = registerAccount(server, "carl@example.com", "password-1");
  const AuthTokenPair second = wire::decodeTokenPair(
      api.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", first.refreshToken}})).body);

  const Response reused =
      api.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", first.refreshToken}}));
  EXPECT_EQ(reused.status, 401);
  EXPECT_FALSE(wire::decodeDetail(reused.body).empty());
  EXPECT_EQ(api.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", second.refreshToken}}))
                .status,
            401);
  EXPECT_EQ(api.get("/v1/account/status", second.accessToken).status, 401);
}

TEST(WireTest, FiveWrongCodesLockTheCode) {
  TrelvisServerProcess server;
  Api api(server);
  ASSERT_EQ(api.post("/v1/auth/email-codes", sendCodeBody("dora@example.com")).status, 200);
  const std::string code = *server.waitForVerificationCode("dora@example.com");
  const std::string wrong = code == "000000" ? "111111" : "000000";
  const auto attempt = [&](const std::string& guess) {
    return api
        .post("/v1/auth/register",
              wire::requestBody(
                  {{"email", "dora@example.com"}, {"password", "password-1"}, {"code", guess}}))
        .status;
  };
  for (int i = 0; i < 5; ++i) EXPECT_EQ(attempt(wrong), 403) << i;
  EXPECT_EQ(attempt(code), 403) << "the right code comes too late";
}

TEST(WireTest, MalformedRequestsGetADetailAndNeverAFall) {
  TrelvisServerProcess server;
  Api api(server);
  const AuthTokenPair pair = registerAccount(server, "eve@example.com", "password-1");
  struct Case {
    std::string method;
    std::string path;
    std::string body;
    httplib::Headers headers;
    int status;
  };
  const std::string huge(20 * 1024 * 1024, 'x');
  const Case cases[] = {
      {"POST", "/trelvis/v1/auth/login", "{", {}, 400},
      {"POST",
       "/trelvis/v1/auth/email-codes",
       R"({"email":"eve@example.com","purpose":7})",
       {},
       400},
      {"POST",
       "/trelvis/v1/auth/refresh",
       "{\"refreshToken\":\"" + std::string(70000, 'a') + "\"}",
       {},
       413},
      {"POST", "/trelvis/v1/auth/refresh", huge, {}, 413},
      {"GET", "/trelvis/v1/nowhere", "", {}, 404},
      {"GET", "/v1/account/status", "", {{"Authorization", "Bearer " + pair.accessToken}}, 404},
      {"GET", "/trelvis/v1/auth/login", "", {}, 405},
      {"GET", "/trelvis/v1/account/status", "", {}, 401},
      {"GET",
       "/trelvis/v1/home/summary",
       "",
       {{"Authorization", "Basic " + pair.accessToken}},
       401},
      {"GET",
       "/trelvis/v1/home/summary",
       "",
       {{"Authorization", "Bearer " + pair.refreshToken}},
       401},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.method + " " + c.path + " " + c.body.substr(0, 60));
    const Response response = api.send(c.method, c.path, c.body, c.headers);
    EXPECT_EQ(response.status, c.status) << response.body;
    EXPECT_FALSE(wire::decodeDetail(response.body).empty());
  }

  // Bytes that are not HTTP at all, and a request line past every limit.
  for (const std::string& raw : {std::string("\x16\x03\x01 garbage\r\n\r\n"),
                                 "GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n"}) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(server.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_GT(::write(fd, raw.data(), raw.size()), 0);
    char reply[64] = {};
    EXPECT_GT(::read(fd, reply, sizeof(reply) - 1), 0);
    EXPECT_TRUE(std::string(reply).starts_with("HTTP/1.1 4")) << reply;
    ::close(fd);
  }
  EXPECT_EQ(api.get("/v1/account/status", pair.accessToken).status, 200) << "still serving";
  EXPECT_EQ(server.terminate(), 0) << server.standardError();
}

TEST(WireTest, AnUndeliverableCodeAnswers503) {
  TrelvisServerProcess server({.standardOutputFile = "/dev/full"});
  Api api(server);
  const Response response = api.post("/v1/auth/email-codes", sendCodeBody("fay@example.com"));
  EXPECT_EQ(response.status, 503);
  EXPECT_EQ(wire::decodeDetail(response.body), "the verification code could not be delivered");
}

TEST(WireTest, AdminCommandsListCheckAndDeleteAccounts) {
  TrelvisServerProcess server;
  Api api(server);
  const AuthTokenPair pair = registerAccount(server, "gil@example.com", "password-1");
  EXPECT_NE(server.run({"user", "list"}).standardOutput.find("gil@example.com"), std::string::npos);
  EXPECT_EQ(server.run({"user", "set-plan", "nobody@example.com", "seed"}).exitStatus, 1);
  EXPECT_EQ(server.run({"check"}).exitStatus, 0);
  EXPECT_EQ(server.run({"user", "delete", "gil@example.com"}).exitStatus, 0);
  EXPECT_EQ(api.get("/v1/account/status", pair.accessToken).status, 401);

  // A second server cannot take the port of the first, and says so.
  const CommandResult clash =
      runTrelvisServer({"serve", "--listen", "127.0.0.1:" + std::to_string(server.port()),
                        "--data-dir", server.dataDirectory().string()},
                       10s);
  EXPECT_EQ(clash.exitStatus, 1);
  EXPECT_NE(clash.standardError.find("Address already in use"), std::string::npos)
      << clash.standardError;
}

TEST(WireTest, ServesHttpsWithTheGivenCertificate) {
  const testing::TempDirectory temp;
  const fs::path& directory = temp.path();
  const std::string cert = (directory / "cert.pem").string();
  const std::string key = (directory / "key.pem").string();
  ASSERT_EQ(std::system(("openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
                         "-addext subjectAltName=IP:127.0.0.1 -keyout " +
                         key + " -out " + cert + " 2>/dev/null")
                            .c_str()),
            0);
  {
    TrelvisServerProcess server({.arguments = {"--tls-cert", cert, "--tls-key", key}});
    EXPECT_TRUE(server.baseUrl().starts_with("https://127.0.0.1:")) << server.baseUrl();
    httplib::SSLClient client("127.0.0.1", server.port());
    client.set_ca_cert_path(cert.c_str());
    client.enable_server_certificate_verification(true);
    const auto result = client.Get("/trelvis/v1/account/status");
    ASSERT_TRUE(result) << httplib::to_string(result.error());
    EXPECT_EQ(result->status, 401);
  }
  const CommandResult wrongKey =
      runTrelvisServer({"serve", "--listen", "127.0.0.1:0", "--data-dir", directory.string(),
                        "--tls-cert", cert, "--tls-key", cert},
                       30s);
  EXPECT_EQ(wrongKey.exitStatus, 1);
  EXPECT_NE(wrongKey.standardError.find("cannot load the TLS certificate or key"),
            std::string::npos);
}

TEST(WireTest, ShutdownFinishesTheRequestInFlightAndTakesNoMore) {
  // Costly hashing keeps a login in flight for a while.
  TrelvisServerProcess server({.arguments = {"--argon2-passes", "3", "--argon2-memory-mib", "256"},
                               .cheapPasswordHashing = false});
  const AuthTokenPair pair = registerAccount(server, "hal@example.com", "password-1");
  auto login = std::async(std::launch::async, [&] {
    Api api(server);
    return api.post("/v1/auth/login",
                    wire::requestBody({{"email", "hal@example.com"}, {"password", "password-1"}}));
  });
  std::this_thread::sleep_for(200ms);
  ASSERT_EQ(login.wait_for(0s), std::future_status::timeout) << "the login was not slow enough";
  ::kill(server.pid(), SIGTERM);
  const Response response = login.get();
  EXPECT_EQ(response.status, 200) << response.body;
  EXPECT_EQ(server.terminate(), 0) << server.standardError();
  EXPECT_EQ(Api(server).get("/v1/account/status", pair.accessToken).status, 0) << "no one listens";
}

TEST(WireTest, TwoServersOnOnePostgresActAsOne) {
  const std::string database = PostgresTestCluster::shared().createDatabase();
  TrelvisServerProcess first({.database = database});
  TrelvisServerProcess second({.database = database});
  Api one(first);
  Api two(second);
  const AuthTokenPair pair = registerAccount(first, "ida@example.com", "password-1");
  EXPECT_EQ(two.get("/v1/account/status", pair.accessToken).status, 200);
  EXPECT_EQ(
      two.post("/v1/auth/email-codes", sendCodeBody("ida@example.com", "password_reset")).status,
      200);
  EXPECT_EQ(
      one.post("/v1/auth/email-codes", sendCodeBody("ida@example.com", "password_reset")).status,
      429)
      << "the cooldown is shared";

  const Response rotated =
      one.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", pair.refreshToken}}));
  ASSERT_EQ(rotated.status, 200);
  EXPECT_EQ(
      two.post("/v1/auth/refresh", wire::requestBody({{"refreshToken", pair.refreshToken}})).status,
      401)
      << "reuse through the other server";
  EXPECT_EQ(one.get("/v1/account/status", wire::decodeTokenPair(rotated.body).accessToken).status,
            401)
      << "the family is revoked for both";
}

}  // namespace
}  // namespace trelvis
