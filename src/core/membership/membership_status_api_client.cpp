#include "core/membership/membership_status_api_client.h"

#include <utility>

#include "core/membership/json_record_fetch.h"

namespace trelvis {

MembershipStatusAPIClient::MembershipStatusAPIClient(std::shared_ptr<Executor> executor,
                                                     std::shared_ptr<AccessTokenProviding> auth,
                                                     std::shared_ptr<HttpTransport> transport,
                                                     const Url& baseURL)
    : endpoint_(std::move(executor), std::move(auth), std::move(transport), baseURL,
                {"v1", "account", "status"}) {}

Async<MembershipStatus> MembershipStatusAPIClient::fetch() {
  static const LogCategory log("membership");
  return fetchJSONRecord<MembershipStatusAPIError>(endpoint_, log, decodeMembershipStatus);
}

}  // namespace trelvis
