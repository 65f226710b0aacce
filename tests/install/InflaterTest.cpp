#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "install/Inflater.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {

namespace {

// Bytes at the end of which memory can't be touched: a step behind them ends the program.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t whole = (size + page - 1) / page * page;
    mapped_ = whole + page;
    void* const memory = ::mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    start_ = static_cast<char*>(memory);
    end_ = start_ + whole;
    ::mprotect(end_, page, PROT_NONE);
  }
  ~GuardedBytes() { ::munmap(start_, mapped_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  [[nodiscard]] char* last(std::size_t size) const { return end_ - size; }

 private:
  char* start_ = nullptr;
  char* end_ = nullptr;
  std::size_t mapped_ = 0;
};

constexpr std::size_t mostAtOnce = 70'000;

// What comes out of the data, unpacked with so many bytes offered and so much room given at a time, each up
// against memory that can't be touched. No more than `limit` bytes.
std::string unpack(Inflater& inflater, std::string_view data, std::size_t limit, std::size_t offered,
                   std::size_t room) {
  static const GuardedBytes input(mostAtOnce);
  static const GuardedBytes output(mostAtOnce);
  std::string text;
  inflater.start();
  while (inflater.state() == Inflater::State::unpacking && text.size() < limit) {
    const std::string_view piece = data.substr(0, offered);
    std::memcpy(input.last(piece.size()), piece.data(), piece.size());
    std::string_view left(input.last(piece.size()), piece.size());
    const std::size_t size = std::min(room, limit - text.size());
    const std::size_t count = inflater.unpack(left, output.last(size), size);
    text.append(output.last(size), count);
    data.remove_prefix(piece.size() - left.size());
    if (count == 0 && left.size() == piece.size()) break;
  }
  return text;
}

// Nothing if the data are damaged or cut short.
std::string unpackedByZlib(const std::string& data, std::size_t size) {
  std::string text(size, '\0');
  z_stream stream{};
  EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(size);
  const bool whole = inflate(&stream, Z_FINISH) == Z_STREAM_END;
  text.resize(whole ? size - stream.avail_out : 0);
  inflateEnd(&stream);
  return text;
}

// Texts that make for all kinds of blocks and distances.
std::string sampleText(std::mt19937& random) {
  std::string text;
  const std::size_t size = random() % 4 == 0 ? random() % 150'000 : random() % 3000;
  const std::uint32_t kind = random() % 4;
  while (text.size() < size) {
    if (kind == 0) text += static_cast<char>(random());
    if (kind == 1) text += static_cast<char>('a' + random() % 3);
    if (kind == 2) text.append(random() % 600, static_cast<char>(random()));
    if (kind == 3) {
      text += static_cast<char>(random());
      const std::size_t distance = 1 + random() % std::min<std::size_t>(text.size(), 32768);
      for (std::size_t left = random() % 300; left > 0; --left) text += text[text.size() - distance];
    }
  }
  return text;
}

std::string packedSample(const std::string& text, std::mt19937& random) {
  std::string packed(text.size() + text.size() / 8 + 1000, '\0');
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, static_cast<int>(random() % 10), Z_DEFLATED, -MAX_WBITS,
                         1 + static_cast<int>(random() % 9), static_cast<int>(random() % 5)),
            Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(packed.size() - stream.avail_out);
  deflateEnd(&stream);
  return packed;
}

std::size_t pieceSize(std::mt19937& random) {
  return 1 + random() % (random() % 3 == 0 ? 20 : mostAtOnce);
}

}  // namespace

TEST(Inflater, GivesWhatWasPackedInPiecesOfAnySize) {
  std::mt19937 random(1);
  Inflater inflater;
  for (int round = 0; round < 600; ++round) {
    const std::string text = sampleText(random);
    const std::string packed = packedSample(text, random) + std::string(random() % 5, 'x');
    ASSERT_EQ(unpack(inflater, packed, text.size() + 1, pieceSize(random), pieceSize(random)), text) << round;
    ASSERT_EQ(inflater.state(), Inflater::State::atEnd) << round;
  }
}

TEST(Inflater, StopsWhereTheRoomEnds) {
  const std::string text(1000, 'a');
  const std::string packed = ZipBuilder::deflate(text);
  Inflater inflater;
  EXPECT_EQ(unpack(inflater, packed, 999, 100, 100), std::string(999, 'a'));
  EXPECT_EQ(inflater.state(), Inflater::State::unpacking);
}

TEST(Inflater, CutOffAnywhereItWantsMore) {
  std::mt19937 random(2);
  const std::string text = sampleText(random).substr(0, 2000) + "end";
  const std::string packed = ZipBuilder::deflate(text);
  Inflater inflater;
  for (std::size_t length = 0; length < packed.size(); ++length) {
    const std::string got = unpack(inflater, packed.substr(0, length), mostAtOnce, mostAtOnce, mostAtOnce);
    ASSERT_EQ(inflater.state(), Inflater::State::unpacking) << length;
    ASSERT_EQ(got, text.substr(0, got.size())) << length;
  }
}

TEST(Inflater, DamagedDataNeitherGiveAnotherTextThanZlibNorTouchOtherMemory) {
  std::mt19937 random(3);
  Inflater inflater;
  int sound = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::string text = sampleText(random);
    text.resize(std::min<std::size_t>(text.size(), 3000));
    std::string packed = packedSample(text, random);
    const std::size_t firstBytes =
        std::min<std::size_t>(packed.size(), random() % 2 == 0 ? 60 : packed.size());
    for (std::uint32_t damages = random() % 4; damages > 0; --damages)
      packed[random() % firstBytes] = static_cast<char>(random());
    const std::string expected = unpackedByZlib(packed, 200'000);
    const std::string got = unpack(inflater, packed, 200'000, pieceSize(random), pieceSize(random));
    if (expected.empty()) continue;
    ASSERT_EQ(inflater.state(), Inflater::State::atEnd) << round;
    ASSERT_EQ(got, expected) << round;
    ++sound;
  }
  EXPECT_GT(sound, 1000);
}

TEST(Inflater, AfterDamagedDataItGivesNoMoreUntilItStartsAnew) {
  Inflater inflater;
  std::string_view bad = "\xFF\xFF\xFF\xFF";
  char room[10];
  EXPECT_EQ(inflater.unpack(bad, room, sizeof room), 0U);
  EXPECT_EQ(inflater.state(), Inflater::State::damaged);
  const std::string packed = ZipBuilder::deflate("sound");
  std::string_view good = packed;
  EXPECT_EQ(inflater.unpack(good, room, sizeof room), 0U);
  EXPECT_EQ(good, packed);
  inflater.start();
  EXPECT_EQ(inflater.unpack(good, room, sizeof room), 5U);
  EXPECT_EQ(std::string_view(room, 5), "sound");
}

TEST(Inflater, ChecksumIsThatOfZipArchivesInPiecesToo) {
  EXPECT_EQ(addToChecksum(0, "", 0), 0U);
  EXPECT_EQ(addToChecksum(0, "123456789", 9), 0xCBF43926U);
  EXPECT_EQ(addToChecksum(addToChecksum(0, "1234", 4), "56789", 5), 0xCBF43926U);
}

}  // namespace ZelmoraTevra
