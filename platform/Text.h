#pragma once

#include <string>
#include <string_view>

namespace ZelmoraTevra {

// Paths, messages and every text that comes from or goes to a user: UTF-16.
using WideText = std::u16string;
using WideView = std::u16string_view;

// Both throw an exception of the UTF-8 library (derived from std::exception) at an invalid sequence.
[[nodiscard]] std::string toUtf8(WideView text);
[[nodiscard]] WideText toWide(std::string_view utf8);

}  // namespace ZelmoraTevra
