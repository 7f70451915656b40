#include "core/membership/membership_status_api_client.h"

#include <utility>

#include "base/async/run_on.h"
#include "core/membership/json_record_fetch.h"

namespace trelvis {
namespace {

const LogCategory kLog("membership");

}  // namespace

MembershipStatusAPIClient::MembershipStatusAPIClient(std::shared_ptr<Executor> executor,
                                                     std::shared_ptr<AccessTokenProviding> auth,
                                                     std::shared_ptr<HttpTransport> transport,
                                                     const Url& baseURL)
    : executor_(std::move(executor)),
      auth_(std::move(auth)),
      transport_(std::move(transport)),
      url_(stripTrailingSlash(baseURL)
               .appendingPathComponent("v1")
               .appendingPathComponent("account")
               .appendingPathComponent("status")) {}

Async<MembershipStatus> MembershipStatusAPIClient::fetch() {
  return runOn(executor_, [auth = auth_, transport = transport_, url = url_] {
    return fetchJSONRecord<MembershipStatusAPIError>(*auth, *transport, url, kLog,
                                                     decodeMembershipStatus);
  });
}

}  // namespace trelvis
