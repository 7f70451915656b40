#pragma once

// The resident memory of this process, for the probes that report start-up cost.

#include <fstream>
#include <string>

inline long residentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return -1;
}
