#pragma once

#include <algorithm>
#include <string_view>

namespace ZelmoraTevra::platform {

// Equal without regard to the case of ASCII letters.
[[nodiscard]] inline bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  const auto lower = [](char unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + ('a' - 'A')) : unit;
  };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [lower](char one, char other) { return lower(one) == lower(other); });
}

}  // namespace ZelmoraTevra::platform
