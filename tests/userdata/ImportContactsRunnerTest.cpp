#include <filesystem>

#include "tests/support/SmallVolume.h"
#include "tests/userdata/UserDataTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

const std::string lines(const std::string& name) {
  return "\xEF\xBB\xBF[Tevra imported contacts]\n-|" + name + "|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-\n";
}

class ImportContactsRunnerTest : public UserDataTest {
 protected:
  [[nodiscard]] static CommandRecord importOf(const WideText& list) {
    CommandRecord command;
    command.commandName = u"IMPORT_CONTACTS";
    command.storageCardDriveLetter = u"E:";
    command.contacts = list;
    return command;
  }
  [[nodiscard]] static CommandRecord importOfAnna() {
    return importOf(u"<contacts><contact><name>Anna</name></contact></contacts>");
  }

  const WideText file = path(u"flash/ZELMORA/Contacts/contacts.txt");
  const fs::path device = folder.native() / "flash";
};

TEST_F(ImportContactsRunnerTest, TheFileAndItsFolderAreMade) {
  EXPECT_EQ(run(importOfAnna()), 0);
  expectSuccess();
  EXPECT_EQ(readFile(file), lines("Anna"));
  EXPECT_EQ(tree(path(u"flash")),
            (std::vector<std::string>{"ZELMORA/", "ZELMORA/Contacts/", "ZELMORA/Contacts/contacts.txt"}));
}

TEST_F(ImportContactsRunnerTest, ASecondImportReplacesTheWholeFile) {
  writeFile(file, std::string(10'000, 'x'));
  EXPECT_EQ(run(importOfAnna()), 0);
  EXPECT_EQ(run(importOf(u"<contacts><contact><name>Berta</name></contact></contacts>")), 0);
  expectSuccess();
  EXPECT_EQ(readFile(file), lines("Berta"));
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Contacts")), (std::vector<std::string>{"contacts.txt"}));
}

TEST_F(ImportContactsRunnerTest, AListWithoutContactsLeavesTheFileAndIsASuccess) {
  writeFile(file, "old");
  for (const WideText list : {u"<contacts/>", u"<other/>", u"<contacts><person/></contacts>"}) {
    EXPECT_EQ(run(importOf(list)), 0);
    expectSuccess();
  }
  EXPECT_EQ(readFile(file), "old");
}

TEST_F(ImportContactsRunnerTest, AListThatDoesNotParseIs1283) {
  writeFile(file, "old");
  EXPECT_EQ(run(importOf(u"<contacts><contact>")), -1);
  expectError(u"1283", {u"Invalid contacts informations!", u"E:"});
  EXPECT_EQ(readFile(file), "old");
}

TEST_F(ImportContactsRunnerTest, ADeviceThatIsGoneOrTakesNoFileIs1282WhateverTheList) {
  CommandRecord gone = importOf(u"<contacts><contact>");
  gone.storageCardDriveLetter = u"G:\\";
  EXPECT_EQ(run(gone), -1);
  expectError(u"1282", {u"Flash cannot be accessed. Was it ejected or is it write protected?", u"G:\\"});
  flashReadOnly = true;
  setCapacities(100'000'000, 0);
  EXPECT_EQ(run(importOfAnna()), -1);
  expectError(u"1282", {u"Flash cannot be accessed. Was it ejected or is it write protected?", u"E:"});
}

TEST_F(ImportContactsRunnerTest, RoomForTheFileAndTheReserveIsJustEnough) {
  const auto need = static_cast<std::uint64_t>(reserveBytes) + lines("Anna").size();
  setCapacities(need - 1, 0);
  EXPECT_EQ(run(importOfAnna()), -1);
  expectError(u"1284", {u"The contacts file will not fit to device!"},
              {{u"PATH", u"E:"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"10.00"}, {u"UNIT", u"MB"}});
  EXPECT_EQ(tree(path(u"flash")), (std::vector<std::string>{"ZELMORA/"}));
  setCapacities(need, 0);
  EXPECT_EQ(run(importOfAnna()), 0);
  expectSuccess();
}

TEST_F(ImportContactsRunnerTest, TheFileThatIsReplacedCountsAsRoom) {
  writeFile(file, std::string(5000, 'x'));
  writeFile(path(u"flash/other"), "123");
  const auto need = static_cast<std::uint64_t>(reserveBytes) + lines("Anna").size();
  setCapacities(need + 2, 0);
  EXPECT_EQ(run(importOfAnna()), -1);
  EXPECT_EQ(status().exitCode(), u"1284");
  setCapacities(need + 3, 0);
  EXPECT_EQ(run(importOfAnna()), 0);
  EXPECT_EQ(readFile(file), lines("Anna"));
}

TEST_F(ImportContactsRunnerTest, AFileWithoutRoomBesideItIsWrittenOver) {
  const SmallVolume small(device, 12 << 20);
  if (!small.isMounted()) GTEST_SKIP() << "needs the right to mount";
  writeFile(file, std::string((12 << 20) - (64 << 10), 'x'));
  std::string content = "<contacts>";
  for (int number = 0; number < 2000; ++number) content += "<contact><name>Anna Maria</name></contact>";
  setCapacities(12 << 20, 0);
  EXPECT_EQ(run(importOf(toWide(content + "</contacts>"))), 0);
  expectSuccess();
  EXPECT_EQ(readFile(file).size(), 29 + 2000 * (lines("Anna Maria").size() - 29));
}

TEST_F(ImportContactsRunnerTest, AWriteOverThatFailsLeavesNoHalfFile) {
  const SmallVolume small(device, 12 << 20);
  if (!small.isMounted()) GTEST_SKIP() << "needs the right to mount";
  std::string content = "<contacts>";
  for (int number = 0; number < 2000; ++number) content += "<contact><name>Anna Maria</name></contact>";
  const CommandRecord import = importOf(toWide(content + "</contacts>"));
  setCapacities(12 << 20, 0);
  int failures = 0;
  failEachOperation(
      import, [&] { writeFile(file, std::string((12 << 20) - (64 << 10), 'x')); },
      [&](int result, const std::string& when) {
        const std::string left = readFile(file);
        const bool isOld = left == std::string((12 << 20) - (64 << 10), 'x');
        const bool isNew = left.size() == 29 + 2000 * (lines("Anna Maria").size() - 29);
        const bool couldNotBeRemoved = when.starts_with("all");
        EXPECT_TRUE(isNew || (result != 0 && (isOld || left == "<missing>" || couldNotBeRemoved))) << when;
        failures += left == "<missing>" ? 1 : 0;
      });
  EXPECT_GT(failures, 0);
}

TEST_F(ImportContactsRunnerTest, WithoutWordOfTheRoomTheOldFileIsNotWrittenOver) {
  class Speechless : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText& /*path*/, platform::Space& /*space*/, platform::ErrorCode& error) override {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  } speechless{disk};
  FaultyFileSystem faulty(speechless);
  const std::string old(static_cast<std::size_t>(reserveBytes) + 1000, 'x');
  writeFile(file, old);
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "write" && faulty.failAt == 0) faulty.failAt = number;
  };
  EXPECT_EQ(runOn(faulty, importOfAnna()), -1);
  EXPECT_EQ(status().exitCode(), u"1285");
  EXPECT_TRUE(readFile(file) == old);
}

TEST_F(ImportContactsRunnerTest, WhatAKilledImportLeftTakesUpNoRoom) {
  writeFile(file + u"_tevra_new", std::string(1000, 'x'));
  setCapacities(static_cast<std::uint64_t>(reserveBytes) + lines("Anna").size(), 0);
  EXPECT_EQ(run(importOfAnna()), 0);
  expectSuccess();
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Contacts")), (std::vector<std::string>{"contacts.txt"}));
}

TEST_F(ImportContactsRunnerTest, WithoutTheDevicesFolderTheFileCannotBeCreated) {
  fs::remove(device / "ZELMORA");
  EXPECT_EQ(run(importOfAnna()), -1);
  expectError(u"1285", {u"The contacts file could not be created!"});
  EXPECT_TRUE(tree(path(u"flash")).empty());
}

TEST_F(ImportContactsRunnerTest, WhatStandsInThePlaceOfFileOrFolderIs1285) {
  makeFolder(file);
  writeFile(file + u"/inside", "x");
  EXPECT_EQ(run(importOfAnna()), -1);
  expectError(u"1285", {u"The contacts file could not be created!"});
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Contacts")),
            (std::vector<std::string>{"contacts.txt/", "contacts.txt/inside"}));
  fs::remove_all(device / "ZELMORA/Contacts");
  writeFile(path(u"flash/ZELMORA/Contacts"), "a file");
  EXPECT_EQ(run(importOfAnna()), -1);
  EXPECT_EQ(status().exitCode(), u"1285");
}

TEST_F(ImportContactsRunnerTest, NothingIsWrittenThroughALinkOnTheDevice) {
  writeFile(path(u"outside/contacts.txt"), "mine");
  fs::create_directory_symlink(folder.native() / "outside", device / "ZELMORA/Contacts");
  EXPECT_EQ(run(importOfAnna()), -1);
  EXPECT_EQ(status().exitCode(), u"1285");

  fs::remove(device / "ZELMORA/Contacts");
  makeFolder(path(u"flash/ZELMORA/Contacts"));
  fs::create_symlink(folder.native() / "outside/contacts.txt", device / "ZELMORA/Contacts/contacts.txt");
  fs::create_symlink(folder.native() / "outside/contacts.txt",
                     device / "ZELMORA/Contacts/contacts.txt_tevra_new");
  EXPECT_EQ(run(importOfAnna()), 0);
  expectSuccess();
  EXPECT_EQ(readFile(path(u"outside/contacts.txt")), "mine");
  EXPECT_FALSE(fs::is_symlink(device / "ZELMORA/Contacts/contacts.txt"));
  EXPECT_EQ(readFile(file), lines("Anna"));
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Contacts")), (std::vector<std::string>{"contacts.txt"}));
}

TEST_F(ImportContactsRunnerTest, WhateverFailsTheOldFileOrTheNewOneIsWhole) {
  failEachOperation(
      importOfAnna(), [&] { writeFile(file, "old"); },
      [&](int result, const std::string& when) {
        const std::string content = readFile(file);
        EXPECT_TRUE(content == lines("Anna") || (result != 0 && content == "old")) << when;
        if (result != 0 && status().state == statErrorOccured) {
          EXPECT_TRUE(status().exitCode() == u"1285" || status().exitCode() == u"1282") << when;
        }
      });
}

TEST_F(ImportContactsRunnerTest, KilledAtAnyMomentItLeavesTheOldFileOrTheNewOne) {
  killAtEachOperation(
      importOfAnna(), [&] { writeFile(file, "old"); },
      [&](const std::string& when) {
        const std::string content = readFile(file);
        EXPECT_TRUE(content == lines("Anna") || content == "old") << when;
      });
  EXPECT_EQ(readFile(file), lines("Anna"));
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Contacts")), (std::vector<std::string>{"contacts.txt"}));
}

TEST_F(ImportContactsRunnerTest, TheFileIsOnTheMediumBeforeItIsTold) {
  expectSyncedAtEnd(importOfAnna(), u"1285");
}

TEST_F(ImportContactsRunnerTest, AReadOnlyFileIsReplaced) {
  writeFile(file, "old");
  fs::permissions(device / "ZELMORA/Contacts/contacts.txt", fs::perms::owner_read);
  EXPECT_EQ(run(importOfAnna()), 0);
  EXPECT_EQ(readFile(file), lines("Anna"));
}

}  // namespace
}  // namespace ZelmoraTevra
