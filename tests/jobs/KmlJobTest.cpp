#include "core/Globals.h"
#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

// The real program and the tracks of a simulated device.
class KmlJobTest : public ProgramTest {
 protected:
  KmlJobTest() {
    job.write("flash/ZELMORA/Tracks/Isar.kml", isar);
    job.write("card/ZELMORA/Tracks/Karwendel.kml", karwendel);
    job.write("home/Inn.kml", inn);
  }

  static CommandDocument command(const std::string& name) {
    return CommandDocument(name).encoded("StorageCardDriveLetter", "E:").encoded("SecondDriveLetter", "F:");
  }
  [[nodiscard]] CommandDocument importOfInn() const {
    return command("IMPORT_KML_FILE").encoded("LocalFilePath", job.path("home/Inn.kml"));
  }
  [[nodiscard]] CommandDocument exportOf(const std::string& name) const {
    return command("EXPORT_KML_FILE")
        .plain("FileName", name)
        .encoded("DestinationFolderPath", job.path("home"));
  }
  static CommandDocument deleteOf(const std::string& name) {
    return command("DELETE_KML_FILE").plain("FileName", name);
  }

  const std::string isar = noise(300'000, 11);
  const std::string karwendel = noise(10'000, 12);
  const std::string inn = noise(700'000, 13);
};

TEST_F(KmlJobTest, TheTracksOfBothStoragesAreTheResponseAndThereIsNoStatus) {
  const JobResult result = job.run(command("GET_KML_FILES").text());
  EXPECT_EQ(result.exitValue, 0);
  const std::string response = job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml");
  std::string dated = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<KmlResponse>\n";
  for (const char* name : {"Isar.kml", "Karwendel.kml"}) {
    // The files are as old as the test, be it before or after midnight.
    const std::string start = "    <kmlFile creationDate=\"";
    const std::string date = response.substr(dated.size() + start.size(), 10);
    EXPECT_EQ(date.find_first_not_of("0123456789-"), std::string::npos) << date;
    EXPECT_EQ(std::string({date[4], date[7]}), "--");
    dated += start + date + "\">" + name + "</kmlFile>\n";
  }
  EXPECT_EQ(response, dated + "</KmlResponse>\n");
}

TEST_F(KmlJobTest, ATrackIsImportedExportedAndDeleted) {
  EXPECT_EQ(job.run(importOfInn().text()).document(), success);
  EXPECT_EQ(job.tree("card"), (Tree{{"ZELMORA", "folder"},
                                    {"ZELMORA/Tracks", "folder"},
                                    {"ZELMORA/Tracks/Inn.kml", md5Of(inn)},
                                    {"ZELMORA/Tracks/Karwendel.kml", md5Of(karwendel)}}));
  const JobResult result = job.run(
      CommandDocument::sequenceOf({exportOf("Isar.kml").element(), exportOf("Karwendel.kml").element(),
                                   deleteOf("Isar.kml").element(), deleteOf("Inn.kml").element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("home"),
            (Tree{{"Inn.kml", md5Of(inn)}, {"Isar.kml", md5Of(isar)}, {"Karwendel.kml", md5Of(karwendel)}}));
  EXPECT_EQ(job.tree("flash/ZELMORA/Tracks"), Tree());
  EXPECT_EQ(job.tree("card/ZELMORA/Tracks"), (Tree{{"Karwendel.kml", md5Of(karwendel)}}));
}

TEST_F(KmlJobTest, TheStatesOfBothCopiesAreTold) {
  job.run(CommandDocument::sequenceOf({importOfInn().element(), exportOf("Isar.kml").element()}));
  EXPECT_EQ(job.loggedStates(), (std::vector<std::string>{"statImportKmlInProgress", "statSuccess",
                                                          "statExportKmlInProgress", "statSuccess"}));
}

TEST_F(KmlJobTest, AnImportOverATrackAsksFirst) {
  job.write("card/ZELMORA/Tracks/Inn.kml", "old");
  JobResult result = job.run(importOfInn().text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), terminalDocument(9, {}, {{"exitCode", "1232"}}));
  EXPECT_EQ(job.read("card/ZELMORA/Tracks/Inn.kml"), "old");
  EXPECT_EQ(job.run(importOfInn().attribute("Overwrite", "true").text()).document(), success);
  EXPECT_TRUE(job.read("card/ZELMORA/Tracks/Inn.kml") == inn);
}

TEST_F(KmlJobTest, TheFreeBytesOfTheStoragesDecideWhereATrackGoes) {
  const auto need = static_cast<std::int64_t>(inn.size()) + reserveBytes;
  const auto usedOnFlash = static_cast<std::int64_t>(isar.size());
  const auto usedOnCard = static_cast<std::int64_t>(karwendel.size());
  job.card.capacity = need + usedOnCard;
  job.flash.capacity = need + usedOnFlash;
  const JobResult result = job.run(importOfInn().text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1190, "The file not fit to the device!",
                          {{"PATH", "E:"}, {"DRIVE", "E:"}, {"PATH_SIZE", "10.67"}, {"UNIT", "MB"}}));
  job.flash.capacity = need + usedOnFlash + 1;
  EXPECT_EQ(job.run(importOfInn().text()).document(), success);
  EXPECT_TRUE(job.exists("flash/ZELMORA/Tracks/Inn.kml"));
  job.card.capacity = need + usedOnCard + 1;
  EXPECT_EQ(job.run(importOfInn().text()).document(), success);
  EXPECT_TRUE(job.exists("card/ZELMORA/Tracks/Inn.kml"));
}

TEST_F(KmlJobTest, ADeviceThatIsGoneIsToldFirst) {
  job.flash.present = false;
  for (const std::string& document :
       {command("GET_KML_FILES").text(), importOfInn().text(), exportOf("x").text(), deleteOf("x").text()}) {
    const JobResult result = job.run(document);
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(), errorDocument(1233, "Device disconnected error!"));
  }
}

TEST_F(KmlJobTest, ANameThatLeavesTheTracksIsNotFound) {
  job.write("flash/ZELMORA/version.xml", "mine");
  const std::string name = "../version.xml";
  EXPECT_EQ(job.run(exportOf(name).text()).document(),
            errorDocument(1193, "The file does not exist on the device!",
                          {{"FILE", "E:/ZELMORA/Tracks/../version.xml"}}));
  EXPECT_EQ(job.run(deleteOf(name).text()).document(),
            errorDocument(1197, "The file does not exist on the device!",
                          {{"FILE", "E:/ZELMORA/Tracks/../version.xml"}}));
  EXPECT_EQ(job.read("flash/ZELMORA/version.xml"), "mine");
  EXPECT_EQ(job.tree("home"), (Tree{{"Inn.kml", md5Of(inn)}}));
}

TEST_F(KmlJobTest, AnAbortedImportLeavesTheOldTrack) {
  job.write("card/ZELMORA/Tracks/Inn.kml", "old");
  job.writeAbortFile();
  const JobResult result = job.run(importOfInn().attribute("Overwrite", "true").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(job.read("card/ZELMORA/Tracks/Inn.kml"), "old");
  EXPECT_EQ(job.tree("card/ZELMORA/Tracks").size(), 2U);
}

TEST_F(KmlJobTest, ABadParameterAnywhereLeavesTheDeviceUntouched) {
  const JobResult result =
      job.run(CommandDocument::sequenceOf({importOfInn().element(), command("EXPORT_KML_FILE").element()}));
  EXPECT_EQ(result.document(), errorDocument(1182, "Error on reading the export kml files parameters!"));
  EXPECT_FALSE(job.exists("card/ZELMORA/Tracks/Inn.kml"));
}

}  // namespace
}  // namespace ZelmoraTevra
