#include "platform/curl/curl_http_transport.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/async/run_loop.h"
#include "base/async/task.h"
#include "core/net/url_error.h"
#include "support/loopback_server.h"
#include "support/thrown.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;
using Log = std::vector<std::string>;

HttpRequest makeRequest(const std::string& url) {
  auto parsed = Url::parse(url);
  EXPECT_TRUE(parsed) << url;
  return HttpRequest(*parsed);
}

struct SeenRequest {
  std::string method;
  std::string body;
  httplib::Headers headers;
};

class CurlHttpTransportTest : public ::testing::Test {
 protected:
  CurlHttpTransportTest() {
    server_->Get("/stream", [this](const httplib::Request&, httplib::Response& res) {
      res.set_header("X-Stream", "yes");
      res.set_chunked_content_provider("text/plain", [this](size_t, httplib::DataSink& sink) {
        sink.write("first", 5);
        std::string rest = streamGate_.wait() ? "second" : "gate timed out";
        sink.write(rest.data(), rest.size());
        sink.done();
        return true;
      });
    });
    // Sends one chunk, then watches the connection without writing, so that only
    // the client closing it ends the wait.
    server_->Get("/first-then-quiet", [this](const httplib::Request&, httplib::Response& res) {
      res.set_chunked_content_provider("text/plain", [this](size_t, httplib::DataSink& sink) {
        sink.write("first", 5);
        for (int i = 0; i < 1000 && sink.is_writable(); ++i) std::this_thread::sleep_for(5ms);
        if (!sink.is_writable()) notify(disconnected_);
        return false;
      });
    });
    auto echo = [this](const httplib::Request& req, httplib::Response& res) {
      {
        std::lock_guard lock(mutex_);
        seen_.push_back({req.method, req.body, req.headers});
      }
      res.status = 201;
      res.set_content("echo " + req.method, "text/plain");
    };
    server_->Post("/echo", echo);
    server_->Put("/echo", echo);
    server_->Get(R"(/status/(\d+))", [](const httplib::Request& req, httplib::Response& res) {
      res.status = std::stoi(req.matches[1]);
      res.set_content("status " + req.matches[1].str(), "text/plain");
    });
    server_->Get("/redirect", [](const httplib::Request&, httplib::Response& res) {
      res.set_redirect("/status/200");
      res.set_content("moved", "text/plain");
    });
    server_->Get("/port", [](const httplib::Request& req, httplib::Response& res) {
      res.set_content(std::to_string(req.remote_port), "text/plain");
    });
    // Holds the request without answering until the test ends.
    server_->Get("/hold", [this](const httplib::Request&, httplib::Response& res) {
      notify(held_);
      releaseGate_.wait();
      res.set_content("held", "text/plain");
    });
    // Sends the head of a streaming reply, then nothing.
    server_->Get("/stall", [this](const httplib::Request&, httplib::Response& res) {
      res.set_chunked_content_provider("text/plain", [this](size_t, httplib::DataSink&) {
        releaseGate_.wait();
        return false;
      });
    });
    // Promises 100 bytes and hangs up after 10.
    server_->Get("/truncated", [](const httplib::Request&, httplib::Response& res) {
      res.set_content_provider(100, "text/plain", [](size_t, size_t, httplib::DataSink& sink) {
        sink.write("0123456789", 10);
        return false;
      });
    });
    server_.start();
  }

  ~CurlHttpTransportTest() override {
    // The transport goes first so that the servers see their connections close.
    transport_.reset();
    streamGate_.open();
    releaseGate_.open();
  }

  // Server threads raise flags; the posted job wakes the loop so it looks at them.
  void notify(std::atomic<int>& counter) {
    ++counter;
    loop_.executor()->post([] {});
  }

  bool runUntil(const std::function<bool()>& done) { return loop_.runUntil(done, 10s); }

  template <class F>
  auto run(F body) {
    auto task = spawn(loop_.executor(), std::move(body));
    EXPECT_TRUE(runUntil([&] { return task.isDone(); }));
    return task;
  }

  std::string url(const std::string& path) const { return server_.url(path); }

  RunLoop loop_;
  Gate streamGate_;
  Gate releaseGate_;
  std::atomic<int> disconnected_{0};
  std::atomic<int> held_{0};
  std::mutex mutex_;
  std::vector<SeenRequest> seen_;  // guarded by mutex_
  LoopbackServer<> server_;
  std::unique_ptr<CurlHttpTransport> transport_ = std::make_unique<CurlHttpTransport>();
};

TEST_F(CurlHttpTransportTest, HandsOnEachChunkBeforeTheBodyEnds) {
  Log log;
  // The server sends its second chunk only once this task has read the first.
  auto task = run([&]() -> Async<void> {
    auto reply = co_await transport_->send(makeRequest(url("/stream")));
    log.push_back("status " + std::to_string(reply.head.status));
    log.push_back("X-Stream " + reply.head.headers.get("x-stream").value_or("-"));
    auto first = co_await reply.body.next();
    log.push_back(first.value_or("end"));
    streamGate_.open();
    while (auto chunk = co_await reply.body.next()) log.push_back(*chunk);
  });
  task.value();
  EXPECT_EQ(log, (Log{"status 200", "X-Stream yes", "first", "second"}));
}

TEST_F(CurlHttpTransportTest, SendsBodyAndHeadersExactly) {
  struct Case {
    std::string method;
    std::string body;
    std::string contentType;  // empty: none given
  };
  std::string large(2 * 1024 * 1024, '\0');
  for (size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 % 251);
  const Case cases[] = {
      {"POST", R"({"text":"héllo"})", "application/json"},
      {"POST", large, "application/octet-stream"},
      {"PUT", "plain", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.method + " of " + std::to_string(c.body.size()) + " bytes");
    auto request = makeRequest(url("/echo"));
    request.method = c.method;
    request.body = std::make_shared<const std::string>(c.body);
    request.headers.add("X-Trelvis-Test", "a value, with: punctuation");
    if (!c.contentType.empty()) request.headers.add("Content-Type", c.contentType);
    auto task =
        run([&]() -> Async<HttpDataReply> { co_return co_await load(*transport_, request); });
    auto reply = task.value();
    EXPECT_EQ(reply.head.status, 201);
    EXPECT_EQ(reply.body, "echo " + c.method);

    std::lock_guard lock(mutex_);
    ASSERT_EQ(seen_.size(), 1u);
    const auto& seen = seen_.back();
    EXPECT_EQ(seen.method, c.method);
    EXPECT_TRUE(seen.body == c.body);
    auto header = [&](const char* name) {
      auto found = seen.headers.find(name);
      return found == seen.headers.end() ? std::string("(none)") : found->second;
    };
    EXPECT_EQ(header("X-Trelvis-Test"), "a value, with: punctuation");
    EXPECT_EQ(header("Content-Type"), c.contentType.empty() ? "(none)" : c.contentType);
    EXPECT_EQ(header("Expect"), "(none)");
    seen_.clear();
  }
}

TEST_F(CurlHttpTransportTest, TheHeadIsTheFinalResponses) {
  struct Case {
    std::string method;
    std::string path;
    HttpHeader header;  // added to the request when it has a name
    int status;
    std::string body;
    std::optional<std::string> contentEncoding;
  };
  const Case cases[] = {
      {"GET", "/status/404", {}, 404, "status 404", std::nullopt},
      {"GET", "/redirect", {}, 200, "status 200", std::nullopt},
      {"POST", "/echo", {"Expect", "100-continue"}, 201, "echo POST", std::nullopt},
      {"GET", "/status/200", {"Accept-Encoding", "gzip"}, 200, "status 200", "gzip"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.method + " " + c.path + " " + c.header.name);
    auto request = makeRequest(url(c.path));
    request.method = c.method;
    if (!c.header.name.empty()) request.headers.add(c.header.name, c.header.value);
    if (c.method == "POST") request.body = std::make_shared<const std::string>("payload");
    auto task =
        run([&]() -> Async<HttpDataReply> { co_return co_await load(*transport_, request); });
    auto reply = task.value();
    EXPECT_EQ(reply.head.status, c.status);
    EXPECT_EQ(reply.body, c.body);
    EXPECT_FALSE(reply.head.headers.contains("Location"));
    EXPECT_EQ(reply.head.headers.get("Content-Encoding"), c.contentEncoding);
    if (!c.contentEncoding) {
      EXPECT_EQ(reply.head.headers.get("Content-Length"), std::to_string(c.body.size()));
    }
  }
}

TEST_F(CurlHttpTransportTest, AConsumerThatStopsReadingClosesTheConnection) {
  enum class Stop { cancelTask, dropStream };
  for (auto stop : {Stop::cancelTask, Stop::dropStream}) {
    SCOPED_TRACE(stop == Stop::cancelTask ? "task cancelled" : "stream dropped");
    disconnected_ = 0;
    bool gotFirst = false;
    auto task = spawn(loop_.executor(), [&]() -> Async<int> {
      auto reply = co_await transport_->send(makeRequest(url("/first-then-quiet")));
      int chunks = 0;
      while (auto chunk = co_await reply.body.next()) {
        gotFirst = true;
        ++chunks;
        if (stop == Stop::dropStream) break;
      }
      co_return chunks;
    });
    ASSERT_TRUE(runUntil([&] { return gotFirst; }));
    if (stop == Stop::cancelTask) task.cancel();
    ASSERT_TRUE(runUntil([&] { return task.isDone() && disconnected_ > 0; }));
    EXPECT_GE(task.value(), 1);
  }
}

TEST_F(CurlHttpTransportTest, CancellingBeforeTheHeadRaisesCancellationError) {
  for (bool alreadyCancelled : {true, false}) {
    SCOPED_TRACE(alreadyCancelled ? "cancelled before sending" : "cancelled while held");
    held_ = 0;
    auto task = spawn(loop_.executor(), [&]() -> Async<int> {
      auto reply = co_await transport_->send(makeRequest(url("/hold")));
      co_return reply.head.status;
    });
    if (!alreadyCancelled) ASSERT_TRUE(runUntil([&] { return held_ == 1; }));
    task.cancel();
    ASSERT_TRUE(runUntil([&] { return task.isDone(); }));
    EXPECT_THROW(task.value(), CancellationError);
    EXPECT_EQ(held_, alreadyCancelled ? 0 : 1);
  }
}

TEST_F(CurlHttpTransportTest, FailuresAreClassified) {
  // A bound socket that does not listen: connecting to it is refused.
  int closedSocket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(::bind(closedSocket, reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(::getsockname(closedSocket, reinterpret_cast<sockaddr*>(&address), &length), 0);
  std::string refused = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";

  struct Case {
    std::string url;
    URLErrorCode code;
    std::string failsIn;  // "send" or "body"
  };
  const Case cases[] = {
      {refused, URLErrorCode::cannotConnectToHost, "send"},
      {url("/stall"), URLErrorCode::timedOut, "body"},
      {url("/truncated"), URLErrorCode::networkConnectionLost, "body"},
      {"ftp://127.0.0.1/file", URLErrorCode::badURL, "send"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.url);
    std::string failedIn = "nowhere";
    auto task = run([&]() -> Async<URLErrorCode> {
      auto request = makeRequest(c.url);
      request.timeout = 300ms;
      failedIn = "send";
      try {
        auto reply = co_await transport_->send(std::move(request));
        failedIn = "body";
        co_await readAll(reply.body);
      } catch (const URLError& error) {
        EXPECT_GT(error.localizedDescription().size(), 20u);
        co_return error.code();
      }
      failedIn = "nowhere";
      co_return URLErrorCode::unknown;
    });
    EXPECT_EQ(toString(task.value()), toString(c.code));
    EXPECT_EQ(failedIn, c.failsIn);
  }
  ::close(closedSocket);
}

TEST_F(CurlHttpTransportTest, ReusesTheConnectionToTheSameHost) {
  auto task = run([&]() -> Async<Log> {
    Log ports;
    for (int i = 0; i < 2; ++i) {
      auto reply = co_await load(*transport_, makeRequest(url("/port")));
      ports.push_back(reply.body);
    }
    co_return ports;
  });
  auto ports = task.value();
  ASSERT_EQ(ports.size(), 2u);
  EXPECT_EQ(ports[0], ports[1]);
}

TEST_F(CurlHttpTransportTest, DestroyingTheTransportFailsPendingRequests) {
  auto task = spawn(loop_.executor(), [&]() -> Async<int> {
    auto reply = co_await transport_->send(makeRequest(url("/hold")));
    co_return reply.head.status;
  });
  ASSERT_TRUE(runUntil([&] { return held_ == 1; }));
  transport_.reset();
  ASSERT_TRUE(runUntil([&] { return task.isDone(); }));
  const auto failure = testing::thrownBy<URLError>([&] { task.value(); });
  ASSERT_TRUE(failure) << "the request did not fail";
  EXPECT_EQ(failure->code(), URLErrorCode::unknown);
}

// Certificates made at test time, for servers that fail verification each in
// their own way.
using KeyPtr = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using CertificatePtr = std::unique_ptr<X509, decltype(&X509_free)>;

KeyPtr makeKey() {
  return KeyPtr(EVP_EC_gen("P-256"), &EVP_PKEY_free);
}

struct CertificateSpec {
  std::string name;              // subject alternative name, "IP:..." or "DNS:..."
  std::chrono::hours validFrom;  // from now
  std::chrono::hours validUntil;
  bool authority = false;
};

// Signed by `issuer` with `issuerKey`, or self-signed when `issuer` is null.
CertificatePtr makeCertificate(const CertificateSpec& wanted, EVP_PKEY* key, X509* issuer,
                               EVP_PKEY* issuerKey) {
  static std::atomic<long> serial{1};
  CertificatePtr cert(X509_new(), &X509_free);
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial++);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()),
                  std::chrono::duration_cast<std::chrono::seconds>(wanted.validFrom).count());
  X509_gmtime_adj(X509_getm_notAfter(cert.get()),
                  std::chrono::duration_cast<std::chrono::seconds>(wanted.validUntil).count());
  X509_set_pubkey(cert.get(), key);
  X509_NAME* subject = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(wanted.name.c_str()), -1, -1,
                             0);
  X509_set_issuer_name(cert.get(), issuer ? X509_get_subject_name(issuer) : subject);
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer ? issuer : cert.get(), cert.get(), nullptr, nullptr, 0);
  auto addExtension = [&](int nid, const char* value) {
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    ASSERT_NE(extension, nullptr) << value;
    X509_add_ext(cert.get(), extension, -1);
    X509_EXTENSION_free(extension);
  };
  if (wanted.authority) {
    addExtension(NID_basic_constraints, "critical,CA:TRUE");
    addExtension(NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    addExtension(NID_subject_alt_name, wanted.name.c_str());
  }
  X509_sign(cert.get(), issuerKey ? issuerKey : key, EVP_sha256());
  return cert;
}

std::string toPem(X509* cert) {
  std::unique_ptr<BIO, decltype(&BIO_free)> bio(BIO_new(BIO_s_mem()), &BIO_free);
  PEM_write_bio_X509(bio.get(), cert);
  char* data = nullptr;
  long size = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<size_t>(size));
}

TEST(CurlHttpTransportTlsTest, VerifiesTheServerAndClassifiesCertificateFailures) {
  RunLoop loop;
  auto authorityKey = makeKey();
  auto authority = makeCertificate({"Trelvis Test Authority", -24h, 24h, true}, authorityKey.get(),
                                   nullptr, nullptr);
  auto strangerKey = makeKey();
  auto stranger =
      makeCertificate({"Stranger Authority", -24h, 24h, true}, strangerKey.get(), nullptr, nullptr);
  CurlHttpTransport::Options options{toPem(authority.get())};

  // The leaf is signed by the trusted authority, by a stranger, or by itself (null).
  struct Case {
    std::string name;
    std::string subjectAltName;
    std::chrono::hours validFrom, validUntil;
    X509* issuer;
    std::optional<URLErrorCode> failure;  // none: the request succeeds
  };
  const std::string ip = "IP:127.0.0.1";
  const Case cases[] = {
      {"trusted", ip, -1h, 24h, authority.get(), std::nullopt},
      {"self-signed", ip, -1h, 24h, nullptr, URLErrorCode::serverCertificateUntrusted},
      {"unknown authority", ip, -1h, 24h, stranger.get(),
       URLErrorCode::serverCertificateHasUnknownRoot},
      {"expired", ip, -48h, -24h, authority.get(), URLErrorCode::serverCertificateHasBadDate},
      {"not yet valid", ip, 24h, 48h, authority.get(), URLErrorCode::serverCertificateNotYetValid},
      {"other host", "DNS:elsewhere.test", -1h, 24h, authority.get(),
       URLErrorCode::serverCertificateUntrusted},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto key = makeKey();
    EVP_PKEY* issuerKey = c.issuer == authority.get()  ? authorityKey.get()
                          : c.issuer == stranger.get() ? strangerKey.get()
                                                       : nullptr;
    auto cert = makeCertificate({c.subjectAltName, c.validFrom, c.validUntil}, key.get(), c.issuer,
                                issuerKey);
    LoopbackServer<httplib::SSLServer> server(cert.get(), key.get());
    ASSERT_TRUE(server->is_valid());
    server->Get("/", [](const httplib::Request&, httplib::Response& res) {
      res.set_content("secure", "text/plain");
    });
    server.start();
    CurlHttpTransport transport(options);

    auto task = spawn(loop.executor(), [&]() -> Async<std::string> {
      try {
        auto reply = co_await load(transport, makeRequest(server.url("/", "https")));
        co_return reply.body;
      } catch (const URLError& error) {
        co_return std::string(toString(error.code()));
      }
    });
    ASSERT_TRUE(loop.runUntil([&] { return task.isDone(); }, 10s));
    EXPECT_EQ(task.value(), c.failure ? toString(*c.failure) : "secure");
  }
}

}  // namespace
}  // namespace trelvis
