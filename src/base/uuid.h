#pragma once

// Uuid is a 128-bit identifier as used for installation, device and request
// identifiers. New ones are random (version 4); text is the upper-case
// 8-4-4-4-12 hexadecimal form, and parsing accepts either case.

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace trelvis {

class Uuid {
 public:
  using Bytes = std::array<uint8_t, 16>;

  // The nil UUID, all zeros.
  constexpr Uuid() = default;
  constexpr explicit Uuid(const Bytes& bytes) : bytes_(bytes) {}

  static Uuid random();
  static std::optional<Uuid> parse(std::string_view text);

  constexpr const Bytes& bytes() const { return bytes_; }
  std::string toString() const;

  friend constexpr bool operator==(const Uuid&, const Uuid&) = default;
  friend constexpr auto operator<=>(const Uuid&, const Uuid&) = default;

 private:
  Bytes bytes_{};
};

}  // namespace trelvis

template <>
struct std::hash<trelvis::Uuid> {
  std::size_t operator()(const trelvis::Uuid& uuid) const noexcept;
};
