#include "core/Digest.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/TevraInstallRunner.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

class TevraInstallRunnerTest : public JobTest {
 protected:
  TevraInstallRunnerTest() {
    ZipBuilder zip;
    zip.add("setup.exe", "program");
    zip.add("readme.txt", "text");
    writeFile(zipPath, zip.bytes());
    package.url = zipPath;
    package.fileSize = 100;
    package.fileSizeUncompressed = 200;
    command.commandName = u"INSTALL_TEVRA";
    command.localInstall = true;
  }

  int run() {
    command.packages = {package};
    TevraInstallRunner runner;
    const int prepared = runner.init(command);
    return prepared != 0 ? prepared : runner.run();
  }

  const WideText zipPath = path(u"downloads/manager.zip");
  ContentEntry package;
  CommandRecord command;
};

TEST_F(TevraInstallRunnerTest, UnpacksTheFirstEntryBesideTheZipAndNamesIt) {
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(readFile(path(u"downloads/setup.exe")), "program");
  EXPECT_FALSE(fileExists(path(u"downloads/readme.txt")));
  EXPECT_EQ(status().state, statSuccess);
  EXPECT_EQ(status().exitCode(), u"1010");
  ASSERT_EQ(status().descriptions.size(), 1U);
  EXPECT_EQ(toForwardSlashes(status().descriptions[0]), path(u"downloads/setup.exe"));
}

// A complete download that is there needs no server.
TEST_F(TevraInstallRunnerTest, AnEntryCalledAsAPartOfItsZipIsNotDeletedWithIt) {
  ZipBuilder zip;
  zip.add("p.zip_INCOMPLETE.xml", "program");
  writeFile(workTempFolder + u"/p.zip", zip.bytes());
  command.localInstall = false;
  package.url = u"http://server/p.zip?a";
  package.fileSize = zip.bytes().size();
  package.md5 = fileDigest(workTempFolder + u"/p.zip");
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(tree(workTempFolder), (std::vector<std::string>{"p.zip_INCOMPLETE.xml"}));
  ASSERT_EQ(status().descriptions.size(), 1U);
  EXPECT_EQ(readFile(status().descriptions[0]), "program");
}

TEST_F(TevraInstallRunnerTest, AnEntryCalledAsTheStatusIsNotUnpacked) {
  ZipBuilder zip;
  zip.add(toUtf8(lastComponent(StatusXml::instance().statusFilePath())), "program");
  writeFile(zipPath, zip.bytes());
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(status().exitCode(), u"1115");
}

TEST_F(TevraInstallRunnerTest, TheUsersOwnZipStays) {
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(fileExists(zipPath));
}

TEST_F(TevraInstallRunnerTest, ATempFolderThatIsTooSmallIs1043WithTheNeed) {
  package.fileSize = std::uint64_t{1} << 60;
  package.fileSizeUncompressed = 0;
  EXPECT_NE(run(), 0);
  EXPECT_EQ(status().state, statErrorOccured);
  EXPECT_EQ(status().exitCode(), u"1043");
  EXPECT_EQ(status().descriptions, (std::vector<WideText>{u"104"}));
  EXPECT_EQ(status().attributes.at(u"PATH"), userTempFolder);
  EXPECT_EQ(status().attributes.at(u"DRIVE"), u"");
  EXPECT_EQ(status().attributes.at(u"PATH_SIZE"), u"1099511627776.00");
  EXPECT_EQ(status().attributes.at(u"UNIT"), u"MB");
}

TEST_F(TevraInstallRunnerTest, SizesThatAddUpBeyondAllBoundsAreTooMuchToo) {
  package.fileSize = static_cast<std::uint64_t>(INT64_MAX);
  package.fileSizeUncompressed = static_cast<std::uint64_t>(INT64_MAX);
  EXPECT_NE(run(), 0);
  EXPECT_EQ(status().exitCode(), u"1043");
}

TEST_F(TevraInstallRunnerTest, ADamagedZipLeavesTheExtractorsReport) {
  writeFile(zipPath, "no zip");
  EXPECT_NE(run(), 0);
  EXPECT_EQ(status().exitCode(), u"1118");
}

TEST_F(TevraInstallRunnerTest, AnArchiveWithoutEntriesFailsWithoutAReport) {
  writeFile(zipPath, ZipBuilder().bytes());
  EXPECT_NE(run(), 0);
  EXPECT_EQ(status().state, -100);
}

TEST_F(TevraInstallRunnerTest, AUrlThatCannotBeDownloadedHasTheDownloadersReport) {
  command.localInstall = false;
  package.url = u"ftp://host/manager.zip?x";
  EXPECT_NE(run(), 0);
  EXPECT_EQ(status().exitCode(), u"1138");
}

TEST_F(TevraInstallRunnerTest, WithoutAPackageNothingIsInstalled) {
  TevraInstallRunner runner;
  EXPECT_EQ(runner.init(command), 0);
  EXPECT_NE(runner.run(), 0);
  EXPECT_EQ(status().exitCode(), u"1120");
}

}  // namespace
}  // namespace ZelmoraTevra
