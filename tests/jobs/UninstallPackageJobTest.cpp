#include <algorithm>
#include <filesystem>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

class UninstallPackageJobTest : public ProgramTest {
 protected:
  void install(const CommandPackage& package) {
    ASSERT_EQ(job.run(installCommand(package, true)).document(), success);
  }
  // The same entry with XML entries, each for the map of that name in the file.
  static std::string withXmlEntries(std::string entry, const std::vector<std::string>& names,
                                    const std::string& file = "config/software/version.xml") {
    std::string added;
    for (const std::string& name : names)
      added += "        <xmlentry>\n            <file>" + file +
               "</file>\n            <key creationflag=\"3\">\n"
               "                <base>config/maps/map</base>\n                <condition>name/" +
               name + "</condition>\n            </key>\n        </xmlentry>\n";
    return entry.insert(entry.find("    </update>\n"), added);
  }
  void putVersionFile(const std::vector<std::string>& names) const {
    job.write("flash/config/software/version.xml", versionFile(names));
  }
  static std::string versionFile(const std::vector<std::string>& names) {
    std::string text = "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n";
    for (const std::string& name : names)
      text += "        <map>\n            <name>" + name + "</name>\n        </map>\n";
    return text + "    </maps>\n</config>\n";
  }
  // The report of an update that could not be uninstalled.
  static std::string notUninstalled(const std::string& product, const std::string& version = "1.0.0") {
    return terminalDocument(7, {"115", "ZELMORA", product, version}, {{"exitCode", "1137"}});
  }

  const std::string cardMessage = "Storage card cannot be accessed. Was it ejected or is it write protected?";
};

TEST_F(UninstallPackageJobTest, WhatAnInstallationBroughtGoesAgainButForFolders) {
  install(localSpringPackage());
  const JobResult result = job.run(CommandDocument::uninstallPackage()
                                       .encoded("IndicatorFileContent", "<action/>")
                                       .uninstall("Navigator")
                                       .uninstall("Maps")
                                       .text());
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.tree("flash"),
            (Tree{{"ZELMORA", "folder"},
                  {"ZELMORA/updates.xml", md5Of("<?xml version=\"1.0\" ?>\n<updates />\n")},
                  {"apps", "folder"}}));
  EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"}, {"content/maps", "folder"}}));
  expectEmptyWorkFolder();
}

TEST_F(UninstallPackageJobTest, TheLogTellsTheJobInOrder) {
  install(localSpringPackage());
  const std::size_t before = job.logLines().size();
  job.run(CommandDocument::uninstallPackage()
              .encoded("IndicatorFileContent", "<action/>")
              .uninstall("Maps")
              .text());
  std::vector<std::string> lines = job.logLines();
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
  for (std::string& line : lines)
    if (line.starts_with("Backend execution time: ")) line = "Backend execution time: *";
  EXPECT_EQ(std::vector<std::string>(lines.begin() + 9, lines.end()),
            (std::vector<std::string>{
                "Start reading UNINSTALL_PACKAGE", "Created indicator file for: UNINSTALL_PACKAGE",
                "Readed OK UNINSTALL_PACKAGE", "Status changed: statPreparing", "Status changed: statSuccess",
                "Exit status reported: 9", "exitCode: 1010", "Backend execution time: *", "Backend finish!",
                "Deleted indicator file!"}));
  EXPECT_FALSE(job.exists("flash/tevra-action.xml"));
}

TEST_F(UninstallPackageJobTest, OneOfTwoUpdatesMayGoAndTheOtherStays) {
  install(localSpringPackage());
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("Maps").text()).document(), success);
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
            InstallDescription::registerOf({InstallDescription::registerEntry(
                "Navigator", "storage_for_software", {"apps/navigator.bin"})}));
  EXPECT_EQ(job.read("flash/apps/navigator.bin"), navigator);
  EXPECT_EQ(job.tree("card"), (Tree{{"content", "folder"}, {"content/maps", "folder"}}));
}

TEST_F(UninstallPackageJobTest, ElementsInDeviceFilesGoWithTheUpdate) {
  putVersionFile({"alps", "iberia", "alps", "nordic"});
  job.write("flash/apps/a", "a");
  job.write("flash/ZELMORA/updates.xml",
            InstallDescription::registerOf(
                {withXmlEntries(InstallDescription::registerEntry("App", "storage_for_software", {"apps/a"}),
                                {"alps", "nordic", "not there"})}));
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(), success);
  EXPECT_EQ(job.read("flash/config/software/version.xml"), versionFile({"iberia"}));
  EXPECT_FALSE(job.exists("flash/apps/a"));
  EXPECT_EQ(job.tree("flash").size(), 6U) << "nothing is left beside the files that were replaced";
}

TEST_F(UninstallPackageJobTest, ADeviceFileWithoutAnyMatchIsUnchangedByteForByte) {
  const std::string text = "<config  ><!-- mine --><maps>\r\n<map><name>alps</name></map></maps></config>";
  job.write("flash/config/software/version.xml", text);
  job.write("flash/ZELMORA/updates.xml",
            InstallDescription::registerOf({withXmlEntries(
                InstallDescription::registerEntry("App", "storage_for_software", {}), {"not there"})}));
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(), success);
  EXPECT_EQ(job.read("flash/config/software/version.xml"), text);
}

TEST_F(UninstallPackageJobTest, AnUpdateThatIsNotRegisteredIs1137) {
  install(localSpringPackage());
  const JobResult result =
      job.run(CommandDocument::uninstallPackage().uninstall("Navigator", "2.0.0").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), notUninstalled("Navigator", "2.0.0"));
  expectSpringInstalled();
}

TEST_F(UninstallPackageJobTest, WhenTheSecondUpdateFailsTheFirstStaysUninstalled) {
  install(localSpringPackage());
  const JobResult result = job.run(CommandDocument::uninstallPackage()
                                       .encoded("IndicatorFileContent", "<action/>")
                                       .uninstall("Maps")
                                       .uninstall("Ghost")
                                       .uninstall("Navigator")
                                       .text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), notUninstalled("Ghost"));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"),
            InstallDescription::registerOf({InstallDescription::registerEntry(
                "Navigator", "storage_for_software", {"apps/navigator.bin"})}));
  EXPECT_EQ(job.read("flash/apps/navigator.bin"), navigator);
  EXPECT_FALSE(job.exists("card/content/maps/alps.dat"));
  EXPECT_FALSE(job.exists("flash/tevra-action.xml"));
}

TEST_F(UninstallPackageJobTest, AnXmlFileThatCanNotBeEditedIs1137AndTheUpdateStaysRegistered) {
  job.write("flash/apps/a", "a");
  job.write("flash/config/software/version.xml", "<config>");
  const std::string text = InstallDescription::registerOf({withXmlEntries(
      InstallDescription::registerEntry("App", "storage_for_software", {"apps/a"}), {"alps"})});
  job.write("flash/ZELMORA/updates.xml", text);
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(),
            notUninstalled("App"));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), text);
  EXPECT_FALSE(job.exists("flash/apps/a"));
}

TEST_F(UninstallPackageJobTest, ContentWithoutASecondPathIs1134AndThen1137) {
  install(localSpringPackage());
  const JobResult result = job.run(CommandDocument::uninstallPackage("E:", "").uninstall("Maps").text());
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), notUninstalled("Maps"));
  const std::vector<std::string> log = job.logLines();
  EXPECT_NE(std::find(log.begin(), log.end(), "exitCode: 1134"), log.end());
  EXPECT_NE(std::find(log.begin(), log.end(), cardMessage), log.end());
  expectSpringInstalled();
}

TEST_F(UninstallPackageJobTest, ContentOnACardThatWasPulledIs1134AndThen1137) {
  install(localSpringPackage());
  job.card.present = false;
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("Maps").text()).document(),
            notUninstalled("Maps"));
  job.card.present = true;
  expectSpringInstalled();
}

TEST_F(UninstallPackageJobTest, AMainStorageThatIsMissingOrWriteProtectedIs1136) {
  install(localSpringPackage());
  const std::string command = CommandDocument::uninstallPackage().uninstall("Maps").text();
  const std::string report = terminalDocument(7, {"100", cardMessage, "E:"},
                                              {{"exitCode", "1136"}, {"PATH", "E:"}, {"DRIVE", "E:"}});
  job.flash.readOnly = true;
  EXPECT_EQ(job.run(command).document(), report);
  job.flash.readOnly = false;
  job.flash.present = false;
  EXPECT_EQ(job.run(command).document(), report);
  job.flash.present = true;
  expectSpringInstalled();
}

TEST_F(UninstallPackageJobTest, ASequenceWithoutAnyPackageIsSuccess) {
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().text()).document(), success);
  EXPECT_EQ(job.loggedStates(), (std::vector<std::string>{"statPreparing", "statSuccess"}));
}

TEST_F(UninstallPackageJobTest, MissingParametersAreReportedBeforeAnythingRuns) {
  install(localSpringPackage());
  const std::string good = CommandDocument::uninstallPackage().uninstall("Maps").element();
  const std::map<std::string, std::string> badCommands = {
      {"<Command CommandName=\"UNINSTALL_PACKAGE\"/>",
       errorDocument(1035, "Error on reading the package sequence tag!")},
      {CommandDocument::uninstallPackage().uninstall("Maps", "").element(),
       errorDocument(1034, "Error on reading the uninstall package information!")},
      {CommandDocument::uninstallPackage("", "").uninstall("Maps").element(),
       errorDocument(1036, "Error on reading the storage card drive letter tag!")}};
  for (const auto& [bad, report] : badCommands) {
    const JobResult result = job.run(CommandDocument::sequenceOf({good, bad}));
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(), report);
    expectSpringInstalled();
  }
}

TEST_F(UninstallPackageJobTest, ADeviceOfTheOlderLayoutHasItsRegisterThere) {
  std::filesystem::remove(job.path("flash/ZELMORA"));
  std::filesystem::create_directory(job.path("flash/KD3"));
  install(localSpringPackage());
  EXPECT_EQ(
      job.run(CommandDocument::uninstallPackage().uninstall("Maps").uninstall("Navigator").text()).document(),
      success);
  EXPECT_EQ(job.read("flash/KD3/updates.xml"), "<?xml version=\"1.0\" ?>\n<updates />\n");
  EXPECT_FALSE(job.exists("flash/apps/navigator.bin"));
}

TEST_F(UninstallPackageJobTest, InstallingAndUninstallingMayBeOneJob) {
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {CommandDocument::installPackage().localInstall().package(localSpringPackage()).element(),
       CommandDocument::uninstallPackage().uninstall("Maps").element(),
       CommandDocument::uninstallPackage().uninstall("Navigator").element()}));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.exitCode(), u"1010");
  EXPECT_FALSE(job.exists("flash/apps/navigator.bin"));
  EXPECT_FALSE(job.exists("card/content/maps/alps.dat"));
}

TEST_F(UninstallPackageJobTest, ARegisterReachesNothingOutsideTheStorages) {
  job.simulatesMachine = false;
  job.write("mine", "mine");
  job.write("mine.xml", versionFile({"alps"}));
  std::filesystem::create_directory_symlink(job.path(""), job.path("flash/up"));
  const auto entry = [](const std::string& name, const std::string& client) {
    return InstallDescription::registerEntry(name, "storage_for_software", {client});
  };
  std::vector<std::string> entries;
  CommandDocument command = CommandDocument::uninstallPackage(job.path("flash"), job.path("card"));
  for (const std::string& client :
       {std::string("../mine"), std::string("..\\mine"), job.path("mine"), "C:" + job.path("mine"),
        std::string("up/mine"), std::string("ZELMORA/updates.xml"), std::string("ZELMORA\\updates.xml")}) {
    const std::string name = "Update " + std::to_string(entries.size());
    entries.push_back(entry(name, client));
    command.uninstall(name);
  }
  job.write("flash/ZELMORA/updates.xml", InstallDescription::registerOf(entries));
  EXPECT_EQ(job.run(command.text()).document(), success);
  EXPECT_EQ(job.read("mine"), "mine");
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), "<?xml version=\"1.0\" ?>\n<updates />\n");

  for (const std::string& file :
       {std::string("../mine.xml"), job.path("mine.xml"), std::string("up/mine.xml")}) {
    job.write("flash/ZELMORA/updates.xml",
              InstallDescription::registerOf({withXmlEntries(entry("App", "a"), {"alps"}, file)}));
    command = CommandDocument::uninstallPackage(job.path("flash"), job.path("card"));
    EXPECT_EQ(job.run(command.uninstall("App").text()).document(), success);
    EXPECT_EQ(job.read("mine.xml"), versionFile({"alps"}));
  }
}

}  // namespace
}  // namespace ZelmoraTevra
