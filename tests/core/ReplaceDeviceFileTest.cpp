#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/ReplaceDeviceFile.h"
#include "core/SetAsideFiles.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {

namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;

constexpr WideView logName = u"Test";
const std::string setAsideNumber = "10000000";  // the clock's ticks, as part of the number

// Several blocks long, so that a copy can stop in the middle.
std::string documentOf(char letter) {
  return "<updates><name>" + std::string(700'000, letter) + "</name></updates>";
}

class ReplaceDeviceFileTest : public JobTest {
 protected:
  ReplaceDeviceFileTest() {
    writeFile(source_, new_);
    writeFile(target_, old_);
  }

  [[nodiscard]] bool replace() { return replaceDeviceFile(source_, target_, logName); }
  [[nodiscard]] std::vector<std::string> device() { return tree(path(u"device")); }
  void resetDevice() {
    std::filesystem::remove_all(folder.native() / "device");
    writeFile(target_, old_);
  }
  // What the device has, whatever the name.
  [[nodiscard]] std::vector<std::string> contents() {
    std::vector<std::string> found;
    for (const std::string& name : device()) found.push_back(readFile(path(u"device/" + toWide(name))));
    return found;
  }
  void expectNoHalfFile() {
    if (fileExists(target_)) {
      EXPECT_THAT(readFile(target_), AnyOf(old_, new_));
    }
    EXPECT_THAT(contents(), Contains(AnyOf(old_, new_)));
  }
  void expectWholeAndAlone() {
    EXPECT_THAT(readFile(target_), AnyOf(old_, new_));
    EXPECT_THAT(device(), ElementsAre("updates.xml"));
  }
  // False once `work` comes to its end before the operation.
  [[nodiscard]] bool killedAt(int operation, const std::function<void()>& work) {
    return !runsToItsEnd([&] {
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      work();
    });
  }

  const std::string old_ = documentOf('o');
  const std::string new_ = documentOf('n');
  const WideText source_ = path(u"temp/copy");
  const WideText target_ = path(u"device/updates.xml");
};

TEST_F(ReplaceDeviceFileTest, PutsTheCopyInThePlaceOfTheOldFile) {
  EXPECT_TRUE(replace());
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_EQ(readFile(source_), new_);
  EXPECT_THAT(device(), ElementsAre("updates.xml"));
}

TEST_F(ReplaceDeviceFileTest, CreatesAFileThatIsNotThere) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  EXPECT_TRUE(replace());
  expectWholeAndAlone();
  EXPECT_EQ(readFile(target_), new_);
}

TEST_F(ReplaceDeviceFileTest, WithoutASourceFailsAndChangesNothing) {
  EXPECT_FALSE(replaceDeviceFile(path(u"temp/none"), target_, logName));
  EXPECT_EQ(readFile(target_), old_);
  EXPECT_THAT(device(), ElementsAre("updates.xml"));
}

TEST_F(ReplaceDeviceFileTest, WithoutTheFolderFails) {
  EXPECT_FALSE(replaceDeviceFile(source_, path(u"nowhere/updates.xml"), logName));
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "nowhere"));
}

TEST_F(ReplaceDeviceFileTest, DoesNotTouchAFileThatHasTheContentAlready) {
  writeFile(target_, new_);
  FaultyFileSystem counting(files());
  useFileSystem(counting);
  EXPECT_TRUE(replace());
  EXPECT_EQ(counting.count, 0);
}

TEST_F(ReplaceDeviceFileTest, BringsEachStepToTheMediumBeforeTheOldFileGoes) {
  std::vector<std::string> operations;
  FaultyFileSystem recording(files());
  recording.before = [&](int, const std::string& operation) {
    if (operation != "write") operations.push_back(operation);
    if (operation == "sync") {
      EXPECT_EQ(readFile(target_), old_);
    }
    if (operations.size() == 8) {
      EXPECT_THAT(contents(), Contains(old_));
    }
  };
  useFileSystem(recording);
  EXPECT_TRUE(replace());
  EXPECT_THAT(operations, ElementsAre("removeFile", "open", "sync", "rename", "syncFolder", "rename",
                                      "syncFolder", "removeFile"));
}

TEST_F(ReplaceDeviceFileTest, SetsTheOldFileAsideUnderTheTickCountAndACounter) {
  std::vector<std::string> names;
  FaultyFileSystem recording(files());
  recording.before = [&](int, const std::string& operation) {
    if (operation == "syncFolder" && names.empty()) names = device();
  };
  useFileSystem(recording);
  EXPECT_TRUE(replace());
  ASSERT_EQ(names.size(), 2U);
  EXPECT_EQ(names[0].size(), std::string("updates.xml").size() + 20);
  EXPECT_TRUE(names[0].starts_with("updates.xml00" + setAsideNumber)) << names[0];
  EXPECT_EQ(names[1], "updates.xml_tevra_new");
}

TEST_F(ReplaceDeviceFileTest, KilledAtAnyOperationLeavesAWholeFileThatTheNextJobFinds) {
  int operation = 1;
  while (killedAt(operation, [this] { static_cast<void>(replace()); })) {
    SCOPED_TRACE(operation);
    expectNoHalfFile();
    recoverDeviceFile(target_);
    expectWholeAndAlone();
    resetDevice();
    ++operation;
  }
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_GT(operation, 10);
}

TEST_F(ReplaceDeviceFileTest, KilledAgainWhileItIsPutRightLosesNothingEither) {
  for (int operation = 1; killedAt(operation, [this] { static_cast<void>(replace()); }); ++operation) {
    for (int second = 1; killedAt(second, [this] { recoverDeviceFile(target_); }); ++second) {
      SCOPED_TRACE(operation * 100 + second);
      expectNoHalfFile();
    }
    expectWholeAndAlone();
    resetDevice();
  }
}

TEST_F(ReplaceDeviceFileTest, KilledOnANewDeviceLeavesNoHalfFileUnderTheName) {
  const auto work = [this] { static_cast<void>(replace()); };
  std::filesystem::remove(folder.native() / "device/updates.xml");
  for (int operation = 1; killedAt(operation, work); ++operation) {
    SCOPED_TRACE(operation);
    if (fileExists(target_)) {
      EXPECT_EQ(readFile(target_), new_);
    }
    recoverDeviceFile(target_);
    if (fileExists(target_)) {
      EXPECT_EQ(readFile(target_), new_);
    }
    std::filesystem::remove_all(folder.native() / "device");
    makeFolder(path(u"device"));
  }
  EXPECT_EQ(readFile(target_), new_);
}

TEST_F(ReplaceDeviceFileTest, AnyOperationThatFailsLeavesTheOldFileOrTheNewOne) {
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE(operation);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    const bool replaced = replace();
    EXPECT_EQ(readFile(target_), replaced ? new_ : old_);
    useFileSystem(files());
    recoverDeviceFile(target_);
    EXPECT_EQ(readFile(target_), replaced ? new_ : old_);
    EXPECT_THAT(device(), ElementsAre("updates.xml"));
    if (faulty.count < operation) break;
    resetDevice();
  }
}

TEST_F(ReplaceDeviceFileTest, ADeviceThatGoesAtAnyOperationHoldsAWholeFile) {
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE(operation);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    faulty.failAllAfter = true;
    useFileSystem(faulty);
    const bool replaced = replace();
    expectNoHalfFile();
    if (replaced) {
      EXPECT_EQ(readFile(target_), new_);
    }
    useFileSystem(files());
    recoverDeviceFile(target_);
    expectWholeAndAlone();
    if (faulty.count < operation) break;
    resetDevice();
  }
}

TEST_F(ReplaceDeviceFileTest, ARenamingThatFailsIsLogged) {
  startLog();
  FaultyFileSystem faulty(files());
  faulty.before = [&faulty](int number, const std::string& operation) {
    if (operation == "rename" && faulty.failAt == 0) faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_FALSE(replace());
  const WideText target = toBackslashes(target_);
  const std::vector<WideText> lines = logLines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with(u"Test: rename from " + target + u" to " + target)) << toUtf8(lines[0]);
  EXPECT_TRUE(lines[0].ends_with(u" fail!"));
}

TEST_F(ReplaceDeviceFileTest, KeepsAnOldFileThatIsDamaged) {
  writeFile(target_, "<updates><upd");
  EXPECT_TRUE(replace());
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_EQ(readFile(path(u"device/updates.xml_damaged1")), "<updates><upd");

  writeFile(target_, "damaged again");
  EXPECT_TRUE(replace());
  EXPECT_EQ(readFile(path(u"device/updates.xml_damaged1")), "<updates><upd");
  EXPECT_EQ(readFile(path(u"device/updates.xml_damaged2")), "damaged again");
  recoverDeviceFile(target_);
  EXPECT_EQ(device().size(), 3U);
}

TEST_F(ReplaceDeviceFileTest, KeepsAnOldFileOfWhichTheDocumentHoldsNotAll) {
  const std::string odd = "<updates><name>AT&T</name></updates>";
  writeFile(target_, odd);
  EXPECT_TRUE(replace());
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_EQ(readFile(path(u"device/updates.xml_damaged1")), odd);
}

TEST_F(ReplaceDeviceFileTest, KeepsAWholeOldFileOnRequestButNoEmptyOne) {
  EXPECT_TRUE(replaceDeviceFile(source_, target_, logName, OldFile::kept));
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_EQ(readFile(path(u"device/updates.xml_damaged1")), old_);
  EXPECT_TRUE(replaceDeviceFile(source_, target_, logName, OldFile::kept));
  EXPECT_EQ(device().size(), 2U) << "what has the content already isn't replaced";
  writeFile(target_, "");
  EXPECT_TRUE(replaceDeviceFile(source_, target_, logName, OldFile::kept));
  EXPECT_EQ(device().size(), 2U);
}

TEST_F(ReplaceDeviceFileTest, DoesNotKeepADamagedOldFileThatTheNewOneWasMadeFrom) {
  writeFile(target_, "<updates><upd");
  EXPECT_TRUE(replaceDeviceFile(source_, target_, logName, OldFile::notKept));
  EXPECT_EQ(readFile(target_), new_);
  EXPECT_THAT(device(), ElementsAre("updates.xml"));
}

TEST_F(ReplaceDeviceFileTest, KilledWhileItReplacesADamagedFileLosesNothing) {
  const std::string damaged = "<updates><upd";
  writeFile(target_, damaged);
  for (int operation = 1; killedAt(operation, [this] { static_cast<void>(replace()); }); ++operation) {
    SCOPED_TRACE(operation);
    EXPECT_THAT(contents(), Contains(damaged));
    if (fileExists(target_)) {
      EXPECT_THAT(readFile(target_), AnyOf(damaged, new_));
    }
    recoverDeviceFile(target_);
    EXPECT_THAT(contents(), Contains(damaged));
    EXPECT_THAT(readFile(target_), AnyOf(damaged, new_));
    resetDevice();
    writeFile(target_, damaged);
  }
}

TEST_F(ReplaceDeviceFileTest, DoesNotKeepAnEmptyOldFile) {
  writeFile(target_, "");
  EXPECT_TRUE(replace());
  expectWholeAndAlone();
}

TEST_F(ReplaceDeviceFileTest, DoesNotWriteThroughALinkThatWaitsUnderTheNameOfTheCopy) {
  writeFile(path(u"precious"), "mine");
  std::filesystem::create_symlink(folder.native() / "precious",
                                  folder.native() / "device/updates.xml_tevra_new");
  EXPECT_TRUE(replace());
  EXPECT_EQ(readFile(path(u"precious")), "mine");
  expectWholeAndAlone();
}

TEST_F(ReplaceDeviceFileTest, RecoveryTakesTheNewestWholeFile) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "<a/>");
  writeFile(path(u"device/updates.xml00000000020000000001"), "<b/>");
  writeFile(path(u"device/updates.xml00000000020000000002"), "<c");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), "<b/>");
}

TEST_F(ReplaceDeviceFileTest, RecoveryBringsTheNameToTheMediumBeforeTheOtherFilesGo) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "<a/>");
  writeFile(path(u"device/updates.xml00000000020000000001"), "<b/>");
  std::vector<std::string> operations;
  FaultyFileSystem recording(files());
  recording.before = [&](int, const std::string& operation) { operations.push_back(operation); };
  useFileSystem(recording);
  recoverDeviceFile(target_);
  EXPECT_THAT(operations, ElementsAre("rename", "syncFolder", "removeFile"));
  EXPECT_THAT(device(), ElementsAre("updates.xml"));
}

TEST_F(ReplaceDeviceFileTest, RecoveryThatDoesNotReachTheMediumRemovesNothing) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "<a/>");
  writeFile(path(u"device/updates.xml00000000020000000001"), "<b/>");
  FaultyFileSystem faulty(files());
  faulty.failAt = 2;
  useFileSystem(faulty);
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(path(u"device/updates.xml00000000010000000009")), "<a/>");
}

TEST_F(ReplaceDeviceFileTest, RecoveryWhoseFileDoesNotReadBackRemovesNothing) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "<a/>");
  writeFile(path(u"device/updates.xml00000000020000000001"), "<b/>");
  FaultyFileSystem spoiling(files());
  spoiling.before = [this](int, const std::string& operation) {
    if (operation == "syncFolder") writeFile(target_, "<b");
  };
  useFileSystem(spoiling);
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(path(u"device/updates.xml00000000010000000009")), "<a/>");
}

TEST_F(ReplaceDeviceFileTest, RecoveryKeepsADamagedFileThatItReplaces) {
  writeFile(target_, "half");
  writeFile(path(u"device/updates.xml00000000010000000009"), old_);
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), old_);
  EXPECT_THAT(device(), ElementsAre("updates.xml", "updates.xml_damaged1"));
}

TEST_F(ReplaceDeviceFileTest, RecoveryBringsBackADamagedFileIfThereIsNoOther) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "half");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), "half");
}

TEST_F(ReplaceDeviceFileTest, RecoveryDropsACopyThatWasNotFinished) {
  writeFile(path(u"device/updates.xml_tevra_new"), "<upd");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), old_);
  EXPECT_THAT(device(), ElementsAre("updates.xml"));
}

TEST_F(ReplaceDeviceFileTest, RecoveryLeavesFilesOfOthersAlone) {
  for (const WideView name : {u"updates.xml1", u"updates.xml20240101", u"updates.xml.bak", u"updates.xml_new",
                              u"a00000000010000000009", u"updates.xml0000000001000000000x"})
    writeFile(path(u"device/" + WideText(name)), "<mine/>");
  recoverDeviceFile(target_);
  EXPECT_EQ(device().size(), 7U);
  std::filesystem::remove(folder.native() / "device/updates.xml");
  recoverDeviceFile(target_);
  EXPECT_EQ(device().size(), 6U);
}

TEST_F(ReplaceDeviceFileTest, RecoveryTakesAFileWhoseNameTheDeviceWroteWithOtherCapitals) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/Updates.XML00000000010000000009"), "<a/>");
  writeFile(path(u"device/UPDATES.xml00000000010000000010"), "<b/>");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), "<b/>");
}

TEST_F(ReplaceDeviceFileTest, RecoveryPrefersTheExactName) {
  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/updates.xml00000000010000000009"), "<a/>");
  writeFile(path(u"device/Updates.xml00000000020000000009"), "<b/>");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), "<a/>");
  EXPECT_EQ(readFile(path(u"device/Updates.xml00000000020000000009")), "<b/>");
}

TEST_F(ReplaceDeviceFileTest, RecoveryLeavesTheFilesOfANameWithOtherCapitalsAlone) {
  const WideText setAside = path(u"device/Updates.xml00000000010000000009");
  writeFile(setAside, "<a/>");
  recoverDeviceFile(target_);
  EXPECT_EQ(readFile(target_), old_);
  EXPECT_EQ(readFile(setAside), "<a/>");

  std::filesystem::remove(folder.native() / "device/updates.xml");
  writeFile(path(u"device/Updates.xml"), "<other/>");
  recoverDeviceFile(target_);
  EXPECT_FALSE(fileExists(target_));
  EXPECT_EQ(readFile(setAside), "<a/>");
}

// A second name for the one file stands for a device on which capitals make no difference.
TEST_F(ReplaceDeviceFileTest, RecoveryDropsWhatIsLeftUnderANameThatLeadsToTheSameFile) {
  std::filesystem::create_hard_link(folder.native() / "device/updates.xml",
                                    folder.native() / "device/Updates.xml");
  writeFile(path(u"device/Updates.xml00000000010000000009"), "<a/>");
  recoverDeviceFile(target_);
  EXPECT_THAT(device(), ElementsAre("Updates.xml", "updates.xml"));
}

// Counts the looks at folders.
class ListingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    ++listings;
    return ForwardingFileSystem::list(folder, entries, error);
  }
  int listings = 0;
};

TEST_F(ReplaceDeviceFileTest, RecoveryOfManyFilesLooksAtTheirFolderOnce) {
  std::vector<WideText> targets;
  for (int number = 0; number < 20; ++number) {
    targets.push_back(path(u"device/" + numberText(number) + u".xml"));
    writeFile(targets.back() + u"00000000010000000009", "<a/>");
  }
  ListingFileSystem listing(files());
  useFileSystem(listing);
  {
    const SetAsideFiles remembered;
    for (int round = 0; round < 2; ++round)
      for (const WideText& target : targets) recoverDeviceFile(target);
    EXPECT_EQ(listing.listings, 1);
  }
  EXPECT_EQ(device().size(), 21U);
  for (const WideText& target : targets) EXPECT_EQ(readFile(target), "<a/>");

  writeFile(targets.front() + u"00000000010000000009", "<b/>");
  recoverDeviceFile(targets.front());
  EXPECT_EQ(device().size(), 21U);
  useFileSystem(files());
}

TEST_F(ReplaceDeviceFileTest, AFolderThatIsKnownStillGivesWhatWasSetAsideSince) {
  const SetAsideFiles remembered;
  recoverDeviceFile(target_);
  for (int operation = 1; operation < 30; ++operation) {
    SCOPED_TRACE(operation);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    faulty.failAllAfter = true;
    useFileSystem(faulty);
    static_cast<void>(replace());
    useFileSystem(files());
    recoverDeviceFile(target_);
    expectWholeAndAlone();
    resetDevice();
  }
}

TEST_F(ReplaceDeviceFileTest, RecoveryInAMissingFolderDoesNothing) {
  recoverDeviceFile(path(u"nowhere/updates.xml"));
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "nowhere"));
}

TEST_F(ReplaceDeviceFileTest, CopiesAnEmptyFile) {
  writeFile(source_, "");
  EXPECT_TRUE(copyFileContent(source_, path(u"device/copy"), true));
  EXPECT_EQ(readFile(path(u"device/copy")), "");
}

TEST_F(ReplaceDeviceFileTest, ACopyThatCanNotBeWrittenFails) {
  FaultyFileSystem faulty(files());
  for (faulty.failAt = 1; faulty.count + 1 >= faulty.failAt || faulty.failAt == 1; ++faulty.failAt) {
    faulty.count = 0;
    useFileSystem(faulty);
    const bool copied = copyFileContent(source_, path(u"device/copy"), true);
    if (faulty.count < faulty.failAt) {
      EXPECT_TRUE(copied);
      break;
    }
    EXPECT_FALSE(copied) << faulty.failAt;
  }
  EXPECT_EQ(readFile(path(u"device/copy")), new_);
}

}  // namespace

}  // namespace ZelmoraTevra
