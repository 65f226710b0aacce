#include "core/MD5.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace setup2 {

namespace {

// Each round mixes one word of the block into the state. F, G, H, I are the four mixing functions; G is
// written as a sum of two disjoint terms, of which only one waits for the round before.
struct F {
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) { return d ^ (b & (c ^ d)); }
};
struct G {
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) { return (c & ~d) + (b & d); }
};
struct H {
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) { return b ^ (c ^ d); }
};
struct I {
  static std::uint32_t mix(std::uint32_t b, std::uint32_t c, std::uint32_t d) { return c ^ (b | ~d); }
};

template <typename Function, int shift>
inline void step(std::uint32_t& a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t word,
                 std::uint32_t constant) {
  a = b + std::rotl(a + word + constant + Function::mix(b, c, d), shift);
}

template <typename Function, int s0, int s1, int s2, int s3>
inline void fourSteps(std::array<std::uint32_t, 4>& s, std::uint32_t w0, std::uint32_t k0, std::uint32_t w1,
                      std::uint32_t k1, std::uint32_t w2, std::uint32_t k2, std::uint32_t w3,
                      std::uint32_t k3) {
  step<Function, s0>(s[0], s[1], s[2], s[3], w0, k0);
  step<Function, s1>(s[3], s[0], s[1], s[2], w1, k1);
  step<Function, s2>(s[2], s[3], s[0], s[1], w2, k2);
  step<Function, s3>(s[1], s[2], s[3], s[0], w3, k3);
}

std::uint32_t wordAt(const unsigned char* data) {
  std::uint32_t word;
  std::memcpy(&word, data, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
  return word;
}

void storeWord(unsigned char* data, std::uint32_t word) {
  for (int i = 0; i < 4; ++i) data[i] = static_cast<unsigned char>(word >> (8 * i) & 0xFF);
}

}  // namespace

void MD5::reset() {
  state_ = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};
  pendingBytes_ = 0;
  totalBytes_ = 0;
}

void MD5::add(const void* data, std::size_t size) {
  const unsigned char* bytes = static_cast<const unsigned char*>(data);
  totalBytes_ += size;
  if (pendingBytes_ > 0) {
    const std::size_t taken = std::min(size, blockBytes - pendingBytes_);
    std::memcpy(pending_.data() + pendingBytes_, bytes, taken);
    pendingBytes_ += taken;
    bytes += taken;
    size -= taken;
    if (pendingBytes_ < blockBytes) return;
    addBlocks(pending_.data(), 1);
    pendingBytes_ = 0;
  }
  addBlocks(bytes, size / blockBytes);
  pendingBytes_ = size % blockBytes;
  if (pendingBytes_ > 0) std::memcpy(pending_.data(), bytes + size - pendingBytes_, pendingBytes_);
}

void MD5::finish() {
  const std::uint64_t bits = totalBytes_ * 8;
  static constexpr unsigned char padding[blockBytes] = {0x80};
  const std::size_t lengthAt = blockBytes - 8;
  add(padding, pendingBytes_ < lengthAt ? lengthAt - pendingBytes_ : blockBytes + lengthAt - pendingBytes_);
  unsigned char length[8];
  storeWord(length, static_cast<std::uint32_t>(bits));
  storeWord(length + 4, static_cast<std::uint32_t>(bits >> 32));
  add(length, sizeof length);

  text_.clear();
  for (const std::uint32_t word : state_) {
    unsigned char bytes[4];
    storeWord(bytes, word);
    for (const unsigned char byte : bytes) {
      text_ += u"0123456789ABCDEF"[byte >> 4];
      text_ += u"0123456789ABCDEF"[byte & 0x0F];
    }
  }
  reset();
}

void MD5::addBlocks(const unsigned char* data, std::size_t count) {
  std::array<std::uint32_t, 4> total = state_;
  for (; count > 0; --count, data += blockBytes) {
    std::array<std::uint32_t, 16> w;
    for (std::size_t i = 0; i < w.size(); ++i) w[i] = wordAt(data + 4 * i);
    std::array<std::uint32_t, 4> s = total;

    fourSteps<F, 7, 12, 17, 22>(s, w[0], 0xD76AA478, w[1], 0xE8C7B756, w[2], 0x242070DB, w[3], 0xC1BDCEEE);
    fourSteps<F, 7, 12, 17, 22>(s, w[4], 0xF57C0FAF, w[5], 0x4787C62A, w[6], 0xA8304613, w[7], 0xFD469501);
    fourSteps<F, 7, 12, 17, 22>(s, w[8], 0x698098D8, w[9], 0x8B44F7AF, w[10], 0xFFFF5BB1, w[11], 0x895CD7BE);
    fourSteps<F, 7, 12, 17, 22>(s, w[12], 0x6B901122, w[13], 0xFD987193, w[14], 0xA679438E, w[15],
                                0x49B40821);

    fourSteps<G, 5, 9, 14, 20>(s, w[1], 0xF61E2562, w[6], 0xC040B340, w[11], 0x265E5A51, w[0], 0xE9B6C7AA);
    fourSteps<G, 5, 9, 14, 20>(s, w[5], 0xD62F105D, w[10], 0x02441453, w[15], 0xD8A1E681, w[4], 0xE7D3FBC8);
    fourSteps<G, 5, 9, 14, 20>(s, w[9], 0x21E1CDE6, w[14], 0xC33707D6, w[3], 0xF4D50D87, w[8], 0x455A14ED);
    fourSteps<G, 5, 9, 14, 20>(s, w[13], 0xA9E3E905, w[2], 0xFCEFA3F8, w[7], 0x676F02D9, w[12], 0x8D2A4C8A);

    fourSteps<H, 4, 11, 16, 23>(s, w[5], 0xFFFA3942, w[8], 0x8771F681, w[11], 0x6D9D6122, w[14], 0xFDE5380C);
    fourSteps<H, 4, 11, 16, 23>(s, w[1], 0xA4BEEA44, w[4], 0x4BDECFA9, w[7], 0xF6BB4B60, w[10], 0xBEBFBC70);
    fourSteps<H, 4, 11, 16, 23>(s, w[13], 0x289B7EC6, w[0], 0xEAA127FA, w[3], 0xD4EF3085, w[6], 0x04881D05);
    fourSteps<H, 4, 11, 16, 23>(s, w[9], 0xD9D4D039, w[12], 0xE6DB99E5, w[15], 0x1FA27CF8, w[2], 0xC4AC5665);

    fourSteps<I, 6, 10, 15, 21>(s, w[0], 0xF4292244, w[7], 0x432AFF97, w[14], 0xAB9423A7, w[5], 0xFC93A039);
    fourSteps<I, 6, 10, 15, 21>(s, w[12], 0x655B59C3, w[3], 0x8F0CCC92, w[10], 0xFFEFF47D, w[1], 0x85845DD1);
    fourSteps<I, 6, 10, 15, 21>(s, w[8], 0x6FA87E4F, w[15], 0xFE2CE6E0, w[6], 0xA3014314, w[13], 0x4E0811A1);
    fourSteps<I, 6, 10, 15, 21>(s, w[4], 0xF7537E82, w[11], 0xBD3AF235, w[2], 0x2AD7D2BB, w[9], 0xEB86D391);

    for (std::size_t i = 0; i < total.size(); ++i) total[i] += s[i];
  }
  state_ = total;
}

}  // namespace setup2
