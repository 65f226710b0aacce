#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

// Jobs that end before the device is changed, or with what was done so far.
class RefusedJobTest : public ProgramTest {
 protected:
  RefusedJobTest() {
    job.write("flash/ZELMORA/updates.xml", InstallDescription::registerOf({}));
    job.write("flash/apps/navigator.bin", "an old application");
    job.write("flash/.TevraTemporaryLocation/left", "left over");
    job.write("card/content/maps/alps.dat", "an old map");
  }

  // Runs the command and expects that it fails and leaves the device alone.
  JobResult runRefused(const std::string& command) {
    const Tree flash = job.tree("flash");
    const Tree card = job.tree("card");
    const JobResult result = job.run(command);
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(job.tree("flash"), flash);
    EXPECT_EQ(job.tree("card"), card);
    expectEmptyWorkFolder();
    return result;
  }
  [[nodiscard]] std::string invalidPackage() const {
    return terminalDocument(7, {"100", "Install file is invalid! Contact customer support.", "E:"},
                            {{"exitCode", "1096"}});
  }
};

TEST_F(RefusedJobTest, AWriteProtectedFlashDriveIsReported) {
  job.flash.readOnly = true;
  EXPECT_EQ(
      runRefused(installCommand(localSpringPackage(), true)).document(),
      terminalDocument(7, {"100", "Flash cannot be accessed. Was it ejected or is it write protected?", "E:"},
                       {{"exitCode", "1095"}}));
}

TEST_F(RefusedJobTest, AMissingFlashDriveIsReported) {
  job.flash.present = false;
  EXPECT_EQ(runRefused(installCommand(localSpringPackage(), true)).last.exitCode(), u"1095");
}

TEST_F(RefusedJobTest, AWriteProtectedCardIsReported) {
  job.card.readOnly = true;
  EXPECT_EQ(runRefused(installCommand(localSpringPackage(), true)).document(),
            errorDocument(1172, "Storage card cannot be accessed. Was it ejected or is it write protected?",
                          {{"PATH", "F:"}, {"DRIVE", "F:"}}));
}

TEST_F(RefusedJobTest, AMissingCardIsReported) {
  job.card.present = false;
  EXPECT_EQ(runRefused(installCommand(localSpringPackage(), true)).last.exitCode(), u"1172");
}

TEST_F(RefusedJobTest, APackageThatNeedsACardIsRefusedWithoutOne) {
  EXPECT_EQ(
      runRefused(
          CommandDocument::installPackage("E:", "").localInstall().package(localSpringPackage()).text())
          .document(),
      errorDocument(1015,
                    "To install this content to your ZELMORA device, a SD-Card is needed. Please insert a "
                    "SD-Card."));
}

TEST_F(RefusedJobTest, AnOlderPackageBehindAnotherIsReported) {
  std::filesystem::remove_all(job.path("flash/.TevraTemporaryLocation"));
  CommandPackage older = localPackage("2.zip", "Second", "second.bin", "two");
  older.description = InstallDescription();
  older.description.update("Second", "", 3).file("a", "second.bin", "two");
  EXPECT_EQ(runRefused(CommandDocument::installPackage()
                           .localInstall()
                           .package(localSpringPackage())
                           .package(older)
                           .text())
                .document(),
            errorDocument(1098, "This older package is not first and is not the only one!"));
}

TEST_F(RefusedJobTest, ADescriptionThatCannotBeUnpackedIsReported) {
  std::string command = installCommand(localSpringPackage(), true);
  const std::size_t start = command.find("<installXML>") + 12;
  command.replace(start, command.find('<', start) - start, "bm8gemlw");
  EXPECT_EQ(runRefused(command).document(),
            terminalDocument(7, {"106", "!!!MEMORY -> CORUPTED FILE!!!"}, {{"exitCode", "1030"}}));
}

TEST_F(RefusedJobTest, TempFoldersThatAreTooSmallAreReported) {
  std::filesystem::remove_all(job.path("flash/.TevraTemporaryLocation"));
  std::string command = installCommand(springPackage("http://127.0.0.1/spring.zip?id=42"), false);
  const std::size_t start = command.find("<fileSize>") + 10;
  command.replace(start, command.find('<', start) - start, "4611686018427387904");
  EXPECT_EQ(runRefused(command).document(),
            terminalDocument(7, {"104"}, {{"exitCode", "1099"}, {"PATH", job.path("temp")}, {"DRIVE", ""}}));
}

TEST_F(RefusedJobTest, AMissingTempFolderIsReported) {
  job.tempFolder = job.path("nowhere");
  const JobResult result = job.run(installCommand(localSpringPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"119", "The user default temp folder does not exist!"},
                             {{"exitCode", "1001"}, {"PATH", job.path("nowhere")}, {"DRIVE", ""}}));
}

TEST_F(RefusedJobTest, AMissingBackupFolderIsReported) {
  std::filesystem::remove(job.path("backups"));
  const JobResult result = job.run(installCommand(localSpringPackage(), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"120", "The backup folder path does not exist!"},
                             {{"exitCode", "1003"}, {"PATH", job.path("backups")}, {"DRIVE", ""}}));
}

TEST_F(RefusedJobTest, AnAbortBeforeThePlacementLeavesTheFiles) {
  std::filesystem::remove_all(job.path("flash/.TevraTemporaryLocation"));
  job.writeAbortFile();
  const JobResult result = runRefused(installCommand(localSpringPackage(), true));
  EXPECT_EQ(result.document(), terminalDocument(8, {}, {}));
  EXPECT_FALSE(job.abortFileExists());
}

// The storages' room. The package wants 65,536 bytes of the flash drive and 655,360 of the card: files and
// what they waste in their last clusters of 32,768 bytes.
class RoomTest : public ProgramTest {
 protected:
  RoomTest() { package = localSpringPackage(); }

  struct Figures {
    std::int64_t availableFlash, missingFlash, availableCard, missingCard;
  };
  std::string notEnough(int exitCode, const Figures& figures) const {
    return terminalDocument(
        10, {"110"},
        {{"exitCode", std::to_string(exitCode)},
         {"DriveName", "E:"},
         {"DriveNameExternal", "F:"},
         {"availableSpaceSoftwareStorage", std::to_string(figures.availableFlash)},
         {"neededSpaceSoftwareStorage", std::to_string(figures.missingFlash)},
         {"availableSpaceContentStorage", std::to_string(figures.availableCard)},
         {"neededSpaceContentStorage", std::to_string(figures.missingCard)},
         {"availableSpacePostInstSoftwareStorage", std::to_string(figures.availableFlash - neededFlash)},
         {"availableSpacePostInstContentStorage", std::to_string(figures.availableCard - neededCard)}});
  }
  void expectUntouched(const JobResult& result) const {
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
    EXPECT_TRUE(job.tree("card").empty());
  }

  static constexpr std::int64_t reserve = 10'485'760;
  static constexpr std::int64_t neededFlash = 65'536;
  // Each map takes 300,000 bytes and wastes 27,680.
  static constexpr std::int64_t neededCard = 600'000 + 2 * 27'680;
  CommandPackage package;
};

TEST_F(RoomTest, TooLittleOnTheFlashDriveIsReported) {
  job.flash.capacity = 1'000'000;
  job.card.capacity = 200'000'000;
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.document(),
            notEnough(1100, {1'000'000, reserve + neededFlash - 1'000'000, 200'000'000, 0}));
  expectUntouched(result);
}

TEST_F(RoomTest, TooLittleOnTheCardIsReported) {
  job.flash.capacity = 200'000'000;
  job.card.capacity = 1'000'000;
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.document(),
            notEnough(1274, {200'000'000, 0, 1'000'000, reserve + neededCard - 1'000'000}));
  expectUntouched(result);
}

TEST_F(RoomTest, TooLittleOnBothIsReported) {
  job.flash.capacity = 1'000'000;
  job.card.capacity = 2'000'000;
  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.document(), notEnough(1275, {1'000'000, reserve + neededFlash - 1'000'000, 2'000'000,
                                                reserve + neededCard - 2'000'000}));
  expectUntouched(result);
}

TEST_F(RoomTest, ExactlyEnoughOnBothIsEnough) {
  job.flash.capacity = reserve + neededFlash;
  job.card.capacity = reserve + neededCard;
  EXPECT_EQ(job.run(installCommand(package, true)).document(), success);
  expectSpringInstalled();
}

TEST_F(RoomTest, OneByteLessIsTooLittle) {
  job.flash.capacity = reserve + neededFlash - 1;
  job.card.capacity = reserve + neededCard;
  EXPECT_EQ(job.run(installCommand(package, true)).document(),
            notEnough(1100, {reserve + neededFlash - 1, 1, reserve + neededCard, 0}));
}

TEST_F(RoomTest, TheRoomOfReplacedFilesComesBack) {
  job.flash.capacity = reserve + neededFlash + 5'000'000;
  job.card.capacity = reserve + neededCard + 1;
  job.write("flash/apps/navigator.bin", std::string(5'000'000, 'x'));
  job.write("card/content/maps/alps.dat", "x");
  EXPECT_EQ(job.run(installCommand(package, true)).document(), success);
  expectSpringInstalled();
}

TEST_F(RoomTest, TheExtraSpaceOfADescriptionIsKeptFree) {
  job.flash.capacity = reserve + neededFlash + 999;
  job.card.capacity = reserve + neededCard + 2'000;
  package.description.extraSpace(1'000, 2'000);
  EXPECT_EQ(job.run(installCommand(package, true)).document(),
            notEnough(1100, {reserve + neededFlash + 999, 1, reserve + neededCard + 2'000, 0}));
}

class UnsupportedFlagTest : public ProgramTest, public ::testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(UnsupportedFlagTest, EndsTheProcessAndTheUpdatesPlacedBeforeStayKnown) {
  CommandPackage package;
  ZipBuilder zip;
  zip.add("good", "good content").add("bad", "bad content");
  package.zip = zip.bytes();
  package.url = job.path("p.zip");
  package.description.update("Good", "storage_for_software", 12)
      .file("good", "good.bin", "good content")
      .update("Bad", "storage_for_software", 11)
      .file("bad", "bad.bin", "bad content", GetParam().first);
  job.write("p.zip", package.zip);

  const JobResult result = job.run(installCommand(package, true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(GetParam().second, "Operation not supported!!!"));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
            InstallDescription::registerOf(
                {InstallDescription::registerEntry("Good", "storage_for_software", {"good.bin"})}));
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"},
                                     {"ZELMORA/updates.xml", job.tree("flash").at("ZELMORA/updates.xml")},
                                     {"good.bin", md5Of("good content")}}));
  expectEmptyWorkFolder();
}

INSTANTIATE_TEST_SUITE_P(Flags, UnsupportedFlagTest,
                         ::testing::Values(std::pair(5, 1176), std::pair(6, 1177), std::pair(9, 1178),
                                           std::pair(-1, 1178)));

}  // namespace
}  // namespace ZelmoraTevra
