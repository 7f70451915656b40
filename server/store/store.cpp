#include "server/store/store.h"

#include "base/enum_table.h"

namespace trelvis::server {
namespace {

constexpr EnumTable<PlanCode, 3> kPlanCodes{{
    {PlanCode::free, "free"},
    {PlanCode::pro, "pro"},
    {PlanCode::seed, "seed"},
}};

constexpr EnumTable<EmailCodePurpose, 2> kPurposes{{
    {EmailCodePurpose::registration, "register"},
    {EmailCodePurpose::passwordReset, "password_reset"},
}};

}  // namespace

std::string_view toString(PlanCode code) {
  return enumToString(kPlanCodes, code);
}

std::optional<PlanCode> planCodeFromString(std::string_view text) {
  return enumFromString(kPlanCodes, text);
}

std::string_view toString(EmailCodePurpose purpose) {
  return enumToString(kPurposes, purpose);
}

std::optional<EmailCodePurpose> emailCodePurposeFromString(std::string_view text) {
  return enumFromString(kPurposes, text);
}

}  // namespace trelvis::server
