#include "core/Text.h"

#include <utf8.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <limits>
#include <string>

namespace ZelmoraTevra {

namespace {

WideText widenAscii(std::string_view text) {
  return WideText(text.begin(), text.end());
}

template <typename Number, typename View>
Number scanNumber(View text) {
  std::size_t position = 0;
  while (position < text.size() &&
         (text[position] == ' ' || (text[position] >= '\t' && text[position] <= '\r')))
    ++position;
  std::string digits;
  if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
    if (text[position] == '-') digits = "-";
    ++position;
  }
  const bool negative = !digits.empty();
  while (position < text.size() && text[position] >= '0' && text[position] <= '9')
    digits += static_cast<char>(text[position++]);

  Number number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec == std::errc::result_out_of_range)
    return negative ? std::numeric_limits<Number>::min() : std::numeric_limits<Number>::max();
  return number;
}

bool isHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

WideText replaced(WideText text, char16_t from, char16_t to) {
  std::replace(text.begin(), text.end(), from, to);
  return text;
}

char16_t upperAscii(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

}  // namespace

WideText numberText(std::int64_t number) {
  return widenAscii(std::to_string(number));
}

WideText fractionText(double number) {
  return widenAscii(std::to_string(number));
}

WideText mebibyteText(double bytes) {
  constexpr double mebibytesPerByte = 9.5367431640625e-7;
  char buffer[400];
  const int length = std::snprintf(buffer, sizeof buffer, "%.2f", bytes * mebibytesPerByte);
  return widenAscii(std::string_view(buffer, static_cast<std::size_t>(length)));
}

std::int32_t textToInteger(WideView text) {
  return scanNumber<std::int32_t>(text);
}

std::int64_t textToInt64(WideView text) {
  return scanNumber<std::int64_t>(text);
}

std::int32_t textToInteger(std::string_view text) {
  return scanNumber<std::int32_t>(text);
}

std::int64_t textToInt64(std::string_view text) {
  return scanNumber<std::int64_t>(text);
}

WideText toForwardSlashes(WideText text) {
  return replaced(std::move(text), u'\\', u'/');
}

WideText toBackslashes(WideText text) {
  return replaced(std::move(text), u'/', u'\\');
}

WideText driveOfPath(const WideText& path) {
  return path.substr(0, path.find_first_of(u"/\\"));
}

WideText lastComponent(WideView path) {
  return WideText(path.substr(path.find_last_of(u"/\\") + 1));
}

WideText parentFolder(WideView path) {
  const std::size_t separator = path.find_last_of(u"/\\");
  return separator == WideView::npos ? WideText() : WideText(path.substr(0, separator));
}

std::vector<WideText> split(WideView text, char16_t separator) {
  std::vector<WideText> pieces;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(separator, start);
    pieces.emplace_back(text.substr(start, end - start));
    if (end == WideView::npos) return pieces;
    start = end + 1;
  }
}

std::string toReadableUtf8(WideView text) {
  WideText valid(text);
  for (std::size_t i = 0; i < valid.size(); ++i) {
    if (isHighSurrogate(valid[i]) && i + 1 < valid.size() && isLowSurrogate(valid[i + 1]))
      ++i;
    else if (isHighSurrogate(valid[i]) || isLowSurrogate(valid[i]))
      valid[i] = u'\uFFFD';
  }
  return toUtf8(valid);
}

WideText toReadableWide(std::string_view bytes) {
  std::string valid;
  utf8::replace_invalid(bytes.begin(), bytes.end(), std::back_inserter(valid));
  return toWide(valid);
}

WideText toUpperAscii(WideText text) {
  std::transform(text.begin(), text.end(), text.begin(), upperAscii);
  return text;
}

bool equalsIgnoringAsciiCase(WideView left, WideView right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return upperAscii(a) == upperAscii(b); });
}

}  // namespace ZelmoraTevra
