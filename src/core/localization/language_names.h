#pragma once

// Names of languages in the interface's language, for the language line of the
// lookup card and for any view that names a language by its code. The names are
// built-in tables, so they read the same on every machine whatever locale data
// is installed. Plain functions over constant tables: usable from any thread.

#include <optional>
#include <string>
#include <string_view>

#include "core/localization/app_language.h"

namespace trelvis {

// The canonical code of a language tag such as "en-US", "zh_Hans_CN" or " PT-br ":
// the language subtag in lower case ("en", "pt"), except for Chinese, which keeps
// its script because the two scripts read as different languages: "zh-Hant" for a
// traditional script or a region that writes it (Taiwan, Hong Kong, Macao),
// "zh-Hans" otherwise. Subtags may be separated by "-" or "_", in any case, with
// white space around the tag. Nothing for an empty or malformed tag, or one that
// names no particular language ("und").
std::optional<std::string> canonicalLanguageCode(std::string_view tag);

// The name of the language with canonical `code` as an interface in `appLanguage`
// shows it ("en" -> "English" or "英语"), or nothing when the tables do not know
// the code.
std::optional<std::string_view> languageDisplayName(std::string_view code, AppLanguage appLanguage);

}  // namespace trelvis
