#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "platform/linux/LinuxClock.h"
#include "tests/support/ScopedEnvironment.h"

namespace ZelmoraTevra::platform {

namespace {

TEST(LinuxClockTest, secondsSinceEpochAreThoseOfTheSystem) {
  LinuxClock clock;
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const auto before = now();
  const std::int64_t seconds = clock.secondsSinceEpoch();
  // The coarse clock of the seconds may lag behind by one.
  EXPECT_GE(seconds, before - 1);
  EXPECT_LE(seconds, now());
}

TEST(LinuxClockTest, localTimeFollowsTheTimeZone) {
  LinuxClock clock;
  const ScopedEnvironment zone("TZ", "TST-5:30");
  ::tzset();
  const std::int64_t before = clock.secondsSinceEpoch();
  std::tm local = clock.localTime();
  const std::int64_t after = clock.secondsSinceEpoch();
  const std::int64_t shown = ::timegm(&local);
  EXPECT_GE(shown, before + 19'800);
  EXPECT_LE(shown, after + 19'800);
}

TEST(LinuxClockTest, anyTimeFollowsTheTimeZone) {
  LinuxClock clock;
  const ScopedEnvironment zone("TZ", "TST-5:30");
  ::tzset();
  const std::tm local = clock.localTimeAt(1'368'739'800);  // 16 May 2013, 21:30 in Greenwich
  EXPECT_EQ(local.tm_mday, 17);
  EXPECT_EQ(local.tm_hour, 3);
  EXPECT_EQ(local.tm_min, 0);
}

TEST(LinuxClockTest, ticksCountFromTheSystemsStartAndNeverGoBack) {
  LinuxClock clock;
  double upTime = 0;
  std::ifstream("/proc/uptime") >> upTime;
  const std::uint32_t first = clock.tickMilliseconds();
  // The file shows hundredths of a second, cut off or rounded.
  EXPECT_LT(static_cast<std::uint32_t>(first - static_cast<std::uint32_t>(upTime * 1000) + 10), 60'000U);
  for (int reading = 0; reading < 1000; ++reading) {
    EXPECT_LT(static_cast<std::uint32_t>(clock.tickMilliseconds() - first), 60'000U);
  }
}

TEST(LinuxClockTest, sleepLastsAtLeastAsLongAsAsked) {
  LinuxClock clock;
  const std::uint32_t before = clock.tickMilliseconds();
  clock.sleepMilliseconds(0);
  clock.sleepMilliseconds(20);
  EXPECT_GE(static_cast<std::uint32_t>(clock.tickMilliseconds() - before), 20U);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
