#pragma once

// The server's one rule for an email address from the network: trimmed of white
// space, the domain in lower case (the local part is the mailbox's own business and
// keeps its case), and a plausible shape: one "@", a non-empty local part, a domain
// of at least two non-empty dot-separated labels, no white space or control
// characters, at most 254 bytes. Accounts are keyed by the normalised form.

#include <optional>
#include <string>
#include <string_view>

namespace trelvis::server {

// The normalised address, or nothing when `text` is not a plausible address.
std::optional<std::string> normalizedEmailAddress(std::string_view text);

}  // namespace trelvis::server
