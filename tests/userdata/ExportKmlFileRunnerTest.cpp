#include <filesystem>

#include "core/Text.h"
#include "tests/support/SmallVolume.h"
#include "tests/userdata/KmlFilesTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class ExportKmlFileRunnerTest : public KmlFilesTest {
 protected:
  ExportKmlFileRunnerTest() {
    writeFile(flashTrack(u"a.kml"), "of the flash");
    writeFile(cardTrack(u"b.kml"), "of the card");
  }
  [[nodiscard]] CommandRecord exportOf(const WideText& name, const WideText& destination = {}) const {
    CommandRecord command = KmlFilesTest::command(u"EXPORT_KML_FILE");
    command.fileName = name;
    command.destinationFolder = destination.empty() ? path(u"home") : destination;
    return command;
  }
};

TEST_F(ExportKmlFileRunnerTest, ATrackOfEitherStorageIsCopied) {
  EXPECT_EQ(run(exportOf(u"a.kml")), 0);
  expectSuccess();
  EXPECT_EQ(readFile(path(u"home/a.kml")), "of the flash");
  EXPECT_EQ(run(exportOf(u"b.kml")), 0);
  expectSuccess();
  EXPECT_EQ(readFile(path(u"home/b.kml")), "of the card");
  EXPECT_EQ(tree(path(u"home")), (std::vector<std::string>{"a.kml", "b.kml"}));
  EXPECT_EQ(readFile(flashTrack(u"a.kml")), "of the flash");
}

TEST_F(ExportKmlFileRunnerTest, OfTwoOfTheNameThatOfTheSecondStorageIsCopied) {
  writeFile(cardTrack(u"a.kml"), "of the card too");
  EXPECT_EQ(run(exportOf(u"a.kml")), 0);
  EXPECT_EQ(readFile(path(u"home/a.kml")), "of the card too");
  CommandRecord mainOnly = exportOf(u"a.kml");
  mainOnly.secondDriveLetter.clear();
  EXPECT_EQ(run(mainOnly), 0);
  EXPECT_EQ(readFile(path(u"home/a.kml")), "of the flash");
}

TEST_F(ExportKmlFileRunnerTest, AFileAtTheDestinationIsReplaced) {
  writeFile(path(u"home/a.kml"), "a longer text that was there before");
  EXPECT_EQ(run(exportOf(u"a.kml")), 0);
  expectSuccess();
  EXPECT_EQ(readFile(path(u"home/a.kml")), "of the flash");
}

TEST_F(ExportKmlFileRunnerTest, AnyExtensionWillDo) {
  writeFile(flashTrack(u"notes.txt"), "text");
  EXPECT_EQ(run(exportOf(u"notes.txt")), 0);
  EXPECT_EQ(readFile(path(u"home/notes.txt")), "text");
}

TEST_F(ExportKmlFileRunnerTest, AnUnknownNameIs1193) {
  makeFolder(flashTrack(u"folder.kml"));
  for (const WideText name : {u"none.kml", u"folder.kml"}) {
    EXPECT_EQ(run(exportOf(name)), -1);
    expectError(u"1193", {u"The file does not exist on the device!"},
                {{u"FILE", u"E:/ZELMORA/Tracks/" + name}});
  }
}

TEST_F(ExportKmlFileRunnerTest, ANameThatIsNoneOfAFileInTheFolderIs1193) {
  for (const WideText place : {u"flash/ZELMORA/a.kml", u"flash/a.kml", u"outside/a.kml"})
    writeFile(path(place), "secret");
  writeFile(flashTrack(u"sub/a.kml"), "below");
  for (const WideText& name : namesThatLeave) {
    EXPECT_EQ(run(exportOf(name)), -1);
    expectError(u"1193", {u"The file does not exist on the device!"},
                {{u"FILE", toForwardSlashes(u"E:/ZELMORA/Tracks/" + name)}});
  }
  EXPECT_TRUE(tree(path(u"home")).empty());
}

TEST_F(ExportKmlFileRunnerTest, WhatALinkOnTheDeviceLeadsToIsNotCopied) {
  writeFile(path(u"outside/c.kml"), "secret");
  fs::create_symlink(folder.native() / "outside/c.kml", folder.native() / "flash/ZELMORA/Tracks/c.kml");
  fs::remove_all(folder.native() / "card/ZELMORA/Tracks");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "card/ZELMORA/Tracks");
  EXPECT_EQ(run(exportOf(u"c.kml")), -1);
  EXPECT_EQ(status().exitCode(), u"1193");
  EXPECT_TRUE(tree(path(u"home")).empty());
}

TEST_F(ExportKmlFileRunnerTest, AMissingDestinationFolderTellsTheStorage) {
  const WideText missing = path(u"home/none");
  EXPECT_EQ(run(exportOf(u"b.kml", missing)), -1);
  expectError(u"1192", {u"The destination folder does not exist!"}, {{u"PATH", missing}, {u"DRIVE", u""}});
  EXPECT_EQ(run(exportOf(u"a.kml", missing)), -1);
  expectError(u"1195", {u"The destination folder does not exist!"}, {{u"PATH", missing}, {u"DRIVE", u""}});
  writeFile(missing, "a file");
  EXPECT_EQ(run(exportOf(u"a.kml", missing)), -1);
  EXPECT_EQ(status().exitCode(), u"1195");
}

TEST_F(ExportKmlFileRunnerTest, TooLittleRoomAtTheDestinationTellsTheStorage) {
  const std::string track(2'000'000, 'x');
  writeFile(flashTrack(u"big.kml"), track);
  // The destination is on the card, the only volume of a chosen size here.
  const auto exported = [&](std::int64_t room) {
    setCapacities(100'000'000, static_cast<std::uint64_t>(room) + 11);
    return run(exportOf(u"big.kml", u"F:\\ZELMORA"));
  };
  EXPECT_EQ(exported(1'999'999), -1);
  expectError(u"1194", {u"There is not enough space on destination folder!"},
              {{u"PATH", u"F:/ZELMORA"}, {u"DRIVE", u"F:"}, {u"PATH_SIZE", u"1.91"}, {u"UNIT", u"MB"}});
  EXPECT_EQ(exported(2'000'000), 0) << "room that is just enough is";
  EXPECT_TRUE(readFile(path(u"card/ZELMORA/big.kml")) == track);

  writeFile(cardTrack(u"big.kml"), track);
  CommandRecord swapped = exportOf(u"big.kml", u"E:\\ZELMORA");
  setCapacities(3'999'999, 100'000'000);
  fs::remove(folder.native() / "flash/ZELMORA/Tracks/a.kml");
  EXPECT_EQ(run(swapped), -1);
  expectError(u"1191", {u"There is not enough space on destination folder!"},
              {{u"PATH", u"E:/ZELMORA"}, {u"DRIVE", u"E:"}, {u"PATH_SIZE", u"1.91"}, {u"UNIT", u"MB"}});
}

TEST_F(ExportKmlFileRunnerTest, ADiskThatFillsUpIs1189AndTheOldFileStays) {
  makeFolder(path(u"small"));
  const SmallVolume small(folder.native() / "small", 1 << 20);
  if (!small.isMounted()) GTEST_SKIP() << "needs the right to mount";
  writeFile(path(u"small/a.kml"), "old");
  writeFile(flashTrack(u"a.kml"), std::string(900'000, 'x'));
  // Something else takes the room meanwhile.
  FaultyFileSystem greedy(disk);
  greedy.before = [&, done = false](int, const std::string& operation) mutable {
    if (operation == "write" && !std::exchange(done, true))
      writeFile(path(u"small/other"), std::string(500'000, 'y'));
  };
  EXPECT_EQ(runOn(greedy, exportOf(u"a.kml", path(u"small"))), -1);
  expectError(u"1189", {u"An error occurred at the copy process!"});
  EXPECT_EQ(tree(path(u"small")), (std::vector<std::string>{"a.kml", "other"}));
  EXPECT_EQ(readFile(path(u"small/a.kml")), "old");
}

TEST_F(ExportKmlFileRunnerTest, ProgressIsToldInTheStateOfAnExport) {
  writeFile(flashTrack(u"a.kml"), std::string(0x40000 + 1, 'x'));
  EXPECT_EQ(run(exportOf(u"a.kml")), 0);
  ASSERT_EQ(statusHistory().size(), 2U);
  EXPECT_EQ(statusHistory().front().state, statExportKmlInProgress);
  EXPECT_EQ(statusHistory().front().descriptions[1], u"262144 / 262145");
}

TEST_F(ExportKmlFileRunnerTest, AnAbortIsTheLastStatus) {
  requestAbort();
  EXPECT_EQ(run(exportOf(u"a.kml")), -1);
  EXPECT_EQ(status().state, statAbort);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_TRUE(tree(path(u"home")).empty());
}

TEST_F(ExportKmlFileRunnerTest, WhateverFailsTheOldFileStaysUntilTheWholeNewOneIsThere) {
  failEachOperation(
      exportOf(u"a.kml"), [&] { writeFile(path(u"home/a.kml"), "old"); },
      [&](int result, const std::string& when) {
        const std::string content = readFile(path(u"home/a.kml"));
        EXPECT_TRUE(content == "of the flash" || (result != 0 && content == "old")) << when;
      });
}

TEST_F(ExportKmlFileRunnerTest, TheDeviceTestComesFirst) {
  expectDeviceTestFirst(exportOf(u"none.kml", path(u"none")));
}

TEST_F(ExportKmlFileRunnerTest, WhatAKilledCopyLeftTakesUpNoRoomAndIsNoTrack) {
  writeFile(path(u"card/Tevra_131284_copy"), std::string(1000, 'h'));
  const std::size_t present = readFile(cardTrack(u"b.kml")).size();
  setCapacities(100'000'000, present + readFile(flashTrack(u"a.kml")).size());
  EXPECT_EQ(run(exportOf(u"a.kml", u"F:")), 0);
  expectSuccess();
  EXPECT_FALSE(fileExists(path(u"card/Tevra_131284_copy")));
  setCapacities(100'000'000, 100'000'000);
  writeFile(flashTrack(u"Tevra_131284_copy"), "half");
  EXPECT_EQ(run(exportOf(u"Tevra_131284_copy", u"E:/ZELMORA/Tracks")), -1);
  EXPECT_EQ(status().exitCode(), u"1193");
  EXPECT_EQ(readFile(flashTrack(u"Tevra_131284_copy")), "half");
}

}  // namespace
}  // namespace ZelmoraTevra
