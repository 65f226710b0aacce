#include <filesystem>

#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "tests/userdata/KmlFilesTest.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class ImportKmlFileRunnerTest : public KmlFilesTest {
 protected:
  ImportKmlFileRunnerTest() { writeFile(path(u"home/a.kml"), track); }

  [[nodiscard]] CommandRecord importOf(const WideText& file, bool overwrite = false) const {
    CommandRecord command = KmlFilesTest::command(u"IMPORT_KML_FILE");
    command.localFilePath = file;
    command.overwrite = overwrite;
    return command;
  }
  [[nodiscard]] CommandRecord importOfTrack(bool overwrite = false) const {
    return importOf(path(u"home/a.kml"), overwrite);
  }
  [[nodiscard]] std::uint64_t enoughRoom() const { return track.size() + reserveBytes + 1; }

  // Three blocks and a half.
  const std::string track = [] {
    std::string content(0x40000 * 7 / 2, ' ');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>('a' + i % 23);
    return content;
  }();
};

TEST_F(ImportKmlFileRunnerTest, TheTrackGoesToTheSecondStorage) {
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess();
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
  EXPECT_EQ(tree(path(u"card")),
            (std::vector<std::string>{"ZELMORA/", "ZELMORA/Tracks/", "ZELMORA/Tracks/a.kml"}));
  EXPECT_EQ(tree(path(u"flash")), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(ImportKmlFileRunnerTest, WithoutASecondStorageItGoesToTheMainOne) {
  CommandRecord import = importOfTrack();
  import.secondDriveLetter.clear();
  EXPECT_EQ(run(import), 0);
  expectSuccess();
  EXPECT_TRUE(readFile(flashTrack(u"a.kml")) == track);
}

TEST_F(ImportKmlFileRunnerTest, WithTheSecondStorageFullItGoesToTheMainOne) {
  setCapacities(enoughRoom(), enoughRoom() - 1);
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess();
  EXPECT_TRUE(readFile(flashTrack(u"a.kml")) == track);
  EXPECT_FALSE(fileExists(cardTrack(u"a.kml")));
}

TEST_F(ImportKmlFileRunnerTest, ASecondStorageThatIsNotThereHasNoRoom) {
  CommandRecord import = importOfTrack();
  import.secondDriveLetter = u"G:";
  EXPECT_EQ(run(import), 0);
  EXPECT_TRUE(readFile(flashTrack(u"a.kml")) == track);
}

TEST_F(ImportKmlFileRunnerTest, OneByteMoreThanSizeAndReserveFits) {
  setCapacities(0, enoughRoom());
  EXPECT_EQ(run(importOfTrack()), 0);
  EXPECT_TRUE(fileExists(cardTrack(u"a.kml")));
}

TEST_F(ImportKmlFileRunnerTest, ExactlySizeAndReserveDoesNotFit) {
  setCapacities(enoughRoom() - 1, enoughRoom() - 1);
  const std::map<WideText, WideText> extras{
      {u"PATH", u"E:"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"10.88"}, {u"UNIT", u"MB"}};
  EXPECT_EQ(run(importOfTrack()), -1);
  expectError(u"1190", {u"The file not fit to the device!"}, extras);
  CommandRecord mainOnly = importOfTrack();
  mainOnly.secondDriveLetter.clear();
  EXPECT_EQ(run(mainOnly), -1);
  expectError(u"1190", {u"The file not fit to the device!"}, extras);
  EXPECT_EQ(tree(path(u"flash")), (std::vector<std::string>{"ZELMORA/"}));
  EXPECT_EQ(tree(path(u"card")), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(ImportKmlFileRunnerTest, TheRoomOfAFileThatIsReplacedDoesNotCount) {
  writeFile(cardTrack(u"a.kml"), track);
  setCapacities(0, enoughRoom() + track.size() - 1);
  EXPECT_EQ(run(importOfTrack(true)), -1);
  EXPECT_EQ(status().exitCode(), u"1190");
}

TEST_F(ImportKmlFileRunnerTest, WhatAKilledImportLeftOnEitherStorageTakesUpNoRoom) {
  const WideText left(unfinishedCopyName);
  writeFile(flashTrack(left), std::string(1000, 'x'));
  writeFile(cardTrack(left), std::string(1000, 'x'));
  setCapacities(0, enoughRoom());
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess();
  EXPECT_EQ(tree(path(u"card/ZELMORA/Tracks")), (std::vector<std::string>{"a.kml"}));
  EXPECT_TRUE(tree(path(u"flash/ZELMORA/Tracks")).empty());
}

TEST_F(ImportKmlFileRunnerTest, AnotherExtensionIs1185EvenIfTheFileIsMissing) {
  for (const WideText name : {u"a.KML", u"a.Kml", u"a.kmz", u"kml", u"a.kml.txt", u"a.kml/", u"a.kml "}) {
    EXPECT_EQ(run(importOf(path(u"home/") + name)), -1);
    expectError(u"1185", {u"The file has not kml extension!"});
  }
}

TEST_F(ImportKmlFileRunnerTest, AMissingFileOrAFolderIs1186) {
  makeFolder(path(u"home/folder.kml"));
  for (const WideText name : {u"home/none.kml", u"home/folder.kml", u"none/a.kml"}) {
    EXPECT_EQ(run(importOf(path(name))), -1);
    expectError(u"1186", {u"The file does not exist!"}, {{u"FILE", path(name)}});
  }
}

TEST_F(ImportKmlFileRunnerTest, BothSeparatorsGiveTheSameLeaf) {
  for (const WideText& file :
       {toForwardSlashes(path(u"home/a.kml")), toBackslashes(path(u"home/a.kml")), path(u"home\\a.kml")}) {
    fs::remove_all(folder.native() / "card/ZELMORA/Tracks");
    EXPECT_EQ(run(importOf(file)), 0);
    expectSuccess();
    EXPECT_EQ(tree(path(u"card/ZELMORA/Tracks")), (std::vector<std::string>{"a.kml"}));
  }
}

TEST_F(ImportKmlFileRunnerTest, WithoutOverwriteAFileOfTheNameIsASuccessWith1232AndStays) {
  writeFile(cardTrack(u"a.kml"), "old");
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess(u"1232");
  EXPECT_EQ(readFile(cardTrack(u"a.kml")), "old");
}

TEST_F(ImportKmlFileRunnerTest, OnlyTheTargetsOwnFileOfTheNameCounts) {
  writeFile(flashTrack(u"a.kml"), "old");
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess();
  EXPECT_EQ(readFile(flashTrack(u"a.kml")), "old");
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
}

TEST_F(ImportKmlFileRunnerTest, OverwriteReplacesTheFile) {
  writeFile(cardTrack(u"a.kml"), "old");
  EXPECT_EQ(run(importOfTrack(true)), 0);
  expectSuccess();
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
  EXPECT_EQ(tree(path(u"card/ZELMORA/Tracks")), (std::vector<std::string>{"a.kml"}));
}

TEST_F(ImportKmlFileRunnerTest, AnEmptyTrackIsCopied) {
  writeFile(path(u"home/empty.kml"), "");
  EXPECT_EQ(run(importOf(path(u"home/empty.kml"))), 0);
  expectSuccess();
  EXPECT_EQ(readFile(cardTrack(u"empty.kml")), "");
}

TEST_F(ImportKmlFileRunnerTest, ProgressIsToldInTheStateOfAnImport) {
  EXPECT_EQ(run(importOfTrack()), 0);
  ASSERT_EQ(statusHistory().size(), 2U);
  const SavedStatus& progress = statusHistory().front();
  EXPECT_EQ(progress.state, statImportKmlInProgress);
  EXPECT_EQ(progress.descriptions[1], u"262144 / 917504");
  EXPECT_EQ(ProgressObserver::instance().position(), 0U);
  EXPECT_FALSE(ProgressObserver::instance().addProgress(1, statImportKmlInProgress)) << "it is given back";
}

TEST_F(ImportKmlFileRunnerTest, WithoutTheDevicesFolderNothingCanBeCreated) {
  fs::remove(folder.native() / "card/ZELMORA");
  EXPECT_EQ(run(importOfTrack()), -1);
  expectError(u"1188", {u"Could not create the destination file!"},
              {{u"FILE", u"F:/ZELMORA/Tracks/a.kml"}, {u"PATH", u"F:/ZELMORA/Tracks"}});
  EXPECT_TRUE(tree(path(u"card")).empty());
}

TEST_F(ImportKmlFileRunnerTest, AWriteProtectedSecondStorageIsNoReasonToTurnToTheMainOne) {
  cardReadOnly = true;
  setCapacities(100'000'000, 100'000'000);
  EXPECT_EQ(run(importOfTrack()), -1);
  EXPECT_EQ(status().exitCode(), u"1188");
  EXPECT_EQ(tree(path(u"flash")), (std::vector<std::string>{"ZELMORA/"}));
}

TEST_F(ImportKmlFileRunnerTest, NothingIsWrittenThroughALinkOnTheDevice) {
  makeFolder(path(u"outside"));
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "card/ZELMORA/Tracks");
  EXPECT_EQ(run(importOfTrack(true)), -1);
  expectError(u"1188", {u"Could not create the destination file!"},
              {{u"FILE", u"F:/ZELMORA/Tracks/a.kml"}, {u"PATH", u"F:/ZELMORA/Tracks"}});

  fs::remove(folder.native() / "card/ZELMORA/Tracks");
  fs::remove(folder.native() / "card/ZELMORA");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "card/ZELMORA");
  EXPECT_EQ(run(importOfTrack(true)), -1);
  EXPECT_EQ(status().exitCode(), u"1188");
  EXPECT_TRUE(tree(path(u"outside")).empty());
}

TEST_F(ImportKmlFileRunnerTest, ALinkOfTheNameMakesWayForTheCopy) {
  writeFile(path(u"outside/b.kml"), "mine");
  makeFolder(path(u"card/ZELMORA/Tracks"));
  fs::create_symlink(folder.native() / "outside/b.kml", folder.native() / "card/ZELMORA/Tracks/a.kml");
  EXPECT_EQ(run(importOfTrack()), 0);
  expectSuccess(u"1232");
  EXPECT_EQ(run(importOfTrack(true)), 0);
  expectSuccess();
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
  EXPECT_FALSE(fs::is_symlink(folder.native() / "card/ZELMORA/Tracks/a.kml"));
  EXPECT_EQ(readFile(path(u"outside/b.kml")), "mine");
}

TEST_F(ImportKmlFileRunnerTest, ATrackOfTheDeviceItselfIsNotCopiedOverItself) {
  writeFile(cardTrack(u"a.kml"), track);
  EXPECT_EQ(run(importOf(u"F:\\ZELMORA\\Tracks\\a.kml", true)), -1);
  EXPECT_EQ(status().exitCode(), u"1188");
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
}

TEST_F(ImportKmlFileRunnerTest, AnAbortLeavesTheOldFileAndIsTheLastStatus) {
  writeFile(cardTrack(u"a.kml"), "old");
  requestAbort();
  EXPECT_EQ(run(importOfTrack(true)), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_EQ(readFile(cardTrack(u"a.kml")), "old");
  EXPECT_EQ(tree(path(u"card/ZELMORA/Tracks")), (std::vector<std::string>{"a.kml"}));
}

TEST_F(ImportKmlFileRunnerTest, AFileThatCannotBeReadIs1187AndOneThatCannotBeWrittenIs1189) {
  struct : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      if (mode != platform::OpenMode::read) return target().open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
      return nullptr;
    }
  } unreadable{disk};
  EXPECT_EQ(runOn(unreadable, importOfTrack()), -1);
  expectError(u"1187", {u"Could not open the sources file!"}, {{u"FILE", path(u"home/a.kml")}});

  FaultyFileSystem full(disk);
  full.failsToClose = [](const WideText& file) { return file.find(u"ZELMORA") != WideText::npos; };
  EXPECT_EQ(runOn(full, importOfTrack()), -1);
  expectError(u"1189", {u"An error occurred at the copy process!"});
  EXPECT_TRUE(tree(path(u"card/ZELMORA/Tracks")).empty());
}

TEST_F(ImportKmlFileRunnerTest, WhateverFailsTheOldFileStaysUntilTheWholeNewOneIsThere) {
  failEachOperation(
      importOfTrack(true), [&] { writeFile(cardTrack(u"a.kml"), "old"); },
      [&](int result, const std::string& when) {
        const std::string content = readFile(cardTrack(u"a.kml"));
        EXPECT_TRUE(content == track || (result != 0 && content == "old")) << when;
      });
}

TEST_F(ImportKmlFileRunnerTest, WhateverFailsThereIsNoHalfFileUnderTheName) {
  failEachOperation(
      importOfTrack(), [&] { fs::remove_all(folder.native() / "card/ZELMORA/Tracks"); },
      [&](int result, const std::string& when) {
        const std::string content = readFile(cardTrack(u"a.kml"));
        EXPECT_TRUE(content == track || (result != 0 && content == "<missing>")) << when;
      });
}

TEST_F(ImportKmlFileRunnerTest, KilledAtAnyMomentItLeavesTheOldFileOrTheNewOne) {
  killAtEachOperation(
      importOfTrack(true), [&] { writeFile(cardTrack(u"a.kml"), "old"); },
      [&](const std::string& when) {
        const std::string content = readFile(cardTrack(u"a.kml"));
        EXPECT_TRUE(content == track || content == "old") << when;
      });
  EXPECT_TRUE(readFile(cardTrack(u"a.kml")) == track);
  EXPECT_EQ(tree(path(u"card/ZELMORA/Tracks")), (std::vector<std::string>{"a.kml"}))
      << "what a killed job left is taken away by the next one";
}

TEST_F(ImportKmlFileRunnerTest, TheDeviceTestComesFirst) {
  expectDeviceTestFirst(importOf(path(u"home/none.txt")));
}

TEST_F(ImportKmlFileRunnerTest, ATrackIsOnTheMediumBeforeItIsTold) {
  expectSyncedAtEnd(importOfTrack(true), u"1189");
}

}  // namespace
}  // namespace ZelmoraTevra
