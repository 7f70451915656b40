#include "core/account/auth_session_types.h"

#include "base/enum_table.h"

namespace trelvis {
namespace {

constexpr EnumTable<EmailCodePurpose, 2> kPurposes{{
    {EmailCodePurpose::registration, "register"},
    {EmailCodePurpose::passwordReset, "password_reset"},
}};

}  // namespace

std::string_view toString(EmailCodePurpose purpose) {
  return enumToString(kPurposes, purpose);
}

}  // namespace trelvis
