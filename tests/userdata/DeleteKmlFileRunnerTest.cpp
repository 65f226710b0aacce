#include <filesystem>

#include "core/Text.h"
#include "tests/userdata/KmlFilesTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

class DeleteKmlFileRunnerTest : public KmlFilesTest {
 protected:
  DeleteKmlFileRunnerTest() { writeFile(flashTrack(u"a.kml"), "of the flash"); }

  [[nodiscard]] static CommandRecord deleteOf(const WideText& name) {
    CommandRecord command = KmlFilesTest::command(u"DELETE_KML_FILE");
    command.fileName = name;
    return command;
  }
};

// The drive gives no file away.
class KeepingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (path.find(u"Tracks") == WideText::npos) return target().removeFile(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    return false;
  }
};

TEST_F(DeleteKmlFileRunnerTest, ATrackOfTheMainStorageIsDeleted) {
  writeFile(flashTrack(u"b.kml"), "stays");
  EXPECT_EQ(run(deleteOf(u"a.kml")), 0);
  expectSuccess();
  EXPECT_EQ(tree(path(u"flash/ZELMORA/Tracks")), (std::vector<std::string>{"b.kml"}));
}

TEST_F(DeleteKmlFileRunnerTest, OfTwoOfTheNameOnlyThatOfTheSecondStorageGoes) {
  writeFile(cardTrack(u"a.kml"), "of the card");
  EXPECT_EQ(run(deleteOf(u"a.kml")), 0);
  expectSuccess();
  EXPECT_FALSE(fileExists(cardTrack(u"a.kml")));
  EXPECT_EQ(readFile(flashTrack(u"a.kml")), "of the flash");
  EXPECT_EQ(run(deleteOf(u"a.kml")), 0);
  EXPECT_FALSE(fileExists(flashTrack(u"a.kml")));
}

TEST_F(DeleteKmlFileRunnerTest, ASecondStorageThatIsNotNamedIsNotLookedAt) {
  writeFile(cardTrack(u"a.kml"), "of the card");
  CommandRecord command = deleteOf(u"a.kml");
  command.secondDriveLetter.clear();
  EXPECT_EQ(run(command), 0);
  EXPECT_TRUE(fileExists(cardTrack(u"a.kml")));
  EXPECT_FALSE(fileExists(flashTrack(u"a.kml")));
}

TEST_F(DeleteKmlFileRunnerTest, AReadOnlyTrackIsDeleted) {
  fs::permissions(folder.native() / "flash/ZELMORA/Tracks/a.kml", fs::perms::owner_read);
  EXPECT_EQ(run(deleteOf(u"a.kml")), 0);
  EXPECT_FALSE(fileExists(flashTrack(u"a.kml")));
}

TEST_F(DeleteKmlFileRunnerTest, AnUnknownNameIs1197) {
  makeFolder(flashTrack(u"folder.kml"));
  for (const WideText name : {u"none.kml", u"folder.kml"}) {
    EXPECT_EQ(run(deleteOf(name)), -1);
    expectError(u"1197", {u"The file does not exist on the device!"},
                {{u"FILE", u"E:/ZELMORA/Tracks/" + name}});
  }
}

TEST_F(DeleteKmlFileRunnerTest, ANameThatIsNoneOfAFileInTheFolderIs1197AndDeletesNothing) {
  for (const WideText place :
       {u"flash/ZELMORA/a.kml", u"flash/a.kml", u"outside/a.kml", u"flash/ZELMORA/Tracks/sub/a.kml"})
    writeFile(path(place), "stays");
  const std::vector<std::string> before = tree(path(u""));
  for (const WideText& name : namesThatLeave) {
    EXPECT_EQ(run(deleteOf(name)), -1);
    expectError(u"1197", {u"The file does not exist on the device!"},
                {{u"FILE", toForwardSlashes(u"E:/ZELMORA/Tracks/" + name)}});
  }
  std::vector<std::string> after = tree(path(u""));
  std::erase_if(after, [](const std::string& name) { return name.find("ud_") != std::string::npos; });
  EXPECT_EQ(after, before);
}

TEST_F(DeleteKmlFileRunnerTest, ALinkAndWhatItLeadsToStay) {
  writeFile(path(u"outside/c.kml"), "stays");
  fs::create_symlink(folder.native() / "outside/c.kml", folder.native() / "flash/ZELMORA/Tracks/c.kml");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "card/ZELMORA/Tracks");
  EXPECT_EQ(run(deleteOf(u"c.kml")), -1);
  EXPECT_EQ(status().exitCode(), u"1197");
  EXPECT_EQ(readFile(path(u"outside/c.kml")), "stays");
}

TEST_F(DeleteKmlFileRunnerTest, ATrackThatStaysIs1196OnTheSecondStorageAnd1198OnTheMainOne) {
  KeepingFileSystem keeping(disk);
  EXPECT_EQ(runOn(keeping, deleteOf(u"a.kml")), -1);
  expectError(u"1198", {u"The file could not be deleted!"},
              {{u"PATH", u"E:/ZELMORA/Tracks"}, {u"DRIVE", u"E:"}, {u"FILE", u"a.kml"}});
  writeFile(cardTrack(u"a.kml"), "of the card");
  EXPECT_EQ(runOn(keeping, deleteOf(u"a.kml")), -1);
  expectError(u"1196", {u"The file could not be deleted!"},
              {{u"PATH", u"F:/ZELMORA/Tracks"}, {u"DRIVE", u"F:"}, {u"FILE", u"a.kml"}});
  EXPECT_TRUE(fileExists(flashTrack(u"a.kml"))) << "the main storage isn't looked at then";
}

TEST_F(DeleteKmlFileRunnerTest, AWriteProtectedSecondStorageKeepsItsTrack) {
  writeFile(cardTrack(u"a.kml"), "of the card");
  cardReadOnly = true;
  setCapacities(100'000'000, 100'000'000);
  EXPECT_EQ(run(deleteOf(u"a.kml")), -1);
  EXPECT_EQ(status().exitCode(), u"1196");
  EXPECT_TRUE(fileExists(flashTrack(u"a.kml")));
}

TEST_F(DeleteKmlFileRunnerTest, TheDeviceTestComesFirst) {
  expectDeviceTestFirst(deleteOf(u"none.kml"));
}

}  // namespace
}  // namespace ZelmoraTevra
