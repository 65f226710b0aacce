#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "core/SaturatingInt64.h"

namespace ZelmoraTevra {
namespace {

constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

std::int64_t sum(std::int64_t left, std::int64_t right) {
  return (SaturatingInt64(left) + right).value();
}

std::int64_t difference(std::int64_t left, std::int64_t right) {
  return (SaturatingInt64(left) - right).value();
}

TEST(SaturatingInt64, CountsLikeAPlainNumberWithinTheRange) {
  EXPECT_EQ(sum(2, 3), 5);
  EXPECT_EQ(sum(-2, -3), -5);
  EXPECT_EQ(difference(2, 3), -1);
  EXPECT_EQ(difference(-2, -3), 1);
  EXPECT_EQ(sum(highest, lowest), -1);
  EXPECT_EQ(difference(highest, highest), 0);
  EXPECT_EQ(difference(lowest, lowest), 0);
}

TEST(SaturatingInt64, ReachesTheEndsExactly) {
  EXPECT_EQ(sum(highest - 1, 1), highest);
  EXPECT_EQ(sum(lowest + 1, -1), lowest);
  EXPECT_EQ(difference(highest - 1, -1), highest);
  EXPECT_EQ(difference(lowest + 1, 1), lowest);
  EXPECT_EQ(difference(-1, lowest), highest);
}

TEST(SaturatingInt64, StopsAtTheEnds) {
  EXPECT_EQ(sum(highest, 1), highest);
  EXPECT_EQ(sum(highest, highest), highest);
  EXPECT_EQ(sum(lowest, -1), lowest);
  EXPECT_EQ(sum(lowest, lowest), lowest);
  EXPECT_EQ(difference(0, lowest), highest);
  EXPECT_EQ(difference(highest, -1), highest);
  EXPECT_EQ(difference(highest, lowest), highest);
  EXPECT_EQ(difference(lowest, 1), lowest);
  EXPECT_EQ(difference(lowest, highest), lowest);
}

TEST(SaturatingInt64, IsOrderedByItsValue) {
  EXPECT_LT(SaturatingInt64(-1), SaturatingInt64(0));
  EXPECT_EQ(SaturatingInt64(7), SaturatingInt64(7));
  EXPECT_EQ(SaturatingInt64(), SaturatingInt64(0));
}

}  // namespace
}  // namespace ZelmoraTevra
