#pragma once

// The language the interface is shown in, once the user's preference has been
// resolved against the system's.

namespace trelvis {

enum class AppLanguage { english, simplifiedChinese };

}  // namespace trelvis
