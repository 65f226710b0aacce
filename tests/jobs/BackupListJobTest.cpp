#include <gmock/gmock.h>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/BackupBuilder.h"

namespace ZelmoraTevra {
namespace {

// The real program asked for its backups, and told to delete one.
class BackupListJobTest : public ProgramTest {
 protected:
  [[nodiscard]] BackupBuilder backupNamed(const std::string& name) const {
    return {job.path("backups"), name};
  }
  // What a job left in the place of the status.
  [[nodiscard]] std::string answer() const { return job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"); }
  [[nodiscard]] static std::string list() { return CommandDocument("GET_BACKUPS").text(); }
  [[nodiscard]] static std::string deletion(const std::string& name) {
    return CommandDocument("DELETE_BACKUP").plain("BackupName", name).text();
  }
  [[nodiscard]] static std::string answerWith(const std::string& heads) {
    const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
    return start + (heads.empty() ? "<TevraCLI />\n" : "<TevraCLI>\n" + heads + "</TevraCLI>\n");
  }
};

TEST_F(BackupListJobTest, WithoutBackupsTheAnswerIsARootElement) {
  const JobResult result = job.run(list());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(answer(), answerWith(""));
  EXPECT_TRUE(result.statuses.empty());
}

TEST_F(BackupListJobTest, TheHeadsOfSoundBackupsAreTheAnswer) {
  const BackupBuilder good = backupNamed("good").software("a/b", "x").content("c", "y");
  good.write();
  backupNamed("bad").software("a", "x").listed("storage_for_software\\gone", 1).write();
  job.write("backups/other/file", "x");
  const Tree before = job.tree("backups");
  const JobResult result = job.run(list());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(answer(), answerWith(good.headText()));
  EXPECT_EQ(job.tree("backups"), before);
}

TEST_F(BackupListJobTest, ADeletedBackupIsGoneFromTheList) {
  backupNamed("a").software("f", "x").write();
  const BackupBuilder other = backupNamed("ab").software("f", "x");
  other.write();
  const JobResult result = job.run(deletion("a"));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_FALSE(job.exists("backups/a"));
  EXPECT_EQ(job.run(list()).exitValue, 0);
  EXPECT_EQ(answer(), answerWith(other.headText()));
  EXPECT_THAT(job.loggedStates(),
              testing::IsSupersetOf({"statPreparing", "statDeleteInProgress", "statSuccess"}));
}

TEST_F(BackupListJobTest, ABackupThatIsNotThereCannotBeDeleted) {
  backupNamed("a").software("f", "x").write();
  const Tree before = job.tree("backups");
  const JobResult result = job.run(deletion("../backups/a"));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(
      result.document(),
      terminalDocument(
          7, {"101", job.path("backups") + "\\../backups/a", "The specified backup could not be found."},
          {{"exitCode", "1147"}, {"PATH", job.path("backups") + "/../backups/a"}, {"DRIVE", ""}}));
  EXPECT_EQ(job.tree("backups"), before);
}

TEST_F(BackupListJobTest, ADeletionNeedsAName) {
  backupNamed("a").software("f", "x").write();
  const JobResult result = job.run(deletion(""));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1039, "Error on reading the delete backup command's parameters!"));
  EXPECT_TRUE(job.exists("backups/a/a.xml"));
}

TEST_F(BackupListJobTest, SeveralCommandsRunInOneJob) {
  backupNamed("a").software("f", "x").write();
  backupNamed("b").software("f", "x").write();
  const auto element = [](const std::string& name) {
    return CommandDocument("DELETE_BACKUP").plain("BackupName", name).element();
  };
  const JobResult result = job.run(
      CommandDocument::sequenceOf({element("a"), element("b"), CommandDocument("GET_BACKUPS").element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(answer(), answerWith(""));
}

}  // namespace
}  // namespace ZelmoraTevra
