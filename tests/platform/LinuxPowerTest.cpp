#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>

#include "platform/linux/LinuxPower.h"
#include "tests/platform/FakeLoginManager.h"
#include "tests/platform/PrivateBus.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class LinuxPowerTest : public testing::Test {
 protected:
  void useBus() {
    bus_.emplace(folder_.native());
    if (bus_->address().empty()) GTEST_SKIP() << "dbus-daemon isn't installed";
    address_.emplace("DBUS_SYSTEM_BUS_ADDRESS", bus_->address());
  }

  void useManager(FakeLoginManager::Answer answer) {
    useBus();
    if (IsSkipped()) return;
    manager_.emplace(bus_->address(), answer);
    if (!manager_->isReachable()) GTEST_SKIP() << "libsystemd isn't installed";
  }

  void expectNoLock() {
    LinuxPower power;
    const auto before = openDescriptors();
    EXPECT_TRUE(power.keepAwake(true));
    EXPECT_EQ(openDescriptors(), before);
    power.allowSleep();
    EXPECT_EQ(openDescriptors(), before);
  }

  TemporaryFolder folder_;
  std::optional<PrivateBus> bus_;
  std::optional<ScopedEnvironment> address_;
  std::optional<FakeLoginManager> manager_;
};

TEST_F(LinuxPowerTest, holdsALockUntilSleepIsAllowed) {
  useManager(FakeLoginManager::Answer::grant);
  if (IsSkipped()) return;
  LinuxPower power;
  const auto before = openDescriptors();
  EXPECT_TRUE(power.keepAwake(true));
  EXPECT_TRUE(manager_->nextRequest().starts_with("idle:sleep|TevraCLI|"));
  EXPECT_EQ(openDescriptors(), before + 1);
  EXPECT_TRUE(manager_->isHeld());
  power.allowSleep();
  EXPECT_TRUE(manager_->isReleased());
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LinuxPowerTest, asksForABlockingLockAndSaysWhy) {
  useManager(FakeLoginManager::Answer::grant);
  if (IsSkipped()) return;
  LinuxPower power;
  EXPECT_TRUE(power.keepAwake(false));
  EXPECT_EQ(manager_->nextRequest(), "idle:sleep|TevraCLI|A device is being worked on|block|");
}

TEST_F(LinuxPowerTest, theLockEndsWithItsOwner) {
  useManager(FakeLoginManager::Answer::grant);
  if (IsSkipped()) return;
  {
    LinuxPower power;
    EXPECT_TRUE(power.keepAwake(true));
  }
  EXPECT_TRUE(manager_->isReleased());
}

TEST_F(LinuxPowerTest, aSecondCallKeepsTheLock) {
  useManager(FakeLoginManager::Answer::grant);
  if (IsSkipped()) return;
  LinuxPower power;
  EXPECT_TRUE(power.keepAwake(true));
  const auto held = openDescriptors();
  EXPECT_TRUE(power.keepAwake(false));
  EXPECT_EQ(openDescriptors(), held);
}

TEST_F(LinuxPowerTest, aRefusalIsSilent) {
  useManager(FakeLoginManager::Answer::refuse);
  if (IsSkipped()) return;
  testing::internal::CaptureStderr();
  expectNoLock();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LinuxPowerTest, anAnswerWithoutALockIsSilent) {
  useManager(FakeLoginManager::Answer::notADescriptor);
  if (IsSkipped()) return;
  expectNoLock();
}

TEST_F(LinuxPowerTest, aManagerThatDoesNotAnswerHoldsNothingUpForLong) {
  useManager(FakeLoginManager::Answer::none);
  if (IsSkipped()) return;
  const auto start = std::chrono::steady_clock::now();
  expectNoLock();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST_F(LinuxPowerTest, aBusWithoutALoginManagerIsSilent) {
  useBus();
  if (IsSkipped()) return;
  expectNoLock();
}

TEST_F(LinuxPowerTest, aBusThatDoesNotAnswerHoldsNothingUpForLong) {
  const std::string path = (folder_.native() / "bus").string();
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof(name.sun_path));
  std::memcpy(name.sun_path, path.c_str(), path.size());
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof(name)), 0);
  ASSERT_EQ(::listen(listener, 1), 0);
  address_.emplace("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path);
  const auto start = std::chrono::steady_clock::now();
  expectNoLock();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  ::close(listener);
}

TEST_F(LinuxPowerTest, aBusThatIsNotThereIsSilent) {
  address_.emplace("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + (folder_.native() / "none").string());
  expectNoLock();
  address_.emplace("DBUS_SYSTEM_BUS_ADDRESS", "nonsense");
  expectNoLock();
}

TEST_F(LinuxPowerTest, allowingSleepWithoutALockDoesNothing) {
  LinuxPower power;
  const auto before = openDescriptors();
  power.allowSleep();
  power.allowSleep();
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
