#include "tests/jobs/ProgramTest.h"
#include "tests/support/NginxServer.h"

namespace ZelmoraTevra {
namespace {

// The update of the content manager itself.
class InstallTevraJobTest : public ProgramTest {
 protected:
  InstallTevraJobTest() {
    setup.zip = ZipBuilder().add("setup.exe", program).add("readme.txt", "second").bytes();
  }
  [[nodiscard]] static std::string command(const CommandPackage& package, bool local) {
    return CommandDocument("INSTALL_TEVRA").localInstall(local).package(package).text();
  }
  [[nodiscard]] static std::string unpackedTo(const std::string& path) {
    return terminalDocument(9, {path}, {{"exitCode", "1010"}});
  }

  const std::string program = noise(100'000, 5);
  CommandPackage setup;
};

TEST_F(InstallTevraJobTest, TheFirstEntryIsUnpackedIntoTheWorkFolder) {
  job.write("www/setup.zip", setup.zip);
  const auto nginx = NginxServer::start(job.path("www"));
  SKIP_WITHOUT(nginx);
  setup.url = "http://" + nginx->host() + "/setup.zip?version=2";
  const JobResult result = job.run(command(setup, false));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), unpackedTo(job.path("temp") + "/ZELMORATevra_tmp/setup.exe"));
  EXPECT_EQ(job.tree("temp"),
            (Tree{{"ZELMORATevra_tmp", "folder"}, {"ZELMORATevra_tmp/setup.exe", md5Of(program)}}));
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
}

TEST_F(InstallTevraJobTest, ALocalZipIsUnpackedBesideItselfAndStays) {
  setup.url = job.path("updates/setup.zip");
  job.write("updates/setup.zip", setup.zip);
  const JobResult result = job.run(command(setup, true));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), unpackedTo(job.path("updates/setup.exe")));
  EXPECT_EQ(job.tree("updates"), (Tree{{"setup.exe", md5Of(program)}, {"setup.zip", md5Of(setup.zip)}}));
  expectEmptyWorkFolder();
}

TEST_F(InstallTevraJobTest, ATempFolderThatIsTooSmallIsReported) {
  setup.url = "http://127.0.0.1/setup.zip?version=2";
  std::string document = command(setup, false);
  for (const char* element : {"<fileSize>", "<fileSizeUncompressed>"}) {
    const std::size_t start = document.find(element) + std::string(element).size();
    document.replace(start, document.find('<', start) - start, "1152921504606846976");
  }
  const JobResult result = job.run(document);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(7, {"104"},
                                                {{"exitCode", "1043"},
                                                 {"PATH", job.path("temp")},
                                                 {"DRIVE", ""},
                                                 {"PATH_SIZE", "2199023255552.00"},
                                                 {"UNIT", "MB"}}));
}

TEST_F(InstallTevraJobTest, AFileThatIsNoZipIsReported) {
  setup.url = job.path("setup.zip");
  job.write("setup.zip", "no zip");
  EXPECT_EQ(job.run(command(setup, true)).document(), errorDocument(1118, "Could not open the zip file!"));
}

TEST_F(InstallTevraJobTest, AnArchiveWithoutEntriesFailsWithoutAReport) {
  setup.url = job.path("setup.zip");
  job.write("setup.zip", ZipBuilder().bytes());
  const JobResult result = job.run(command(setup, true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_TRUE(result.statuses.empty());
}

TEST_F(InstallTevraJobTest, AnEntryThatLeavesTheFolderIsNotUnpacked) {
  for (const std::string& name : {std::string("../setup.exe"), std::string("/setup.exe"),
                                  std::string("C:\\setup.exe"), std::string("a/../../setup.exe")}) {
    setup.url = job.path("updates/setup.zip");
    job.write("updates/setup.zip", ZipBuilder().add(name, program).bytes());
    const JobResult result = job.run(command(setup, true));
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.last.exitCode(), u"1115");
    EXPECT_EQ(job.tree("updates").size(), 1U);
    EXPECT_FALSE(job.exists("setup.exe"));
  }
}

TEST_F(InstallTevraJobTest, AnEntryThatIsALinkIsUnpackedAsAFile) {
  ZipBuilder::Options link;
  link.unixMode = 0120777;
  setup.url = job.path("updates/setup.zip");
  job.write("outside", "the user's own");
  job.write("updates/setup.zip", ZipBuilder().add("setup.exe", "../outside", link).bytes());
  EXPECT_EQ(job.run(command(setup, true)).document(), unpackedTo(job.path("updates/setup.exe")));
  EXPECT_EQ(job.tree("updates").at("setup.exe"), md5Of("../outside"));
  EXPECT_EQ(job.read("outside"), "the user's own");
}

TEST_F(InstallTevraJobTest, ADamagedEntryIsReported) {
  setup.url = job.path("setup.zip");
  std::string damaged = setup.zip;
  damaged[damaged.find(program) + 50'000] ^= 1;
  job.write("setup.zip", damaged);
  const JobResult result = job.run(command(setup, true));
  EXPECT_EQ(result.document(), errorDocument(1115, "File could not be extracted: " + job.path("setup.exe")));
  EXPECT_FALSE(job.exists("setup.exe"));
}

}  // namespace
}  // namespace ZelmoraTevra
