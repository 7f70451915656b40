#pragma once

// Readable gtest output for the values of the account session.

#include <ostream>

#include <gtest/gtest.h>

#include "core/account/auth_session_types.h"

namespace trelvis {

inline void PrintTo(const AuthUser& user, std::ostream* os) {
  *os << user.id << " <" << user.email << ">";
}

inline void PrintTo(const AuthSessionSnapshot& snapshot, std::ostream* os) {
  *os << (snapshot.isAuthenticated ? "signed in" : "signed out");
  if (snapshot.user) *os << " as " << ::testing::PrintToString(*snapshot.user);
}

inline void PrintTo(const AuthSessionError& error, std::ostream* os) {
  *os << error.what();
}

template <class T>
void PrintTo(const tl::expected<T, AuthSessionError>& result, std::ostream* os) {
  if (!result) {
    PrintTo(result.error(), os);
  } else if constexpr (std::is_void_v<T>) {
    *os << "success";
  } else {
    *os << ::testing::PrintToString(*result);
  }
}

}  // namespace trelvis
