#include "server/wall_clock.h"

namespace trelvis::server {

Timestamp systemTime() {
  return std::chrono::time_point_cast<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

}  // namespace trelvis::server
