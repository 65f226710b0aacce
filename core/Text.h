#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The conversions toUtf8 and toWide come with platform/Text.h; they are the only helpers here that can throw.

[[nodiscard]] WideText numberText(std::int64_t number);
// As the C format "%f" prints it.
[[nodiscard]] WideText fractionText(double number);
// Bytes as mebibytes with two decimals.
[[nodiscard]] WideText mebibyteText(double bytes);

// Leading blanks, a sign and digits; what follows is ignored, and without digits the result is 0. A number
// beyond the type's range gives the nearest one in it.
[[nodiscard]] std::int32_t textToInteger(WideView text);
[[nodiscard]] std::int64_t textToInt64(WideView text);
[[nodiscard]] std::int32_t textToInteger(std::string_view text);
[[nodiscard]] std::int64_t textToInt64(std::string_view text);

[[nodiscard]] WideText toForwardSlashes(WideText text);
[[nodiscard]] WideText toBackslashes(WideText text);
// What stands before the first separator; the whole text if there is none.
[[nodiscard]] WideText driveOfPath(const WideText& path);
// What stands behind the last separator; the whole text if there is none.
[[nodiscard]] WideText lastComponent(WideView path);
// What stands before the last separator; empty if there is none.
[[nodiscard]] WideText parentFolder(WideView path);

// The pieces between the separators, empty ones included.
[[nodiscard]] std::vector<WideText> split(WideView text, char16_t separator);

// For texts that must be told whatever they hold, as a file name may: what is no valid text becomes U+FFFD.
[[nodiscard]] std::string toReadableUtf8(WideView text);
[[nodiscard]] WideText toReadableWide(std::string_view bytes);

// ASCII letters only: the folding that file names and digests need.
[[nodiscard]] WideText toUpperAscii(WideText text);
[[nodiscard]] bool equalsIgnoringAsciiCase(WideView left, WideView right);

}  // namespace ZelmoraTevra
