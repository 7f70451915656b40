#pragma once

// File operations that the file-backed stores share: where the user's
// configuration lives, creating a directory with its parents, and replacing a
// file in one step so that a reader or a crash sees either the old version or
// the new one, never a mix. Plain functions; each failure is logged under the
// caller's category with the path and the system's reason.

#include <sys/types.h>

#include <filesystem>
#include <string_view>

#include "base/environment.h"

namespace trelvis {

class LogCategory;

// $XDG_CONFIG_HOME when it is an absolute path, else $HOME/.config (the home
// directory from the user database when HOME is not set).
std::filesystem::path xdgConfigHome(const EnvironmentLookup& environment);

// Creates `directory` and each missing parent with `mode`. True when it exists
// as a directory afterwards.
bool createDirectories(const std::filesystem::path& directory, mode_t mode, const LogCategory& log);

// Writes `contents` to a temporary file "<path>.tmp-XXXXXX" beside `path`, flushes
// it to disk, gives it `mode` and renames it over `path`, then flushes the
// directory so that the rename itself survives a crash. On failure the temporary
// file is removed and `path` is left as it was.
bool writeFileAtomically(const std::filesystem::path& path, std::string_view contents, mode_t mode,
                         const LogCategory& log);

// The infix of the temporary files, for callers that clear away those of a
// writer that died.
inline constexpr std::string_view kAtomicWriteTemporaryInfix = ".tmp-";

}  // namespace trelvis
