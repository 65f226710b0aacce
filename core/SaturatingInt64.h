#pragma once

#include <compare>
#include <cstdint>
#include <limits>

namespace ZelmoraTevra {

// A 64-bit number whose sums and differences stop at the ends of the range. For sizes that a package or a
// document claims: added up, they may be anything.
class SaturatingInt64 {
 public:
  constexpr SaturatingInt64() = default;
  // Implicit, so that a formula reads like one of plain numbers.
  constexpr SaturatingInt64(std::int64_t value) : value_(value) {}

  [[nodiscard]] constexpr std::int64_t value() const { return value_; }

  constexpr SaturatingInt64& operator+=(SaturatingInt64 other) {
    if (other.value_ > 0 && value_ > highest - other.value_)
      value_ = highest;
    else if (other.value_ < 0 && value_ < lowest - other.value_)
      value_ = lowest;
    else
      value_ += other.value_;
    return *this;
  }

  constexpr SaturatingInt64& operator-=(SaturatingInt64 other) {
    if (other.value_ < 0 && value_ > highest + other.value_)
      value_ = highest;
    else if (other.value_ > 0 && value_ < lowest + other.value_)
      value_ = lowest;
    else
      value_ -= other.value_;
    return *this;
  }

  [[nodiscard]] friend constexpr SaturatingInt64 operator+(SaturatingInt64 left, SaturatingInt64 right) {
    return left += right;
  }
  [[nodiscard]] friend constexpr SaturatingInt64 operator-(SaturatingInt64 left, SaturatingInt64 right) {
    return left -= right;
  }
  [[nodiscard]] friend constexpr auto operator<=>(SaturatingInt64, SaturatingInt64) = default;

 private:
  static constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  static constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

  std::int64_t value_ = 0;
};

}  // namespace ZelmoraTevra
