#include "core/Base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace ZelmoraTevra {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t invalid = 0xFF;
constexpr char endMark = '\xFF';

constexpr std::array<std::uint8_t, 256> makeValues() {
  std::array<std::uint8_t, 256> values{};
  values.fill(invalid);
  for (std::size_t i = 0; i < alphabet.size(); ++i)
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
  values[static_cast<unsigned char>('=')] = 0;
  return values;
}

constexpr std::array<std::uint8_t, 256> values = makeValues();

}  // namespace

int decodeBase64(std::string_view text, std::string& bytes) {
  bytes.clear();
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t start = 0;; start += 4) {
    std::uint32_t bits = 0;
    for (std::size_t i = start; i < start + 4; ++i) {
      if (i >= text.size()) return -1;
      if (text[i] == endMark) return i == start ? 0 : -1;
      const std::uint8_t value = values[static_cast<unsigned char>(text[i])];
      if (value == invalid) return -1;
      bits = bits << 6 | value;
    }
    const std::size_t kept = text[start + 2] == '=' ? 1 : text[start + 3] == '=' ? 2 : 3;
    for (std::size_t i = 0; i < kept; ++i) bytes += static_cast<char>(bits >> (16 - 8 * i) & 0xFF);
    if (kept < 3) return -1;
  }
}

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t start = 0; start < bytes.size(); start += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - start);
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 3; ++i)
      bits = bits << 8 | (i < count ? static_cast<unsigned char>(bytes[start + i]) : 0U);
    for (std::size_t i = 0; i < 4; ++i) text += i <= count ? alphabet[bits >> (18 - 6 * i) & 0x3F] : '=';
  }
  return text;
}

}  // namespace ZelmoraTevra
