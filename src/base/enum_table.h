#pragma once

// The raw strings of a closed enumeration live in one constexpr table of
// (case, raw string) pairs; these two lookups serve every such table, so that no
// enumeration needs a hand-written switch in several places.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

namespace trelvis {

template <class Enum, std::size_t N>
using EnumTable = std::array<std::pair<Enum, std::string_view>, N>;

// The raw string of `value`; the table must list every case.
template <class Enum, std::size_t N>
constexpr std::string_view enumToString(const EnumTable<Enum, N>& table, Enum value) {
  for (const auto& [entry, raw] : table) {
    if (entry == value) return raw;
  }
  return {};
}

// The case whose raw string is exactly `raw`.
template <class Enum, std::size_t N>
constexpr std::optional<Enum> enumFromString(const EnumTable<Enum, N>& table,
                                             std::string_view raw) {
  for (const auto& [entry, name] : table) {
    if (name == raw) return entry;
  }
  return std::nullopt;
}

}  // namespace trelvis
