#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <thread>

#include "platform/StandardOutput.h"
#include "platform/StandardStreams.h"

namespace ZelmoraTevra::platform {

namespace {

TEST(StandardOutputTest, aTextIsWrittenAsItIs) {
  std::string text = "E:\\ \xC3\xA4\n\n";
  text.append(1'000'000, 'x');
  testing::internal::CaptureStdout();
  writeToStandardOutput("");
  writeToStandardOutput(text);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
}

TEST(StandardOutputTest, thatNobodyReadsItIsNoFailure) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ::close(ends[0]);
  const int saved = ::dup(STDOUT_FILENO);
  ::dup2(ends[1], STDOUT_FILENO);
  struct sigaction previous = {};
  ASSERT_EQ(::sigaction(SIGPIPE, nullptr, &previous), 0);
  prepareStandardStreams();
  writeToStandardOutput("nobody reads this");
  ::close(STDOUT_FILENO);
  writeToStandardOutput("there is no output at all");
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  ::close(ends[1]);
  ASSERT_EQ(::sigaction(SIGPIPE, &previous, nullptr), 0);
}

TEST(StandardOutputTest, aPipeThatIsFullAndDoesNotWaitGetsTheWholeText) {
  std::string text;
  for (int i = 0; i < 100'000; ++i) text += std::to_string(i) + '\n';
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  ASSERT_EQ(::fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  std::string received;
  std::thread reader([&received, from = ends[0]] {
    std::array<char, 4096> block{};
    for (ssize_t count; (count = ::read(from, block.data(), block.size())) > 0;)
      received.append(block.data(), static_cast<std::size_t>(count));
  });
  const int saved = ::dup(STDOUT_FILENO);
  ::dup2(ends[1], STDOUT_FILENO);
  ::close(ends[1]);
  writeToStandardOutput(text);
  ::dup2(saved, STDOUT_FILENO);
  ::close(saved);
  reader.join();
  ::close(ends[0]);
  EXPECT_EQ(received.size(), text.size());
  EXPECT_TRUE(received == text);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
