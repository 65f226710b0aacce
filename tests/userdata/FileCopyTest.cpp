#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"
#include "tests/support/SmallVolume.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const UserCopySettings settings{.state = statImportKmlInProgress, .blockBytes = 1000};

class FileCopyTest : public JobTest {
 protected:
  FileCopyTest() {
    makeFolder(path(u"to"));
    writeFile(source, content);
    ProgressObserver::instance().load({{content.size(), source, destination, 0}});
    // The first snapshot is due at once; it isn't one of the copy's operations.
    ProgressObserver::instance().addProgress(0, statImportKmlInProgress);
  }
  CopyResult copy() { return copyUserFile(source, destination, settings); }
  void expectReport(const WideText& exitCode, const WideText& message) {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_THAT(saved.descriptions, ElementsAre(u"100", message));
    EXPECT_EQ(saved.exitCode(), exitCode);
  }
  void requestAbort() {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  [[nodiscard]] static UserCopySettings makingWay(const WideText& old) {
    return {.state = statImportKmlInProgress, .makesWay = old};
  }
  [[nodiscard]] std::vector<std::string> copied() { return tree(path(u"to")); }

  const std::string content = std::string(3500, 'n');
  const WideText source = path(u"from/source");
  const WideText destination = path(u"to/copy");
};

TEST_F(FileCopyTest, CopiesAFileAndLeavesNothingBeside) {
  for (const std::size_t size : {0, 1, 999, 1000, 1001, 3500}) {
    writeFile(source, std::string(size, 'x'));
    EXPECT_EQ(copy(), CopyResult::done);
    EXPECT_EQ(readFile(destination), std::string(size, 'x'));
    EXPECT_THAT(copied(), ElementsAre("copy"));
  }
}

TEST_F(FileCopyTest, ReplacesAFile) {
  writeFile(destination, "old");
  EXPECT_EQ(copy(), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
  EXPECT_THAT(copied(), ElementsAre("copy"));
}

TEST_F(FileCopyTest, ReplacesAFileThatIsMarkedAsReadOnly) {
  writeFile(destination, "old");
  std::filesystem::permissions(folder.native() / "to/copy", std::filesystem::perms::owner_read);
  EXPECT_EQ(copy(), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(FileCopyTest, ReportsTheProgressInTheStateOfTheJob) {
  clock.ticks += 1001;
  EXPECT_EQ(copy(), CopyResult::done);
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, statImportKmlInProgress);
  EXPECT_EQ(saved.descriptions.at(3), u"1000 / 3500");
}

TEST_F(FileCopyTest, AMissingSourceIs1187) {
  writeFile(destination, "old");
  EXPECT_EQ(copyUserFile(path(u"none"), destination, settings), CopyResult::cannotOpenSource);
  expectReport(u"1187", u"Could not open the sources file!");
  EXPECT_EQ(status().attributes.at(u"FILE"), path(u"none"));
  EXPECT_EQ(readFile(destination), "old");
}

TEST_F(FileCopyTest, AFolderThatIsntThereForTheDestinationIs1188) {
  EXPECT_EQ(copyUserFile(source, path(u"gone/copy"), settings), CopyResult::cannotCreateDestination);
  expectReport(u"1188", u"Could not create the destination file!");
  EXPECT_EQ(status().attributes.at(u"FILE"), path(u"gone/copy"));
  EXPECT_EQ(status().attributes.at(u"PATH"), path(u"gone"));
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "gone"));
}

TEST_F(FileCopyTest, AFolderAtTheDestinationIs1188AndStays) {
  writeFile(path(u"to/copy/file"), "x");
  EXPECT_EQ(copy(), CopyResult::cannotCreateDestination);
  EXPECT_EQ(status().exitCode(), u"1188");
  EXPECT_THAT(copied(), ElementsAre("copy/", "copy/file"));
}

TEST_F(FileCopyTest, AFileIsNeverCopiedOntoItself) {
  EXPECT_EQ(copyUserFile(source, source, settings), CopyResult::cannotCreateDestination);
  std::filesystem::create_symlink("../from/source", folder.native() / "to/copy");
  EXPECT_EQ(copy(), CopyResult::cannotCreateDestination);
  EXPECT_EQ(readFile(source), content);
}

TEST_F(FileCopyTest, LinksOnTheDeviceAreReplacedAndNotWrittenThrough) {
  writeFile(path(u"mine/letter"), "a letter");
  std::filesystem::create_symlink("../mine/letter", folder.native() / "to/copy");
  std::filesystem::create_symlink("../mine/letter",
                                  folder.native() / "to" / toUtf8(WideText(unfinishedCopyName)));
  EXPECT_EQ(copy(), CopyResult::done);
  EXPECT_EQ(readFile(path(u"mine/letter")), "a letter");
  EXPECT_EQ(readFile(destination), content);
  EXPECT_THAT(copied(), ElementsAre("copy"));
}

TEST_F(FileCopyTest, WhatACutOffCopyHasLeftMakesWay) {
  writeFile(path(u"to/") + WideText(unfinishedCopyName), std::string(10'000, 'h'));
  EXPECT_EQ(copy(), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
  EXPECT_THAT(copied(), ElementsAre("copy"));
}

TEST_F(FileCopyTest, AnAbortIsTheLastStatusAndKeepsTheOldFile) {
  writeFile(destination, "old");
  requestAbort();
  EXPECT_EQ(copy(), CopyResult::aborted);
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_THAT(copied(), ElementsAre("copy"));
  EXPECT_EQ(readFile(destination), "old");
}

TEST_F(FileCopyTest, WhicheverOperationFailsTheOldFileOrTheNewOneStandsThereWhole) {
  for (const bool goneForGood : {false, true}) {
    for (int failAt = 1;; ++failAt) {
      SCOPED_TRACE(failAt);
      ASSERT_LT(failAt, 50);
      writeFile(destination, "old");
      FaultyFileSystem faulty(files());
      faulty.failAt = failAt;
      faulty.failAllAfter = goneForGood;
      useFileSystem(faulty);
      const CopyResult result = copy();
      useFileSystem(files());
      const int count = faulty.count;
      const std::string left = readFile(destination);
      std::filesystem::remove(folder.native() / "to" / toUtf8(WideText(unfinishedCopyName)));
      if (result == CopyResult::done && count < failAt) break;
      EXPECT_TRUE(left == "old" || left == content);
    }
  }
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(FileCopyTest, AFailureInTheMiddleIs1189) {
  FaultyFileSystem faulty(files());
  faulty.failAt = 2;  // the first write
  useFileSystem(faulty);
  EXPECT_EQ(copy(), CopyResult::failed);
  useFileSystem(files());
  expectReport(u"1189", u"An error occurred at the copy process!");
  EXPECT_THAT(copied(), IsEmpty());
}

TEST_F(FileCopyTest, WheneverTheProcessIsKilledTheOldFileOrTheNewOneStandsThereWhole) {
  for (int killAt = 1;; ++killAt) {
    SCOPED_TRACE(killAt);
    ASSERT_LT(killAt, 50);
    writeFile(destination, "old");
    const bool ended = runsToItsEnd([&] {
      FaultyFileSystem killing(files());
      killing.before = [&](int number, const std::string&) {
        if (number == killAt) dieHere();
      };
      useFileSystem(killing);
      (void)copy();
    });
    const std::string left = readFile(destination);
    EXPECT_TRUE(left == "old" || left == content);
    if (ended) break;
  }
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(FileCopyTest, WithoutRoomForBothTheOldFileStays) {
  const SmallVolume volume(folder.native() / "to", 64 * 1024);
  if (!volume.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  writeFile(destination, std::string(40'000, 'o'));
  writeFile(source, std::string(40'000, 'n'));
  EXPECT_EQ(copy(), CopyResult::failed);
  EXPECT_EQ(status().exitCode(), u"1189");
  EXPECT_THAT(copied(), ElementsAre("copy"));
  EXPECT_TRUE(readFile(destination) == std::string(40'000, 'o'));
}

TEST_F(FileCopyTest, AVolumeThatFillsUpInTheMiddleOfALargeFileKeepsTheOldOne) {
  const SmallVolume volume(folder.native() / "to", 1'500'000);
  if (!volume.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  writeFile(destination, std::string(500'000, 'o'));
  writeFile(source, std::string(2'000'000, 'n'));
  EXPECT_EQ(copyUserFile(source, destination, {.state = statImportKmlInProgress}), CopyResult::failed);
  EXPECT_EQ(status().exitCode(), u"1189");
  EXPECT_THAT(copied(), ElementsAre("copy"));
  EXPECT_TRUE(readFile(destination) == std::string(500'000, 'o'));
}

TEST_F(FileCopyTest, AFileThatMakesWayGoesBeforeTheCopyIsBegun) {
  const SmallVolume volume(folder.native() / "to", 64 * 1024);
  if (!volume.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  writeFile(source, std::string(40'000, 'n'));
  for (const WideText old : {u"to/old", u"to/copy"}) {
    writeFile(path(old), std::string(40'000, 'o'));
    EXPECT_EQ(copyUserFile(source, destination, makingWay(path(old))), CopyResult::done);
    EXPECT_TRUE(readFile(destination) == std::string(40'000, 'n'));
    EXPECT_THAT(copied(), ElementsAre("copy"));
    std::filesystem::remove(folder.native() / "to/copy");
  }
}

TEST_F(FileCopyTest, AFileThatMakesWayStaysIfTheCopyCantBeMadeAnyhow) {
  const WideText old = path(u"to/old");
  writeFile(old, "old");
  EXPECT_EQ(copyUserFile(path(u"none"), destination, makingWay(old)), CopyResult::cannotOpenSource);
  EXPECT_EQ(copyUserFile(source, path(u"gone/copy"), makingWay(old)), CopyResult::cannotCreateDestination);
  EXPECT_EQ(copyUserFile(old, destination, makingWay(old)), CopyResult::cannotCreateDestination);
  makeFolder(destination);
  EXPECT_EQ(copyUserFile(source, destination, makingWay(old)), CopyResult::cannotCreateDestination);
  std::filesystem::remove(folder.native() / "to/copy");
  FaultyFileSystem faulty(files());
  faulty.failAt = 1;  // the test for writing
  useFileSystem(faulty);
  EXPECT_EQ(copyUserFile(source, destination, makingWay(old)), CopyResult::cannotCreateDestination);
  useFileSystem(files());
  requestAbort();
  EXPECT_EQ(copyUserFile(source, destination, makingWay(old)), CopyResult::aborted);
  EXPECT_EQ(status().state, 8);
  EXPECT_THAT(copied(), ElementsAre("old"));
  EXPECT_EQ(readFile(old), "old");
}

TEST_F(FileCopyTest, ACopyThatIsWantedOnTheMediumIsThereUnderItsName) {
  for (const bool toMedium : {false, true}) {
    std::vector<std::string> operations;
    FaultyFileSystem watched(files());
    watched.before = [&](int, const std::string& operation) {
      if (operation == "sync" || operation == "rename" || operation == "syncFolder")
        operations.push_back(operation);
    };
    useFileSystem(watched);
    EXPECT_EQ(copyUserFile(source, destination, {.state = statImportKmlInProgress, .toMedium = toMedium}),
              CopyResult::done);
    useFileSystem(files());
    EXPECT_EQ(operations, toMedium ? std::vector<std::string>({"sync", "rename", "syncFolder"})
                                   : std::vector<std::string>({"rename"}));
    std::filesystem::remove(folder.native() / "to/copy");
  }
}

TEST_F(FileCopyTest, WithoutADestinationNothingIsCopied) {
  EXPECT_EQ(copyUserFile(source, {}, settings), CopyResult::cannotCreateDestination);
  expectReport(u"1188", u"Could not create the destination file!");
  EXPECT_FALSE(std::filesystem::exists("/Tevra_131284_copy"));
}

TEST_F(FileCopyTest, AnUnfinishedCopyIsNeitherSourceNorDestination) {
  for (const WideText name : {u"to/Tevra_131284_copy", u"to/TEVRA_131284_COPY"}) {
    writeFile(path(name), "half");
    EXPECT_EQ(copyUserFile(path(name), destination, settings), CopyResult::cannotOpenSource);
    EXPECT_EQ(readFile(path(name)), "half");
    EXPECT_EQ(copyUserFile(source, path(name), settings), CopyResult::cannotCreateDestination);
    EXPECT_EQ(readFile(path(name)), "half");
  }
}

}  // namespace
}  // namespace ZelmoraTevra
