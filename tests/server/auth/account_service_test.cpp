// The account rules that depend on time (code lifetime, cooldowns, hourly limits,
// login lock-out), on a real SQLite store with a clock the test moves.

#include "server/auth/account_service.h"

#include <gtest/gtest.h>

#include "server/auth/password_hasher.h"
#include "server/store/open_store.h"
#include "support/fake_verification_code_sender.h"
#include "support/temp_directory.h"

namespace trelvis::server {
namespace {

using namespace std::chrono_literals;
using Kind = AuthFailure::Kind;

constexpr auto kRegister = EmailCodePurpose::registration;
constexpr auto kReset = EmailCodePurpose::passwordReset;

class AccountServiceTest : public ::testing::Test {
 protected:
  // The kind of failure of `result`, or nothing when it succeeded.
  template <class T>
  static std::optional<Kind> failureOf(const AuthResult<T>& result) {
    if (result) return std::nullopt;
    return result.error().kind;
  }

  AuthResult<TokenPair> registerAnn(const std::string& code) {
    return accounts_.registerAccount("ann@example.com", "password-1", code);
  }

  // Sends a code to `email` from `client` and gives the failure, if any.
  std::optional<Kind> sendCode(const std::string& email, EmailCodePurpose purpose = kRegister,
                               const std::string& client = "10.0.0.1") {
    return failureOf(accounts_.sendEmailCode(email, purpose, client));
  }

  trelvis::testing::TempDirectory directory_;
  std::unique_ptr<Store> store_ = openStore("sqlite:" + (directory_.path() / "db").string(), 4);
  PasswordHasher hasher_{{1, 1}, 2};
  FakeVerificationCodeSender sender_;
  Timestamp now_ = Timestamp(std::chrono::milliseconds(1'780'000'000'000));
  AccountService accounts_{*store_, hasher_, sender_, [this] { return now_; }, {}};
};

TEST_F(AccountServiceTest, CodesCoolDownExpireAndAreReplacedByTheNextOne) {
  EXPECT_EQ(accounts_.sendEmailCode("ann@example.com", kRegister, "10.0.0.1"), 60);
  const std::string first = sender_.lastCode("ann@example.com");

  now_ += 30s;
  const auto early = accounts_.sendEmailCode("ann@example.com", kRegister, "10.0.0.1");
  ASSERT_EQ(failureOf(early), Kind::rateLimited);
  EXPECT_EQ(early.error().retryAfter, 30s);
  EXPECT_EQ(sendCode("ann@example.com", kReset), Kind::emailNotRegistered) << "no account yet";

  now_ += 30s;
  EXPECT_EQ(sendCode("ann@example.com"), std::nullopt);
  const std::string second = sender_.lastCode("ann@example.com");
  if (first != second) {
    EXPECT_EQ(failureOf(registerAnn(first)), Kind::verificationCodeInvalid) << "replaced";
  }
  now_ += 10min;
  EXPECT_EQ(failureOf(registerAnn(second)), Kind::verificationCodeInvalid) << "expired";

  EXPECT_EQ(sendCode("ann@example.com"), std::nullopt);
  ASSERT_TRUE(registerAnn(sender_.lastCode("ann@example.com")));
  EXPECT_EQ(sendCode("ann@example.com"), Kind::emailAlreadyRegistered);
  EXPECT_EQ(failureOf(registerAnn("000000")), Kind::emailAlreadyRegistered);
}

TEST_F(AccountServiceTest, LimitsCodesPerAddressAndPerClientEachHour) {
  for (int i = 0; i < 5; ++i, now_ += 60s)
    EXPECT_EQ(sendCode("ann@example.com"), std::nullopt) << i;
  const auto sixth = accounts_.sendEmailCode("ann@example.com", kRegister, "10.0.0.1");
  ASSERT_EQ(failureOf(sixth), Kind::rateLimited);
  EXPECT_EQ(sixth.error().retryAfter, 3600s - 5 * 60s);

  // 15 more addresses from the same client reach its 20 an hour.
  for (int i = 0; i < 15; ++i)
    EXPECT_EQ(sendCode("u" + std::to_string(i) + "@example.com"), std::nullopt);
  EXPECT_EQ(sendCode("late@example.com"), Kind::rateLimited);
  EXPECT_EQ(sendCode("late@example.com", kRegister, "10.0.0.2"), std::nullopt) << "another client";
  now_ += 1h;
  EXPECT_EQ(sendCode("ann@example.com"), std::nullopt);
}

TEST_F(AccountServiceTest, AnUndeliveredCodeIsNotUsable) {
  sender_.failing = true;
  EXPECT_EQ(sendCode("ann@example.com"), Kind::deliveryFailed);
  EXPECT_EQ(failureOf(registerAnn(sender_.lastCode("ann@example.com"))),
            Kind::verificationCodeInvalid);
}

TEST_F(AccountServiceTest, WrongPasswordsLockOneClientOutForAWhileAndHashesAreUpgraded) {
  ASSERT_EQ(sendCode("ann@example.com"), std::nullopt);
  ASSERT_TRUE(registerAnn(sender_.lastCode("ann@example.com")));
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(failureOf(accounts_.login("ann@example.com", "wrong-password", "10.0.0.9")),
              Kind::invalidCredentials);
  }
  EXPECT_EQ(failureOf(accounts_.login("ann@example.com", "password-1", "10.0.0.9")),
            Kind::rateLimited);
  EXPECT_TRUE(accounts_.login("ann@example.com", "password-1", "10.0.0.1")) << "another client";
  now_ += 15min;
  EXPECT_TRUE(accounts_.login("ann@example.com", "password-1", "10.0.0.9"));
  EXPECT_EQ(failureOf(accounts_.login("bob@example.com", "password-1", "10.0.0.1")),
            Kind::emailNotRegistered);

  // A stronger cost takes effect at the next login with the right password.
  PasswordHasher stronger({2, 2}, 1);
  AccountService upgraded(*store_, stronger, sender_, [this] { return now_; }, {});
  const std::string before = store_->findUserByEmail("ann@example.com")->passwordHash;
  ASSERT_TRUE(upgraded.login("ann@example.com", "password-1", "10.0.0.1"));
  const std::string after = store_->findUserByEmail("ann@example.com")->passwordHash;
  EXPECT_NE(after, before);
  EXPECT_FALSE(stronger.needsRehash(after));
  EXPECT_TRUE(hasher_.verify(after, "password-1"));
}

}  // namespace
}  // namespace trelvis::server
