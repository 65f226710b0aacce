#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <set>

#include "app/ProcessEntry.h"
#include "platform/Machine.h"
#include "tests/jobs/ProgramTest.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {
namespace {

constexpr int cleanRun = 0;
constexpr int interrupted = 99;

// Jobs that end at a chosen operation on the disk, with a device of plain folders that holds a register
// already. The clock stands still, so that a job takes no time.
class InterruptedJobTest : public ::testing::Test {
 protected:
  using Setup = std::function<void(FaultyFileSystem&)>;

  // A device as it is before the job.
  static void makeDevice(const JobProcess& job) {
    job.write("flash/ZELMORA/updates.xml", oldRegister());
    job.write("flash/games/chess.bin", "a game");
    job.write("flash/apps/navigator.bin", "an old application");
    job.write("card/maps/alps.dat", "an old map");
  }
  static std::string chessEntry() {
    return InstallDescription::registerEntry("Chess", "storage_for_software", {"games/chess.bin"});
  }
  static std::string oldRegister() { return InstallDescription::registerOf({chessEntry()}); }
  static std::string newRegister() {
    return InstallDescription::registerOf(
        {chessEntry(),
         InstallDescription::registerEntry("Navigator", "storage_for_software", {"apps/navigator.bin"}),
         InstallDescription::registerEntry("Maps", "storage_for_content", {"maps/alps.dat"})});
  }
  // Where the first update has been recorded and the second one failed.
  static std::string halfRegister() {
    return InstallDescription::registerOf(
        {chessEntry(),
         InstallDescription::registerEntry("Navigator", "storage_for_software", {"apps/navigator.bin"})});
  }
  static std::string command(const JobProcess& job) {
    CommandPackage package;
    package.zip = ZipBuilder().add("nav", "a new application").add("alps", "a new map").bytes();
    package.url = job.path("p.zip");
    package.description.update("Navigator", "storage_for_software", 17)
        .file("nav", "apps/navigator.bin", "a new application")
        .update("Maps", "storage_for_content", 9)
        .file("alps", "maps/alps.dat", "a new map");
    job.write("p.zip", package.zip);
    return CommandDocument::installPackage(job.path("flash"), job.path("card"))
        .localInstall()
        .package(package)
        .text();
  }
  static JobResult run(JobProcess& job, const Setup& setup) {
    job.simulatesMachine = false;
    job.keepsLog = false;
    return job.runInside(command(job), [&setup](int argc, const char* const* argv) {
      platform::Machine machine = platform::nativeMachine();
      UnsyncedFileSystem disk(*machine.files);
      FaultyFileSystem files(disk);
      FakeClock clock;
      machine.files = &files;
      machine.clock = &clock;
      setup(files);
      const platform::ScopedMachine scope(machine);
      return runProcess(argc, argv);
    });
  }
  static void runUndisturbed(JobProcess& job) {
    const JobResult result = run(job, [](FaultyFileSystem&) {});
    EXPECT_EQ(result.exitValue, 0) << result.last.document << result.errors;
    EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), newRegister());
    EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                       {"ZELMORA/updates.xml", md5Of(newRegister())},
                                       {"apps", "folder"},
                                       {"apps/navigator.bin", md5Of("a new application")},
                                       {"games", "folder"},
                                       {"games/chess.bin", md5Of("a game")}}))
        << "nothing is left beside the register";
    EXPECT_EQ(job.tree("card"), (Tree{{"maps", "folder"}, {"maps/alps.dat", md5Of("a new map")}}));
  }

  // The device can tell what was installed on it: one of the registers under its name, or set aside while
  // nothing has the name.
  static void expectRegister(const JobProcess& job, const std::set<std::string>& registers) {
    bool found = false;
    for (const auto& entry : std::filesystem::directory_iterator(job.path("flash/ZELMORA"))) {
      const std::string name = entry.path().filename();
      const std::string content = job.read("flash/ZELMORA/" + name);
      EXPECT_TRUE(name != "updates.xml" || registers.contains(content)) << content;
      if (registers.contains(content)) found = true;
    }
    EXPECT_TRUE(found);
  }
  // A job that goes on, or ends in order, after the first update may have brought that one to the device.
  static void expectWholeRegister(const JobProcess& job) {
    expectRegister(job, {oldRegister(), halfRegister(), newRegister()});
  }
};

TEST_F(InterruptedJobTest, AtWhicheverOperationTheProcessIsKilledTheRegisterIsWhole) {
  int killed = 0;
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE("killed at operation " + std::to_string(operation));
    JobProcess job(TEVRA_PROGRAM);
    makeDevice(job);
    const JobResult result = run(job, [operation](FaultyFileSystem& files) {
      files.before = [operation](int number, const std::string&) {
        if (number == operation) ::_exit(interrupted);
      };
    });
    // What was recorded goes to the device when all is placed, or at an orderly end; a kill is none.
    expectRegister(job, {oldRegister(), newRegister()});
    if (result.exitValue == cleanRun) break;
    ASSERT_EQ(result.exitValue, interrupted) << result.last.document << result.errors;
    ++killed;
    runUndisturbed(job);
    if (HasFatalFailure() || HasNonfatalFailure()) return;
  }
  EXPECT_GT(killed, 20);
}

TEST_F(InterruptedJobTest, WhicheverOperationFailsTheRegisterIsWhole) {
  int count = 0;
  for (int operation = 1; operation <= std::max(count, 1); ++operation) {
    SCOPED_TRACE("failing operation " + std::to_string(operation));
    JobProcess job(TEVRA_PROGRAM);
    makeDevice(job);
    const std::string counter = job.path("count");
    const JobResult result = run(job, [operation, &job](FaultyFileSystem& files) {
      files.failAt = operation;
      files.before = [&job](int number, const std::string&) { job.write("count", std::to_string(number)); };
    });
    count = std::max(count, std::stoi(job.read("count")));
    EXPECT_EQ(result.signal, 0);
    EXPECT_TRUE(result.exitValue == 0 || result.exitValue == 1 || result.exitValue == 255);
    EXPECT_TRUE(result.exitValue != 0 || job.read("flash/ZELMORA/updates.xml") == newRegister());
    expectWholeRegister(job);
    runUndisturbed(job);
    if (HasFatalFailure() || HasNonfatalFailure()) return;
  }
  EXPECT_GT(count, 20);
}

TEST_F(InterruptedJobTest, FromWhicheverOperationTheDiskIsGoneTheRegisterIsWhole) {
  int count = 1;
  for (int operation = 1; operation <= count; ++operation) {
    SCOPED_TRACE("gone from operation " + std::to_string(operation));
    JobProcess job(TEVRA_PROGRAM);
    makeDevice(job);
    const JobResult result = run(job, [operation, &job](FaultyFileSystem& files) {
      files.failAt = operation;
      files.failAllAfter = true;
      files.before = [&job](int number, const std::string&) { job.write("count", std::to_string(number)); };
    });
    count = std::max(count, std::stoi(job.read("count")));
    EXPECT_EQ(result.signal, 0);
    expectWholeRegister(job);
    runUndisturbed(job);
    if (HasFatalFailure() || HasNonfatalFailure()) return;
  }
  EXPECT_GT(count, 20);
}

TEST_F(InterruptedJobTest, AnAbortBehindThePlacementIsReportedWithTheRegisterOnTheDevice) {
  JobProcess job(TEVRA_PROGRAM);
  makeDevice(job);
  job.simulatesMachine = false;
  job.keepsLog = false;
  int sleeps = 0;
  const JobResult result = job.runInside(command(job), [&](int argc, const char* const* argv) {
    platform::Machine machine = platform::nativeMachine();
    FakeClock clock;
    clock.onSleep = [&](std::uint32_t) {
      if (++sleeps == 2) job.writeAbortFile();
    };
    machine.clock = &clock;
    const platform::ScopedMachine scope(machine);
    return runProcess(argc, argv);
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), newRegister());
  EXPECT_FALSE(job.abortFileExists());
}

}  // namespace
}  // namespace ZelmoraTevra
