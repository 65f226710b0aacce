#include <cstdint>

#include "install/ReadingLimit.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

constexpr std::uint64_t mebibyte = 1'048'576;
constexpr std::uint64_t gibibyte = 1024 * mebibyte;

// Has so much room as is told, and counts the questions for it.
class CountedRoom : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool space(const WideText&, platform::Space& space, platform::ErrorCode& error) override {
    ++questions;
    error.clear();
    space = {2 * free, free, free};
    return true;
  }
  std::uint64_t free = 1024 * gibibyte;
  int questions = 0;
};

}  // namespace

class ReadingLimitTest : public JobTest {
 protected:
  ReadingLimitTest() : disk(files()) { useFileSystem(disk); }

  // The largest size that is allowed, looked at in steps of 1 MiB, 64 GiB at most.
  [[nodiscard]] std::uint64_t largestRead(std::int64_t expectedSize) const {
    ReadingLimit limit(folder.path(), expectedSize);
    std::uint64_t size = 0;
    while (size < 64 * gibibyte && limit.allowsMoreBehind(size + mebibyte)) size += mebibyte;
    return size;
  }

  CountedRoom disk;
};

TEST_F(ReadingLimitTest, TheExpectedSizeAndAMebibyteAreReadWithoutALookAtTheDisk) {
  ReadingLimit limit(folder.path(), 300'000);
  EXPECT_TRUE(limit.allowsMoreBehind(1));
  EXPECT_TRUE(limit.allowsMoreBehind(300'000 + mebibyte));
  EXPECT_EQ(disk.questions, 0);
}

TEST_F(ReadingLimitTest, ASizeOfFourGibibytesMoreIsReadWhereTheDiskHasRoomForIt) {
  disk.free = 4 * gibibyte + 10 * mebibyte - 1;
  ReadingLimit limit(folder.path(), 300'000);
  const std::uint64_t size = 300'000 + mebibyte + 1;
  EXPECT_TRUE(limit.allowsMoreBehind(size));
  EXPECT_TRUE(limit.allowsMoreBehind(4 * gibibyte + 300'000));
  EXPECT_TRUE(limit.allowsMoreBehind(4 * gibibyte + 300'000 + mebibyte));
  EXPECT_EQ(disk.questions, 1);

  // The spare size stays free.
  disk.free = 4 * gibibyte - mebibyte - 1 + 10 * mebibyte - 1;
  EXPECT_FALSE(ReadingLimit(folder.path(), 300'000).allowsMoreBehind(size));
}

TEST_F(ReadingLimitTest, NoPackageIsLargerThan16Gibibytes) {
  const auto known = static_cast<std::int64_t>(mebibyte);
  EXPECT_EQ(largestRead(known), 12 * gibibyte + 2 * mebibyte);
  EXPECT_EQ(disk.questions, 3);
  EXPECT_EQ(largestRead(0), 16 * gibibyte + mebibyte);
  EXPECT_EQ(largestRead(static_cast<std::int64_t>(20 * gibibyte)), 20 * gibibyte + mebibyte);
}

TEST_F(ReadingLimitTest, ANegativeSizeCountsByItsLow32Bits) {
  const auto negative = -static_cast<std::int64_t>(gibibyte);
  EXPECT_EQ(largestRead(negative), 15 * gibibyte + mebibyte);
  EXPECT_EQ(largestRead(INT64_MIN), 16 * gibibyte + mebibyte);
  disk.free = 3 * gibibyte + 10 * mebibyte;
  EXPECT_EQ(largestRead(negative), 3 * gibibyte + mebibyte);
  disk.free = 2 * gibibyte;
  EXPECT_EQ(largestRead(negative), mebibyte);
}

TEST_F(ReadingLimitTest, WithoutAnAnswerAboutTheRoomNothingMoreIsRead) {
  ReadingLimit limit(folder.path() + u"/missing", 5);
  EXPECT_FALSE(limit.allowsMoreBehind(2 * mebibyte));
}

}  // namespace ZelmoraTevra
