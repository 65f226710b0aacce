#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/StandardStreams.h"
#include "platform/linux/LinuxProcesses.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

// A program that waits for nothing until it is ended by the destructor.
class WaitingProgram {
 public:
  // Returns when the program runs under its name: then the pipe's writing end, closed by exec, is gone.
  WaitingProgram(const std::string& executable, const std::string& firstArgument) {
    int started[2] = {};
    if (::pipe2(started, O_CLOEXEC) != 0) return;
    process_ = ::fork();
    if (process_ == 0) {
      ::execl(executable.c_str(), firstArgument.c_str(), "1000", nullptr);
      ::_exit(127);
    }
    ::close(started[1]);
    char unit = 0;
    EXPECT_EQ(::read(started[0], &unit, 1), 0);
    ::close(started[0]);
  }

  ~WaitingProgram() { end(); }
  WaitingProgram(const WaitingProgram&) = delete;
  WaitingProgram& operator=(const WaitingProgram&) = delete;

  void end() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
};

class LinuxProcessesTest : public testing::Test {
 protected:
  // A name that no other process has.
  [[nodiscard]] std::string uniqueName() const { return folder_.native().filename().string() + ".exe"; }

  static WideText wide(const std::string& text) { return toWide(text); }

  TemporaryFolder folder_;
  LinuxProcesses processes_;
};

TEST_F(LinuxProcessesTest, aProcessIsFoundByItsFirstArgument) {
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName())));
  WaitingProgram program("/bin/sleep", uniqueName());
  EXPECT_TRUE(processes_.isRunning(wide(uniqueName())));
  program.end();
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName())));
}

TEST_F(LinuxProcessesTest, onlyTheLastComponentOfTheFirstArgumentCounts) {
  for (const std::string folder : {"/opt/x/", "C:\\Program Files\\x\\", "x/y\\"}) {
    const WaitingProgram program("/bin/sleep", folder + uniqueName());
    EXPECT_TRUE(processes_.isRunning(wide(uniqueName()))) << folder;
  }
  const WaitingProgram program("/bin/sleep", uniqueName() + "/other");
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName())));
}

TEST_F(LinuxProcessesTest, aNameIsFoundInEitherCase) {
  const WaitingProgram program("/bin/sleep", "TEVRA_" + uniqueName());
  EXPECT_TRUE(processes_.isRunning(wide("tevra_" + uniqueName())));
}

TEST_F(LinuxProcessesTest, aPartOfANameIsNotTheName) {
  const WaitingProgram program("/bin/sleep", uniqueName());
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName() + "x")));
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName().substr(1))));
  EXPECT_FALSE(processes_.isRunning(u""));
}

TEST_F(LinuxProcessesTest, aProcessIsFoundByItsExecutableAlsoWhenThatWasDeleted) {
  const auto executable = folder_.native() / uniqueName();
  std::filesystem::copy_file("/bin/sleep", executable);
  const WaitingProgram program(executable.string(), "disguised");
  EXPECT_TRUE(processes_.isRunning(wide(uniqueName())));
  std::filesystem::remove(executable);
  EXPECT_TRUE(processes_.isRunning(wide(uniqueName())));
}

TEST_F(LinuxProcessesTest, aProcessThatEndedAndWasNotCollectedDoesNotRun) {
  int started[2] = {};
  ASSERT_EQ(::pipe2(started, O_CLOEXEC), 0);
  const pid_t process = ::fork();
  if (process == 0) {
    ::execl("/bin/true", uniqueName().c_str(), nullptr);
    ::_exit(127);
  }
  ::close(started[1]);
  ::close(started[0]);
  siginfo_t info{};
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(processes_.isRunning(wide(uniqueName())));
  ::waitpid(process, nullptr, 0);
}

TEST_F(LinuxProcessesTest, modulePathNamesThisProgram) {
  const std::filesystem::path path(processes_.modulePath());
  EXPECT_TRUE(path.is_absolute());
  EXPECT_TRUE(std::filesystem::equivalent(path, "/proc/self/exe"));
}

TEST_F(LinuxProcessesTest, environmentGivesTheValueOrAnEmptyText) {
  const ScopedEnvironment set("TEVRA_TEST_VALUE", "C:\\tmp/\xC3\xA9");
  EXPECT_EQ(processes_.environment(u"TEVRA_TEST_VALUE"), u"C:\\tmp/\u00E9");
  const ScopedEnvironment unset("TEVRA_TEST_VALUE", std::nullopt);
  EXPECT_EQ(processes_.environment(u"TEVRA_TEST_VALUE"), u"");
}

TEST_F(LinuxProcessesTest, theErrorBoxIsOneLineOnStandardErrorWithItsCaptionInFront) {
  testing::internal::CaptureStderr();
  processes_.showErrorBox(u"ZELMORA", u"Wrong parameters.");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ZELMORA: Wrong parameters.\n");
}

TEST_F(LinuxProcessesTest, theErrorBoxWithoutACaptionIsTheTextAlone) {
  testing::internal::CaptureStderr();
  processes_.showErrorBox(u"", u"Wrong\nparameters.");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Wrong parameters.\n");
}

TEST_F(LinuxProcessesTest, anErrorBoxThatNobodyReadsEndsNoJob) {
  const auto tellNobody = [this] {
    prepareStandardStreams();
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) std::_Exit(1);
    ::close(ends[0]);
    ::dup2(ends[1], STDERR_FILENO);
    processes_.showErrorBox(u"ZELMORA", u"Wrong parameters.");
    std::_Exit(7);
  };
  EXPECT_EXIT(tellNobody(), testing::ExitedWithCode(7), "");
}

TEST_F(LinuxProcessesTest, endGivesTheExitValueAsTheSystemShowsIt) {
  EXPECT_EXIT(processes_.end(1), testing::ExitedWithCode(1), "");
  EXPECT_EXIT(processes_.end(-1), testing::ExitedWithCode(255), "");
}

}  // namespace

}  // namespace ZelmoraTevra::platform
