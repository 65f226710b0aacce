#include "platform/linux/NativePath.h"

#include <cstddef>

#include "platform/DrivePath.h"

namespace ZelmoraTevra::platform {

namespace {

constexpr char16_t carriedBytes = 0xDC00;
constexpr char16_t carriedBackslash = carriedBytes + u'\\';

constexpr bool isHighSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}

constexpr bool isLowSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

constexpr bool carriesByte(char16_t unit) {
  return unit == carriedBackslash || (unit >= carriedBytes + 0x80 && unit <= carriedBytes + 0xFF);
}

void append(std::string& text, char32_t byte) {
  text.push_back(static_cast<char>(static_cast<unsigned char>(byte)));
}

void appendUtf8(std::string& text, char32_t codePoint) {
  if (codePoint < 0x80) {
    append(text, codePoint);
  } else if (codePoint < 0x800) {
    append(text, 0xC0 | codePoint >> 6);
    append(text, 0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    append(text, 0xE0 | codePoint >> 12);
    append(text, 0x80 | (codePoint >> 6 & 0x3F));
    append(text, 0x80 | (codePoint & 0x3F));
  } else {
    append(text, 0xF0 | codePoint >> 18);
    append(text, 0x80 | (codePoint >> 12 & 0x3F));
    append(text, 0x80 | (codePoint >> 6 & 0x3F));
    append(text, 0x80 | (codePoint & 0x3F));
  }
}

// Appends the character at `position` and moves behind it. False, with nothing appended, at a surrogate
// without its pair that carries no byte.
bool appendCharacter(std::string& text, WideView wide, std::size_t& position) {
  const char16_t unit = wide[position];
  if (isHighSurrogate(unit)) {
    if (position + 1 == wide.size() || !isLowSurrogate(wide[position + 1])) return false;
    appendUtf8(text, 0x10000 + ((unit & 0x3FFU) << 10) + (wide[position + 1] & 0x3FFU));
    position += 2;
    return true;
  }
  if (isLowSurrogate(unit)) {
    if (!carriesByte(unit)) return false;
    append(text, unit & 0xFFU);
  } else {
    appendUtf8(text, unit);
  }
  ++position;
  return true;
}

// Length of the UTF-8 sequence at the start of `bytes` with its code point, 0 if there is none.
std::size_t decodeUtf8(std::string_view bytes, char32_t& codePoint) {
  const auto at = [bytes](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
  const unsigned char first = at(0);
  if (first < 0x80) {
    codePoint = first;
    return 1;
  }
  std::size_t length = 0;
  char32_t smallest = 0;
  if ((first & 0xE0) == 0xC0) {
    length = 2;
    smallest = 0x80;
    codePoint = first & 0x1F;
  } else if ((first & 0xF0) == 0xE0) {
    length = 3;
    smallest = 0x800;
    codePoint = first & 0x0F;
  } else if ((first & 0xF8) == 0xF0) {
    length = 4;
    smallest = 0x10000;
    codePoint = first & 0x07;
  }
  if (length == 0 || bytes.size() < length) return 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((at(index) & 0xC0) != 0x80) return 0;
    codePoint = codePoint << 6 | (at(index) & 0x3FU);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  return codePoint < smallest || codePoint > 0x10FFFF || surrogate ? 0 : length;
}

WideText fromNative(std::string_view native, char16_t backslash) {
  WideText wide;
  wide.reserve(native.size());
  while (!native.empty()) {
    char32_t codePoint = 0;
    std::size_t length = decodeUtf8(native, codePoint);
    if (length == 0) {
      wide.push_back(static_cast<char16_t>(carriedBytes + static_cast<unsigned char>(native.front())));
      length = 1;
    } else if (codePoint == U'\\') {
      wide.push_back(backslash);
    } else if (codePoint < 0x10000) {
      wide.push_back(static_cast<char16_t>(codePoint));
    } else {
      wide.push_back(static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10)));
      wide.push_back(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
    }
    native.remove_prefix(length);
  }
  return wide;
}

}  // namespace

bool toNativePath(WideView path, std::string& native, boost::system::error_code& error) {
  namespace errc = boost::system::errc;
  native.clear();
  if (driveLetter(path) != 0) {
    error = errc::make_error_code(errc::no_such_file_or_directory);
    return false;
  }
  native.reserve(path.size() + path.size() / 8);
  std::size_t position = 0;
  while (position < path.size()) {
    const char16_t unit = path[position];
    if (unit == u'\\') {
      native.push_back('/');
      ++position;
    } else if (unit > 0 && unit < 0x80) {
      append(native, unit);
      ++position;
    } else if (unit == 0 || !appendCharacter(native, path, position)) {
      error = errc::make_error_code(errc::invalid_argument);
      return false;
    }
  }
  error.clear();
  return true;
}

WideText fromNativePath(std::string_view native) {
  return fromNative(native, carriedBackslash);
}

WideText fromNativeText(std::string_view native) {
  return fromNative(native, u'\\');
}

std::string toNativeText(WideView text) {
  std::string native;
  native.reserve(text.size());
  std::size_t position = 0;
  while (position < text.size()) {
    if (!appendCharacter(native, text, position)) {
      native.push_back('?');
      ++position;
    }
  }
  return native;
}

}  // namespace ZelmoraTevra::platform
