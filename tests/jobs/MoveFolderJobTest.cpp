#include <filesystem>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

// Jobs that move the backups or the temporary folder.
class MoveFolderJobTest : public ProgramTest {
 protected:
  MoveFolderJobTest() {
    addBackup("Alps 2026", "storage_for_software\\ZELMORA\\map\\alps.map", alpsMap);
    addBackup("Ελλάδα & co", "storage_for_content\\a &amp; b.map", "a map");
    fs::create_directory(job.path("new"));
    before = job.tree("backups");
  }

  void addBackup(const std::string& name, const std::string& file, const std::string& content) {
    std::string path = file;
    for (char& unit : path)
      if (unit == '\\') unit = '/';
    if (const std::size_t entity = path.find("&amp;"); entity != std::string::npos)
      path.replace(entity, 5, "&");
    job.write("backups/" + name + '/' + path, content);
    const std::string description = "<BackupContents><backup /><BackupFiles><File path=\"" + file +
                                    "\" size=\"" + std::to_string(content.size()) +
                                    "\" hash=\"\" /></BackupFiles></BackupContents>\n";
    job.write("backups/" + name + '/' + name + ".xml", description);
    need += static_cast<std::int64_t>(content.size() + description.size());
  }
  static CommandDocument command(const std::string& name, const std::string& from, const std::string& to) {
    CommandDocument document(name);
    if (!from.empty()) document.plain("OldFolder", from);
    if (!to.empty()) document.plain("NewFolder", to);
    return document;
  }
  [[nodiscard]] CommandDocument moveBackups(const std::string& to) const {
    return command("MOVE_BACKUP_FOLDER", job.path("backups"), to);
  }
  [[nodiscard]] CommandDocument moveTemp(const std::string& to) const {
    return command("MOVE_TEMP_FOLDER", job.path("temp"), to);
  }
  static std::string failure(int exitCode, const std::string& percent, const std::string& message,
                             std::map<std::string, std::string> attributes = {}) {
    attributes["exitCode"] = std::to_string(exitCode);
    return terminalDocument(7, {percent, message}, attributes);
  }
  static std::map<std::string, std::string> at(const std::string& path) {
    return {{"PATH", path}, {"DRIVE", path.substr(0, path.find('/'))}};
  }
  void expectFailure(const CommandDocument& document, const std::string& expected) {
    const JobResult result = job.run(document.text());
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(), expected);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(job.tree("backups"), before);
    EXPECT_TRUE(job.tree("new").empty());
  }

  const std::string alpsMap = noise(2'500'000, 41);
  std::int64_t need = 0;
  Tree before;
};

TEST_F(MoveFolderJobTest, TheBackupsStandInTheNewFolderAndTheOldOneIsGone) {
  const JobResult result = job.run(moveBackups(job.path("new")).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("new"), before);
  EXPECT_FALSE(job.exists("backups"));
}

TEST_F(MoveFolderJobTest, TheCopyIsReportedInItsOwnState) {
  const JobResult result = runWatched(job, moveBackups(job.path("new")).text(), [](JobWatch&) {});
  ASSERT_EQ(result.statuses.size(), 2U);
  EXPECT_EQ(result.statuses[0].state, 12);
  const WideText path = u"Alps 2026\\Alps 2026.xml";
  EXPECT_EQ(result.statuses[0].descriptions.at(4), toWide(job.path("backups")) + u'\\' + path);
  EXPECT_EQ(result.statuses[0].descriptions.at(5), toWide(job.path("new")) + u'\\' + path);
  EXPECT_EQ(result.statuses[1].exitCode(), u"1010");
}

TEST_F(MoveFolderJobTest, ACommandWithoutOneOfTheFoldersIs1040) {
  for (const char* name : {"MOVE_BACKUP_FOLDER", "MOVE_TEMP_FOLDER"}) {
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"", job.path("new")}, {job.path("backups"), ""}, {"", ""}})
      expectFailure(command(name, from, to),
                    failure(1040, "100", "Error on reading the move folder command's parameters!"));
  }
}

TEST_F(MoveFolderJobTest, FoldersThatWillNotDoAreRefusedBeforeAnythingIsCopied) {
  const std::string temp = job.path("temp/ZELMORATevra_tmp");
  expectFailure(moveBackups(job.path("backups/")),
                failure(1011, "100", "The old backup path and the new backup path are the same or empty!",
                        at(job.path("backups"))));
  for (const std::string& to : {temp, temp + "/sub", temp + "2"})
    expectFailure(moveBackups(to),
                  failure(1054, "100", "The new folder provided is not a valid backup folder!"));
  expectFailure(command("MOVE_BACKUP_FOLDER", job.path("absent"), job.path("new")),
                failure(1012, "109", "The path provide for the old backup folder is not valid!"));
  expectFailure(moveBackups(job.path("absent")),
                failure(1013, "109", "The path provide for the new backup folder is not valid!",
                        at(job.path("absent"))));
  job.card.readOnly = true;
  expectFailure(moveBackups("F:\\"),
                failure(1014, "100", "The folder for the new backup is write protected!", at("F:/")));
}

TEST_F(MoveFolderJobTest, ADamagedDescriptionStopsTheMove) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<Backup />", "1017 Backup contents node could not be read!"},
      {"<BackupContents />", "1018 Backup files node could not be read!"},
      {"<BackupContents><BackupFiles><File path=\"a\" /></BackupFiles></BackupContents>",
       "1019 Files information could not be read!"},
      {"<BackupContents><BackupFiles><File path=\"../../etc\" size=\"1\" /></BackupFiles></BackupContents>",
       "1019 Files information could not be read!"}};
  for (const auto& [description, report] : cases) {
    job.write("backups/Odd/Odd.xml", description);
    before = job.tree("backups");
    expectFailure(moveBackups(job.path("new")),
                  failure(std::stoi(report), "100", report.substr(5), at(job.path("backups/Odd"))));
  }
}

TEST_F(MoveFolderJobTest, ExactlyTheRoomSufficesAndAByteLessIs1022) {
  job.card.capacity = need - 1;
  expectFailure(moveBackups("F:"),
                failure(1022, "104",
                        "You have not enough space to move the old backup folder to the new one!", at("F:")));
  EXPECT_TRUE(job.tree("card").empty());
  job.card.capacity = need;
  EXPECT_EQ(job.run(moveBackups("F:").text()).document(), success);
  EXPECT_EQ(job.tree("card"), before);
  EXPECT_FALSE(job.exists("backups"));
}

TEST_F(MoveFolderJobTest, AListedFileThatIsMissingIs1024) {
  fs::remove(job.path("backups/Ελλάδα & co/storage_for_content/a & b.map"));
  before = job.tree("backups");
  expectFailure(moveBackups(job.path("new")),
                failure(1024, "100", "The source file could not be opened!",
                        {{"FILE", job.path("backups/Ελλάδα & co/storage_for_content/a & b.map")}}));
}

TEST_F(MoveFolderJobTest, AnotherBackupUnderTheSameNameStaysAsItIs) {
  job.write("new/Alps 2026/Alps 2026.xml", "another one");
  const JobResult result = job.run(moveBackups(job.path("new")).text());
  EXPECT_EQ(result.document(), failure(1054, "100", "The new folder provided is not a valid backup folder!"));
  EXPECT_EQ(job.tree("backups"), before);
  EXPECT_EQ(job.read("new/Alps 2026/Alps 2026.xml"), "another one");
}

TEST_F(MoveFolderJobTest, AnAbortIsState8AndBothFoldersAreAsTheyWere) {
  job.writeAbortFile();
  const JobResult result = job.run(moveBackups(job.path("new")).text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 8);
  EXPECT_EQ(result.last.exitCode(), u"1020");
  EXPECT_EQ(result.last.descriptions.size(), 5U);
  EXPECT_FALSE(job.abortFileExists());
  EXPECT_EQ(job.tree("backups"), before);
  EXPECT_TRUE(job.tree("new").empty());
  EXPECT_EQ(job.run(moveBackups(job.path("new")).text()).document(), success);
}

TEST_F(MoveFolderJobTest, ANewPlaceThatIsPulledLosesNothing) {
  const JobResult result = runWatched(job, moveBackups("F:").text(), [this](JobWatch& watch) {
    watch.files.before = [this](int, const std::string& operation) {
      if (operation == "flush" && job.exists("card")) fs::rename(job.path("card"), job.path("pulled"));
    };
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 7);
  EXPECT_EQ(result.last.exitCode(), u"1026");
  EXPECT_EQ(job.tree("backups"), before);
  EXPECT_FALSE(job.exists("card"));
}

TEST_F(MoveFolderJobTest, TheTemporaryFolderIsMadeInTheNewPlace) {
  job.write("temp/ZELMORATevra_tmp/left", "l");
  job.write("temp/users.txt", "u");
  const JobResult result = job.run(moveTemp(job.path("new")).text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), terminalDocument(9, {job.path("new")}, {{"exitCode", "1010"}}));
  EXPECT_EQ(job.tree("new"), (Tree{{"ZELMORATevra_tmp", "folder"}}));
  EXPECT_EQ(job.tree("temp"), (Tree{{"users.txt", md5Of("u")}}));
  // The front end names the new place from now on.
  job.tempFolder = job.path("new");
  EXPECT_EQ(job.run(installCommand(localSpringPackage(), true)).document(), success);
}

TEST_F(MoveFolderJobTest, ThePlaceOfTheStatusStays) {
  const JobResult result = job.run(command("MOVE_TEMP_FOLDER", job.path("tmp"), job.path("new")).text());
  EXPECT_EQ(result.document(), terminalDocument(9, {job.path("new")}, {{"exitCode", "1010"}}));
  EXPECT_TRUE(fs::is_directory(job.path("tmp/ZELMORATevra_tmp")));
}

TEST_F(MoveFolderJobTest, TemporaryFoldersThatWillNotDoAreRefused) {
  expectFailure(moveTemp(job.path("temp/")),
                failure(1005, "100", "The paths for the old and new temp folder are the same or empty!",
                        at(job.path("temp"))));
  expectFailure(command("MOVE_TEMP_FOLDER", job.path("absent"), job.path("new")),
                failure(1006, "100", "The old temp folder does not exists!"));
  for (const std::string& to : {job.path("absent"), job.path("temp/ZELMORATevra_tmp")})
    expectFailure(
        moveTemp(to),
        failure(1008, "109", "The path provide for the new temporary folder is not valid!", at(to)));
  job.card.readOnly = true;
  expectFailure(moveTemp("F:\\"),
                failure(1009, "100", "The ZELMORATevra_tmp folder could not be created!", at("F:/")));
  EXPECT_TRUE(job.exists("temp/ZELMORATevra_tmp"));
}

TEST_F(MoveFolderJobTest, BothMovesMayBeOneJob) {
  fs::create_directory(job.path("new2"));
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {moveBackups(job.path("new")).element(), moveTemp(job.path("new2")).element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.tree("new"), before);
  EXPECT_EQ(job.tree("new2"), (Tree{{"ZELMORATevra_tmp", "folder"}}));
}

}  // namespace
}  // namespace ZelmoraTevra
