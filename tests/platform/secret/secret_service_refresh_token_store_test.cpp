// The Secret Service store against real services. run_secret_service_tests.sh
// starts each suite in the environment it needs, inside a private D-Bus session
// with no display (so that nothing can wait on a password dialog):
//   "keyring"     gnome-keyring with an unlocked login keyring
//   "locked"      the same keyring, after the keyring suite, to be locked here
//   "no-service"  a session bus on which nothing provides the Secret Service
//   "no-bus"      no session bus at all

#include "platform/secret/secret_service_refresh_token_store.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/wait.h>

#include <gtest/gtest.h>

#include "core/account/auth_session_error.h"
#include "platform/secret/fake_bus_name.h"

namespace trelvis {
namespace {

using namespace std::chrono_literals;

constexpr const char* kService = "me.mossgrove.trelvis.auth.refreshToken";
constexpr const char* kAccount = "refreshToken";
constexpr const char* kPrompterName = "org.gnome.keyring.SystemPrompter";

void expectScenario(std::initializer_list<std::string_view> scenarios) {
  const char* current = std::getenv("TRELVIS_SECRET_SERVICE_SCENARIO");
  bool known = false;
  for (auto scenario : scenarios) known = known || (current && scenario == current);
  ASSERT_TRUE(known) << "run these tests through tests/platform/secret/run_secret_service_tests.sh";
  ASSERT_EQ(std::getenv("DISPLAY"), nullptr) << "a display would let the keyring wait on a dialog";
}

struct Command {
  int status;
  std::string output;
};

// Runs a shell command, as a user would at a terminal, and takes its output.
Command shell(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return {-1, {}};
  std::string output;
  std::array<char, 256> buffer{};
  while (size_t read = fread(buffer.data(), 1, buffer.size(), pipe))
    output.append(buffer.data(), read);
  int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string secretToolLookup(const char* account = kAccount) {
  return shell(std::string("secret-tool lookup service ") + kService + " account " + account +
               " 2>/dev/null")
      .output;
}

// The object paths in the output of a gdbus call: every quoted "/..." (gdbus
// writes the type only before the first element of an array).
std::vector<std::string> objectPaths(const std::string& output) {
  std::vector<std::string> paths;
  for (std::size_t at = output.find("'/"); at != std::string::npos; at = output.find("'/", at)) {
    std::size_t end = output.find('\'', at + 1);
    paths.push_back(output.substr(at + 1, end - at - 1));
    at = end + 1;
  }
  return paths;
}

std::string secretServiceCall(const std::string& method, const std::string& arguments) {
  return shell(
             "gdbus call --session --dest org.freedesktop.secrets --object-path "
             "/org/freedesktop/secrets --method org.freedesktop.Secret.Service." +
             method + " " + arguments + " 2>&1")
      .output;
}

// Every item with our attributes, locked or not, as the service lists them.
std::vector<std::string> storedItems() {
  return objectPaths(secretServiceCall("SearchItems", std::string("\"{'service': '") + kService +
                                                          "', 'account': '" + kAccount + "'}\""));
}

std::string defaultCollection() {
  auto paths = objectPaths(secretServiceCall("ReadAlias", "default"));
  return paths.empty() ? "(none)" : paths[0];
}

// The failure's detail, or a note that there was none.
template <class F>
std::string keychainFailure(F operation) {
  try {
    operation();
  } catch (const AuthSessionError& error) {
    EXPECT_EQ(error.kind(), AuthSessionError::Kind::keychain);
    return error.detail();
  }
  return "(no failure)";
}

SecretServiceRefreshTokenStore::Limits shortLimits() {
  return {5s, 5s};
}

TEST(SecretServiceKeyringTest, StoresReadsReplacesAndDeletesOneItem) {
  expectScenario({"keyring"});
  SecretServiceRefreshTokenStore store(shortLimits());
  EXPECT_EQ(store.readRefreshToken(kService, kAccount), std::nullopt);
  EXPECT_NO_THROW(store.deleteRefreshToken(kService, kAccount)) << "nothing to delete is no error";

  store.saveRefreshToken("rt-1 with spaces", kService, kAccount);
  EXPECT_EQ(store.readRefreshToken(kService, kAccount), "rt-1 with spaces");
  EXPECT_EQ(secretToolLookup(), "rt-1 with spaces");

  store.saveRefreshToken("rt-2", kService, kAccount);
  EXPECT_EQ(store.readRefreshToken(kService, kAccount), "rt-2");
  EXPECT_EQ(secretToolLookup(), "rt-2");
  auto items = storedItems();
  ASSERT_EQ(items.size(), 1u) << "a second save made a second item";
  EXPECT_TRUE(items[0].starts_with(defaultCollection() + "/")) << items[0];
  std::string details =
      shell(std::string("secret-tool search service ") + kService + " 2>&1").output;
  EXPECT_NE(details.find("label = Trelvis sign-in (refresh token)"), std::string::npos) << details;

  // Another account is another item.
  EXPECT_EQ(store.readRefreshToken(kService, "otherAccount"), std::nullopt);

  store.deleteRefreshToken(kService, kAccount);
  EXPECT_EQ(store.readRefreshToken(kService, kAccount), std::nullopt);
  EXPECT_EQ(secretToolLookup(), "");
  EXPECT_TRUE(storedItems().empty());
}

TEST(SecretServiceKeyringTest, ReadsWhatAUserStoredAndTakesNonTextAsNoToken) {
  expectScenario({"keyring"});
  SecretServiceRefreshTokenStore store(shortLimits());
  // Text typed by hand, then bytes that are not UTF-8, as another program might leave.
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"typed-by-hand", "typed-by-hand"}, {"\\377\\376\\001", std::nullopt}};
  for (const auto& [bytes, expected] : cases) {
    ASSERT_EQ(shell(std::string("printf '") + bytes + "' | secret-tool store --label=manual " +
                    "service " + kService + " account " + kAccount)
                  .status,
              0);
    EXPECT_EQ(store.readRefreshToken(kService, kAccount), expected);
    store.deleteRefreshToken(kService, kAccount);
    EXPECT_TRUE(storedItems().empty());
  }
}

TEST(SecretServiceLockedKeyringTest, ALockedKeyringFailsReadsWithoutAPrompt) {
  expectScenario({"locked"});
  SecretServiceRefreshTokenStore store(shortLimits());
  store.saveRefreshToken("rt-locked", kService, kAccount);
  FakeBusName prompter(kPrompterName, FakeBusName::Answer::error);

  const std::string collection = defaultCollection();
  ASSERT_TRUE(collection.starts_with("/org/freedesktop/secrets/collection/")) << collection;
  EXPECT_EQ(objectPaths(secretServiceCall("Lock", "\"['" + collection + "']\"")).front(),
            collection);

  const std::string locked =
      "The keyring that holds the refresh token is locked; unlock it to stay signed in.";
  EXPECT_EQ(keychainFailure([&] { (void)store.readRefreshToken(kService, kAccount); }), locked);
  // Even with none of its items on show, a locked default keyring may hold the token.
  EXPECT_EQ(keychainFailure([&] { (void)store.readRefreshToken(kService, "otherAccount"); }),
            locked);
  EXPECT_TRUE(prompter.calls().empty()) << "a read asked for a prompt: " << prompter.calls()[0];

  // A write may ask the keyring to unlock; here the prompt is refused.
  EXPECT_EQ(keychainFailure([&] { store.saveRefreshToken("rt-new", kService, kAccount); }), locked);
  EXPECT_FALSE(prompter.calls().empty());
  EXPECT_EQ(keychainFailure([&] { store.deleteRefreshToken(kService, kAccount); }), locked);
}

TEST(SecretServiceUnreachableTest, WithoutASecretServiceEveryCallSaysSo) {
  expectScenario({"no-service", "no-bus"});
  SecretServiceRefreshTokenStore store(shortLimits());
  const std::string prefix = "No Secret Service is reachable on the session bus: ";
  for (const std::string& detail :
       {keychainFailure([&] { (void)store.readRefreshToken(kService, kAccount); }),
        keychainFailure(
            [&] { store.saveRefreshToken("rt-plain-text-canary", kService, kAccount); }),
        keychainFailure([&] { store.deleteRefreshToken(kService, kAccount); })}) {
    EXPECT_TRUE(detail.starts_with(prefix)) << detail;
    EXPECT_GT(detail.size(), prefix.size()) << "the reason is missing";
  }
  // Nothing was written anywhere else instead.
  EXPECT_EQ(
      shell("grep -rl rt-plain-text-canary \"$HOME\" \"$XDG_RUNTIME_DIR\" 2>/dev/null").output, "");
}

TEST(SecretServiceUnreachableTest, NothingAnsweringIsGivenUpAtTheLimit) {
  expectScenario({"no-service"});
  FakeBusName silent("org.freedesktop.secrets", FakeBusName::Answer::never);
  SecretServiceRefreshTokenStore store({300ms, 300ms});
  EXPECT_EQ(keychainFailure([&] { (void)store.readRefreshToken(kService, kAccount); }),
            "The Secret Service did not answer within 0.3 s.");
  EXPECT_FALSE(silent.calls().empty());
}

}  // namespace
}  // namespace trelvis
