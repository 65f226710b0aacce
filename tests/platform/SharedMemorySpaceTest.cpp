#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "platform/SharedMemorySpace.h"

namespace ZelmoraTevra::platform {
namespace {

constexpr off_t blockBytes = 0x800004;

class SharedMemorySpaceTest : public testing::Test {
 protected:
  SharedMemorySpaceTest() : descriptor_(::memfd_create("tevra_test", MFD_CLOEXEC)) {}
  ~SharedMemorySpaceTest() override { ::close(descriptor_); }

  // An object of its full size, without any memory behind it.
  void makeEmpty() const {
    ASSERT_EQ(::ftruncate(descriptor_, 0), 0);
    ASSERT_EQ(::ftruncate(descriptor_, blockBytes), 0);
  }
  [[nodiscard]] bool reserve(std::uint64_t bytes) const {
    boost::interprocess::mapping_handle_t object{};
    object.handle = descriptor_;
    return reserveSharedMemory(object, bytes);
  }
  [[nodiscard]] off_t bytesWithMemory() const {
    struct stat status {};
    ::fstat(descriptor_, &status);
    return status.st_blocks * 512;
  }

  const int descriptor_;
};

// Interrupts this process twenty times.
class Interruptions {
 public:
  Interruptions() {
    left_ = 20;
    struct sigaction action = {};
    action.sa_handler = count;
    ::sigaction(SIGALRM, &action, &before_);
    setTimer(100);
  }
  ~Interruptions() {
    setTimer(0);
    ::sigaction(SIGALRM, &before_, nullptr);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

  [[nodiscard]] static bool areOver() { return left_ == 0; }

 private:
  static void setTimer(suseconds_t microseconds) {
    const itimerval timer = {{0, microseconds}, {0, microseconds}};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  }
  static void count(int) {
    if (left_ > 0) left_ = left_ - 1;
    if (left_ == 0) setTimer(0);
  }

  static inline volatile sig_atomic_t left_ = 0;
  struct sigaction before_ = {};
};

TEST_F(SharedMemorySpaceTest, AllBytesGetMemory) {
  makeEmpty();
  EXPECT_EQ(bytesWithMemory(), 0);
  EXPECT_TRUE(reserve(blockBytes));
  EXPECT_GE(bytesWithMemory(), blockBytes);
}

TEST_F(SharedMemorySpaceTest, ASignalDoesNotEndIt) {
  const Interruptions interruptions;
  while (!Interruptions::areOver()) {
    makeEmpty();
    ASSERT_TRUE(reserve(blockBytes));
  }
}

TEST_F(SharedMemorySpaceTest, WithoutAnObjectItFails) {
  boost::interprocess::mapping_handle_t none{};
  none.handle = -1;
  EXPECT_FALSE(reserveSharedMemory(none, 1));
}

}  // namespace
}  // namespace ZelmoraTevra::platform
