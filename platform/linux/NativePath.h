#pragma once

#include <boost/system/error_code.hpp>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

// Linux names are bytes, the program's paths wide text. What a name holds that a path can't say is carried by
// unpaired low surrogates, so that every name in a listing leads back to its file: a byte that isn't UTF-8 is
// U+DC80 to U+DCFF (U+DC00 plus the byte), and a "\", which in a path is a separator, is U+DC5C.

// The path in the system's form, "/" between its components. False with `error` set if the path names nothing
// here: one on a drive (no such file), one with a NUL or with a surrogate that stands for no byte (invalid
// argument).
[[nodiscard]] bool toNativePath(WideView path, std::string& native, boost::system::error_code& error);

// A name or path that the system gave.
[[nodiscard]] WideText fromNativePath(std::string_view native);

// A text that the system gave and that may hold "\" as such, as an environment variable does.
[[nodiscard]] WideText fromNativeText(std::string_view native);

// A text for a person: what can't be said in UTF-8 becomes "?".
[[nodiscard]] std::string toNativeText(WideView text);

}  // namespace ZelmoraTevra::platform
