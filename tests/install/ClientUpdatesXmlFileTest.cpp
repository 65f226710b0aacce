#include <gmock/gmock.h>

#include <array>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/ProcessEnd.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesXml.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/KillLoop.h"

namespace ZelmoraTevra {

namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Gives no answer about the register on the device, as a drive that is going away.
class SilentFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    if (!path.ends_with(u"updates.xml")) return target().kind(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return platform::EntryKind::missing;
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (!path.ends_with(u"updates.xml")) return target().open(path, mode, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return nullptr;
  }
};

// Breaks off every reading of the register on the device after some bytes.
class BrokenReadFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    auto handle = target().open(path, mode, error);
    if (!handle || mode != platform::OpenMode::read || !path.ends_with(u"updates.xml")) return handle;
    return std::make_unique<Handle>(std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    explicit Handle(std::unique_ptr<platform::FileHandle> target) : ForwardingFileHandle(std::move(target)) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      if (!began_) {
        began_ = true;
        return target().read(buffer, size / 2, error);
      }
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return -1;
    }
    bool write(const void*, std::size_t, platform::ErrorCode&) override { return false; }
    bool truncate(std::uint64_t, platform::ErrorCode&) override { return false; }
    bool flush(platform::ErrorCode&) override { return false; }
    bool sync(platform::ErrorCode&) override { return false; }

   private:
    bool began_ = false;
  };
};

class ClientUpdatesXmlFileTest : public JobTest {
 protected:
  ClientUpdatesXmlFileTest() { writeFile(deviceFile_, old_); }

  static std::string registerOf(char letter) {
    return "<updates><update><company>c</company><name>" + std::string(600'000, letter) +
           "</name></update></updates>";
  }
  [[nodiscard]] std::vector<std::string> workFolder() { return tree(workTempFolder); }
  [[nodiscard]] std::vector<std::string> layoutFolder() { return tree(path(u"device/ZELMORA")); }
  // Of all files beside the register, whatever their names.
  [[nodiscard]] std::vector<std::string> contents() {
    std::vector<std::string> found;
    for (const std::string& name : layoutFolder())
      found.push_back(readFile(path(u"device/ZELMORA/" + toWide(name))));
    return found;
  }
  void resetDevice(const std::optional<std::string>& content) {
    std::filesystem::remove_all(folder.native() / "device");
    std::filesystem::remove_all(folder.native() / "temp/ZELMORATevra_tmp");
    makeFolder(path(u"device/ZELMORA"));
    makeFolder(path(u"temp/ZELMORATevra_tmp"));
    if (content) writeFile(deviceFile_, *content);
  }
  // Adds an update and brings the register back.
  bool runJob() {
    ClientUpdatesXmlFile file(root_, true);
    bool saved = false;
    {
      UpdatesXml updates(&file);
      Update update;
      update.info.company = u"c";
      update.info.name = u"new";
      updates.addUpdate(update);
      saved = updates.save();
    }
    return file.copyBack() && saved;
  }
  // The names of the updates, as short as a message can take them; as a job finds them that changes nothing.
  [[nodiscard]] std::vector<std::string> names() {
    ClientUpdatesXmlFile file(root_, false);
    std::vector<std::string> found;
    for (const Update& update : UpdatesXml(&file).getUpdates())
      found.push_back(toUtf8(update.info.name.substr(0, 3)));
    return found;
  }
  [[nodiscard]] bool killedAt(int operation) {
    return !runsToItsEnd([&] {
      FaultyFileSystem faulty(files());
      faulty.before = [operation](int number, const std::string&) {
        if (number == operation) dieHere();
      };
      useFileSystem(faulty);
      runJob();
    });
  }

  const WideText root_ = path(u"device");
  const WideText deviceFile_ = path(u"device/ZELMORA/updates.xml");
  const std::string old_ = registerOf('o');
};

TEST_F(ClientUpdatesXmlFileTest, TheNewerPlaceWins) {
  writeFile(path(u"device/KD3/updates.xml"), "<updates/>");
  const ClientUpdatesXmlFile file(root_, false);
  EXPECT_TRUE(file.isZelmoraLayout());
  EXPECT_FALSE(file.isKd3Layout());
  EXPECT_TRUE(file.isUsable());
  EXPECT_EQ(file.getRootPath(), root_);
  EXPECT_EQ(file.getFilePath(), root_ + u"\\ZELMORA\\updates.xml");
}

TEST_F(ClientUpdatesXmlFileTest, TheNewerPlaceWinsEvenWithoutARegister) {
  writeFile(path(u"device/KD3/updates.xml"), "<updates/>");
  std::filesystem::remove(folder.native() / "device/ZELMORA/updates.xml");
  EXPECT_TRUE(ClientUpdatesXmlFile(root_, false).isZelmoraLayout());
}

TEST_F(ClientUpdatesXmlFileTest, TheOlderPlaceIsUsedIfThereIsNoNewerOne) {
  std::filesystem::remove_all(folder.native() / "device/ZELMORA");
  writeFile(path(u"device/KD3/updates.xml"), "<updates/>");
  const ClientUpdatesXmlFile file(root_, false);
  EXPECT_FALSE(file.isZelmoraLayout());
  EXPECT_TRUE(file.isKd3Layout());
  EXPECT_EQ(file.getFilePath(), root_ + u"\\KD3\\updates.xml");
}

TEST_F(ClientUpdatesXmlFileTest, WithoutAPlaceThereIsNothingToReadOrWrite) {
  std::filesystem::remove_all(folder.native() / "device/ZELMORA");
  writeFile(path(u"device/ZELMORA"), "a file");
  for (const bool useWorkingCopy : {false, true}) {
    ClientUpdatesXmlFile file(root_, useWorkingCopy);
    EXPECT_FALSE(file.isZelmoraLayout());
    EXPECT_FALSE(file.isKd3Layout());
    EXPECT_FALSE(file.isUsable());
    EXPECT_EQ(file.getFilePath(), u"");
    EXPECT_FALSE(UpdatesXml(&file).isLoaded());
    EXPECT_TRUE(file.copyBack());
  }
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, AnEmptyRootIsNoDevice) {
  const ClientUpdatesXmlFile file(u"", true);
  EXPECT_FALSE(file.isUsable());
  EXPECT_FALSE(file.isZelmoraLayout());
}

TEST_F(ClientUpdatesXmlFileTest, ALinkOutOfTheDeviceIsNoPlaceForARegister) {
  writeFile(path(u"home/updates.xml"), "<updates/>");
  std::filesystem::remove_all(folder.native() / "device/ZELMORA");
  std::filesystem::create_directory_symlink(folder.native() / "home", folder.native() / "device/ZELMORA");
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());

  resetDevice(std::nullopt);
  std::filesystem::create_symlink(folder.native() / "home/updates.xml",
                                  folder.native() / "device/ZELMORA/updates.xml");
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, false).isUsable());
}

TEST_F(ClientUpdatesXmlFileTest, TheWorkingCopyHasTheRegisterAndANameOfItsOwnInTheWorkFolder) {
  {
    const ClientUpdatesXmlFile first(root_, true);
    const ClientUpdatesXmlFile second(root_, true);
    EXPECT_TRUE(first.getFilePath().starts_with(workTempFolder + u'\\'));
    EXPECT_EQ(first.getFilePath().size(), workTempFolder.size() + 1 + 36);
    EXPECT_NE(first.getFilePath(), second.getFilePath());
    EXPECT_EQ(readFile(first.getFilePath()), old_);
  }
  EXPECT_THAT(workFolder(), IsEmpty());
  EXPECT_EQ(readFile(deviceFile_), old_);
}

TEST_F(ClientUpdatesXmlFileTest, WithoutAWorkingCopyTheWorkFolderIsNotTouched) {
  const ClientUpdatesXmlFile file(root_, false);
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, WithoutARegisterTheWorkingCopyIsEmptyAndTakesUpdates) {
  resetDevice(std::nullopt);
  {
    const ClientUpdatesXmlFile file(root_, true);
    EXPECT_TRUE(file.isUsable());
    EXPECT_EQ(readFile(file.getFilePath()), "");
  }
  EXPECT_THAT(layoutFolder(), IsEmpty());
  EXPECT_TRUE(runJob());
  EXPECT_THAT(names(), ElementsAre("new"));
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, DestructionBringsTheWorkingCopyBack) {
  {
    ClientUpdatesXmlFile file(root_, true);
    writeFile(file.getFilePath(), "<updates/>");
    EXPECT_EQ(readFile(deviceFile_), old_);
  }
  EXPECT_EQ(readFile(deviceFile_), "<updates/>");
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterInWhichNothingChangedIsNotWritten) {
  ClientUpdatesXmlFile file(root_, true);
  FaultyFileSystem counting(files());
  std::vector<std::string> operations;
  counting.before = [&](int, const std::string& operation) { operations.push_back(operation); };
  useFileSystem(counting);
  EXPECT_TRUE(file.copyBack());
  EXPECT_THAT(operations, ElementsAre("removeFile"));
}

TEST_F(ClientUpdatesXmlFileTest, IsBroughtBackOnlyOnce) {
  ClientUpdatesXmlFile file(root_, true);
  writeFile(file.getFilePath(), "<updates/>");
  EXPECT_TRUE(file.copyBack());
  EXPECT_FALSE(file.isUsable());
  writeFile(deviceFile_, old_);
  EXPECT_TRUE(file.copyBack());
  EXPECT_EQ(readFile(deviceFile_), old_);
  UpdatesXml updates(&file);
  Update update;
  update.info.name = u"late";
  updates.addUpdate(update);
  EXPECT_FALSE(updates.save());
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, IsBroughtBackWhenTheProcessEndsAtOnce) {
  EXPECT_FALSE(runsToItsEnd([this] {
    ClientUpdatesXmlFile file(root_, true);
    writeFile(file.getFilePath(), "<updates/>");
    const AtProcessEnd atEnd([&file] { file.copyBack(); });
    endProcess(1);
  }));
  EXPECT_EQ(readFile(deviceFile_), "<updates/>");
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterThatCanNotBeCopiedIsNotTakenForAnEmptyOne) {
  for (int operation = 1;; ++operation) {
    SCOPED_TRACE(operation);
    FaultyFileSystem faulty(files());
    faulty.failAt = operation;
    useFileSystem(faulty);
    {
      ClientUpdatesXmlFile file(root_, true);
      const bool failed = faulty.count >= operation;
      useFileSystem(files());
      EXPECT_EQ(file.isUsable(), !failed);
      if (!failed) break;
      EXPECT_EQ(file.getFilePath(), u"");
      UpdatesXml updates(&file);
      Update update;
      update.info.name = u"new";
      updates.addUpdate(update);
      EXPECT_FALSE(updates.save());
    }
    EXPECT_EQ(readFile(deviceFile_), old_);
    EXPECT_THAT(workFolder(), IsEmpty());
  }
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterThatCanNotBeReadToItsEndIsNotTakenForAShorterOne) {
  BrokenReadFileSystem broken(files());
  useFileSystem(broken);
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
  EXPECT_FALSE(runJob());
  EXPECT_EQ(readFile(deviceFile_), old_);
  EXPECT_THAT(workFolder(), IsEmpty());
}

TEST_F(ClientUpdatesXmlFileTest, ADeviceThatGivesNoAnswerIsNotTakenForOneWithoutARegister) {
  SilentFileSystem silent(files());
  useFileSystem(silent);
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
  EXPECT_FALSE(runJob());
  EXPECT_EQ(readFile(deviceFile_), old_);
}

TEST_F(ClientUpdatesXmlFileTest, AFolderUnderTheNameIsNotUsable) {
  resetDevice(std::nullopt);
  makeFolder(deviceFile_);
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
}

TEST_F(ClientUpdatesXmlFileTest, WithoutAWorkFolderItIsNotUsable) {
  workTempFolder = path(u"nowhere");
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
  resetDevice(std::nullopt);
  EXPECT_FALSE(ClientUpdatesXmlFile(root_, true).isUsable());
}

TEST_F(ClientUpdatesXmlFileTest, ACopyBackThatFailsIsLoggedAndTheOldRegisterStays) {
  startLog();
  ClientUpdatesXmlFile file(root_, true);
  writeFile(file.getFilePath(), "<updates/>");
  FaultyFileSystem faulty(files());
  int renamings = 0;
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "rename" && ++renamings == 1) faulty.failAt = number;
  };
  useFileSystem(faulty);
  EXPECT_FALSE(file.copyBack());
  EXPECT_EQ(readFile(deviceFile_), old_);
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
  EXPECT_THAT(workFolder(), IsEmpty());
  const std::vector<WideText> lines = logLines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with(u"Update xml file: rename from ")) << toUtf8(lines[0]);
  EXPECT_TRUE(lines[0].ends_with(u" fail!"));
  EXPECT_EQ(lines[1], u"Could not copy updates.xml back to the client, client update xml file!");
}

TEST_F(ClientUpdatesXmlFileTest, AJobKilledAtAnyOperationLeavesTheOldOrTheNewRegister) {
  int operation = 1;
  for (; killedAt(operation); ++operation) {
    SCOPED_TRACE(operation);
    if (fileExists(deviceFile_) && readFile(deviceFile_) != old_) {
      EXPECT_NE(readFile(deviceFile_).find("<name>new</name>"), std::string::npos);
      EXPECT_TRUE(readFile(deviceFile_).ends_with("</updates>\n"));
    }
    EXPECT_THAT(names(), AnyOf(ElementsAre("ooo"), ElementsAre("ooo", "new")));
    EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
    resetDevice(old_);
  }
  EXPECT_THAT(names(), ElementsAre("ooo", "new"));
  EXPECT_THAT(workFolder(), IsEmpty());
  EXPECT_GT(operation, 15);
}

TEST_F(ClientUpdatesXmlFileTest, AJobKilledAtAnyOperationLosesNothingOfADamagedRegister) {
  const std::string damaged = old_.substr(0, 600'000);
  resetDevice(damaged);
  int operation = 1;
  for (; killedAt(operation); ++operation) {
    SCOPED_TRACE(operation);
    EXPECT_THAT(contents(), Contains(damaged));
    EXPECT_THAT(names(), AnyOf(IsEmpty(), ElementsAre("new")));
    EXPECT_THAT(contents(), Contains(damaged));
    EXPECT_TRUE(runJob());
    EXPECT_THAT(names(), Contains("new"));
    EXPECT_EQ(readFile(path(u"device/ZELMORA/updates.xml_damaged1")), damaged);
    EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml", "updates.xml_damaged1"));
    resetDevice(damaged);
  }
  EXPECT_THAT(names(), ElementsAre("new"));
  EXPECT_EQ(readFile(path(u"device/ZELMORA/updates.xml_damaged1")), damaged);
  EXPECT_GT(operation, 15);
}

TEST_F(ClientUpdatesXmlFileTest, AJobKilledAtAnyOperationLeavesNoHalfRegisterWhereNoneWas) {
  resetDevice(std::nullopt);
  int operation = 1;
  for (; killedAt(operation); ++operation) {
    SCOPED_TRACE(operation);
    if (fileExists(deviceFile_)) {
      EXPECT_TRUE(readFile(deviceFile_).ends_with("</updates>\n"));
    }
    EXPECT_THAT(names(), AnyOf(IsEmpty(), ElementsAre("new")));
    EXPECT_TRUE(runJob());
    EXPECT_THAT(names(), Contains("new"));
    EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
    resetDevice(std::nullopt);
  }
  EXPECT_THAT(names(), ElementsAre("new"));
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
  EXPECT_GT(operation, 8);
}

// Nothing of the register's way back depends on how the device's cache is written.
TEST_F(ClientUpdatesXmlFileTest, EachStepOfTheWayBackIsOnTheMediumBeforeTheNext) {
  ClientUpdatesXmlFile file(root_, true);
  writeFile(file.getFilePath(), "<updates/>");
  FaultyFileSystem recording(files());
  std::vector<std::string> operations;
  recording.before = [&](int, const std::string& operation) { operations.push_back(operation); };
  useFileSystem(recording);
  EXPECT_TRUE(file.bringBack());
  useFileSystem(files());
  EXPECT_THAT(operations, ElementsAre("removeFile", "open", "write", "sync", "rename", "syncFolder", "rename",
                                      "syncFolder", "removeFile"));
}

TEST_F(ClientUpdatesXmlFileTest, AnyOperationThatFailsLeavesTheOldOrTheNewRegister) {
  for (const bool failAllAfter : {false, true}) {
    for (int operation = 1;; ++operation) {
      SCOPED_TRACE(operation);
      resetDevice(old_);
      FaultyFileSystem faulty(files());
      faulty.failAt = operation;
      faulty.failAllAfter = failAllAfter;
      useFileSystem(faulty);
      const bool done = runJob();
      useFileSystem(files());
      if (fileExists(deviceFile_) && readFile(deviceFile_) != old_) {
        EXPECT_TRUE(readFile(deviceFile_).ends_with("</updates>\n"));
      }
      const std::vector<std::string> found = names();
      EXPECT_THAT(found, AnyOf(ElementsAre("ooo"), ElementsAre("ooo", "new")));
      if (done) {
        EXPECT_THAT(found, ElementsAre("ooo", "new"));
      }
      EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
      if (faulty.count < operation) break;
    }
  }
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterThatAKillLeftSetAsideIsFoundInBothModes) {
  for (const bool useWorkingCopy : {false, true}) {
    resetDevice(std::nullopt);
    writeFile(path(u"device/ZELMORA/updates.xml00000000070000000001"), old_);
    writeFile(path(u"device/ZELMORA/updates.xml_tevra_new"), old_.substr(0, 1000));
    ClientUpdatesXmlFile file(root_, useWorkingCopy);
    EXPECT_EQ(UpdatesXml(&file).getUpdates().size(), 1U);
    EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));
  }
}

TEST_F(ClientUpdatesXmlFileTest, ADamagedRegisterStaysBesideItsReplacement) {
  const std::string damaged = old_.substr(0, 1000);
  resetDevice(damaged);
  { const ClientUpdatesXmlFile unchanged(root_, true); }
  EXPECT_EQ(readFile(deviceFile_), damaged);
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml"));

  EXPECT_TRUE(runJob());
  EXPECT_THAT(names(), ElementsAre("new"));
  EXPECT_EQ(readFile(path(u"device/ZELMORA/updates.xml_damaged1")), damaged);
  EXPECT_THAT(layoutFolder(), ElementsAre("updates.xml", "updates.xml_damaged1"));
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterCutOffAnywhereIsNeverLost) {
  const std::string whole =
      "<updates><update><name>a</name><file><client>b</client></file></update></updates>";
  for (std::size_t length = 1; length < whole.size(); ++length) {
    SCOPED_TRACE(length);
    resetDevice(whole.substr(0, length));
    EXPECT_TRUE(runJob());
    EXPECT_THAT(names(), ElementsAre("new"));
    EXPECT_EQ(readFile(path(u"device/ZELMORA/updates.xml_damaged1")), whole.substr(0, length));
  }
}

TEST_F(ClientUpdatesXmlFileTest, ARegisterWithFlippedBytesIsNeverLost) {
  const std::string whole =
      "<updates><update><name>a</name><file><client>b</client></file></update></updates>";
  for (std::size_t position = 0; position < whole.size(); ++position) {
    SCOPED_TRACE(position);
    std::string damaged = whole;
    damaged[position] = static_cast<char>(damaged[position] ^ std::array{0x01, 0x80, 0xff}[position % 3]);
    resetDevice(damaged);
    bool wasWellFormed = false;
    try {
      ClientUpdatesXmlFile file(root_, false);
      wasWellFormed = UpdatesXml(&file).isLoaded();
      EXPECT_TRUE(runJob());
    } catch (const std::exception&) {
      EXPECT_EQ(readFile(deviceFile_), damaged);
      continue;
    }
    if (!wasWellFormed) {
      EXPECT_EQ(readFile(path(u"device/ZELMORA/updates.xml_damaged1")), damaged);
    }
    EXPECT_THAT(names(), Contains("new"));
    EXPECT_THAT(workFolder(), IsEmpty());
  }
}

}  // namespace

}  // namespace ZelmoraTevra
