#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

[[nodiscard]] constexpr bool isSeparator(char16_t unit) {
  return unit == u'/' || unit == u'\\';
}

// The upper-case letter of a path on a drive, one that begins with an ASCII letter and ":", alone or followed
// by a separator. 0 for every other path.
[[nodiscard]] constexpr char16_t driveLetter(WideView path) {
  if (path.size() < 2 || path[1] != u':' || (path.size() > 2 && !isSeparator(path[2]))) return 0;
  const char16_t letter = path[0];
  if (letter >= u'a' && letter <= u'z') return static_cast<char16_t>(letter - u'a' + u'A');
  return letter >= u'A' && letter <= u'Z' ? letter : u'\0';
}

}  // namespace ZelmoraTevra::platform
