#pragma once

// MembershipStatusAPIClient: GET "/v1/account/status" for the signed-in user.
// It runs each fetch on a serial executor of its own and keeps nothing between
// calls. The status store sees it through MembershipStatusServing.

#include <memory>

#include "base/async/async.h"
#include "core/membership/authenticated_endpoint.h"
#include "core/membership/membership_status.h"

namespace trelvis {

class MembershipStatusServing {
 public:
  virtual ~MembershipStatusServing() = default;
  // The status as decoded, valid or not; raises MembershipStatusAPIError.
  virtual Async<MembershipStatus> fetch() = 0;
};

class MembershipStatusAPIClient final : public MembershipStatusServing {
 public:
  MembershipStatusAPIClient(std::shared_ptr<Executor> executor,
                            std::shared_ptr<AccessTokenProviding> auth,
                            std::shared_ptr<HttpTransport> transport, const Url& baseURL);

  Async<MembershipStatus> fetch() override;

 private:
  AuthenticatedEndpoint endpoint_;
};

}  // namespace trelvis
