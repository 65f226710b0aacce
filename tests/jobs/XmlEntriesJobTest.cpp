#include <algorithm>
#include <filesystem>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

// Packages that change XML files of the device, beside files or alone.
class XmlEntriesJobTest : public ProgramTest {
 protected:
  // Of one zip with the file "a", whose updates the test adds.
  [[nodiscard]] CommandPackage package(const InstallDescription& description,
                                       const std::string& zipName = "p.zip") const {
    CommandPackage package;
    package.zip = ZipBuilder().add("a", fileContent).bytes();
    package.url = job.path(zipName);
    package.description = description;
    job.write(zipName, package.zip);
    return package;
  }
  // The program installs one package and leaves nothing behind.
  void install(const InstallDescription& description) {
    const JobResult result = job.run(installCommand(package(description), true));
    EXPECT_EQ(result.exitValue, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.document(), success);
    expectEmptyWorkFolder();
  }
  static InstallDescription software(const std::string& name) {
    return InstallDescription().update(name, "storage_for_software", 10);
  }
  static std::string entry(const std::string& name, const std::vector<std::string>& clients,
                           const std::vector<RegisterRow>& rows = {}) {
    return InstallDescription::registerEntry(name, "storage_for_software", clients, rows);
  }
  static std::string registerOf(const std::vector<std::string>& entries) {
    return InstallDescription::registerOf(entries);
  }
  [[nodiscard]] std::string device(const std::string& file) const { return job.read("flash/" + file); }
  [[nodiscard]] bool logHas(const std::string& line) const {
    const std::vector<std::string> lines = job.logLines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  // Three maps, of which two have the same name.
  static std::string maps(const std::vector<std::pair<std::string, std::string>>& namesAndVersions) {
    std::string text = "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n";
    for (const auto& [name, version] : namesAndVersions)
      text += "        <map>\n            <name>" + name + "</name>\n            <version>" + version +
              "</version>\n        </map>\n";
    return text + "    </maps>\n</config>\n";
  }
  static std::string language(const std::string& value) {
    return "<config>\n    <language>" + value + "</language>\n</config>\n";
  }

  const std::string fileContent = "a file";
  const std::string versionXml = "config/software/version.xml";
  const std::string settingsXml = "config/settings.xml";
  const std::string listXml = "config/new/list.xml";
};

TEST_F(XmlEntriesJobTest, FilesAndEntriesForSeveralDeviceFilesGoInInOneRun) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}, {"iberia", "1"}, {"alps", "2"}}));
  job.write("flash/" + settingsXml, language("en"));
  job.write("card/" + versionXml, "not looked at");
  InstallDescription description;
  description.update("Navigator", "storage_for_software", 10)
      .file("a", "apps/navigator.bin", fileContent)
      .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"})
      .xmlEntry(settingsXml, 5, "config/language", "de")
      .xmlEntry(versionXml, 4, "config/maps/map", "name/alps", {"version/7"})
      .update("Maps", "storage_for_content", 10)
      .file("a", "content/a.dat", fileContent)
      .xmlEntry(listXml, 1, "list/items", "item", {"name/a", "path/content"})
      .xmlEntry(versionXml, 6, "config/maps/map", "name/iberia");
  install(description);

  EXPECT_EQ(device(versionXml), maps({{"alps", "7"}, {"alps", "2"}, {"nordic", "5"}}));
  EXPECT_EQ(device(settingsXml), language("de"));
  EXPECT_EQ(device(listXml),
            "<list>\n    <items>\n        <item>\n            <name>a</name>\n"
            "            <path>content</path>\n        </item>\n    </items>\n</list>\n");
  EXPECT_EQ(device("apps/navigator.bin"), fileContent);
  EXPECT_EQ(job.read("card/content/a.dat"), fileContent);
  EXPECT_EQ(job.read("card/" + versionXml), "not looked at") << "XML files are those of the main storage";
  EXPECT_EQ(job.tree("flash").size(), 10U) << "nothing is left beside the files that were replaced";
  // Elements that were only added and single values could not be taken back and aren't recorded.
  EXPECT_EQ(
      device("ZELMORA/updates.xml"),
      registerOf({entry("Navigator", {"apps/navigator.bin"},
                        {{versionXml, 3, "config/maps/map", "name/nordic"},
                         {versionXml, 4, "config/maps/map", "name/alps"}}),
                  InstallDescription::registerEntry("Maps", "storage_for_content", {"content/a.dat"},
                                                    {{versionXml, 6, "config/maps/map", "name/iberia"}})}));
}

TEST_F(XmlEntriesJobTest, AFileIsReplacedOnceForEntriesInARowAndAgainWhenItsTurnComesAgain) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  job.write("flash/" + settingsXml, language("en"));
  InstallDescription description;
  for (const char* name : {"One", "Two"}) {
    description.update(name, "storage_for_software", 10).file("a", "apps/a", fileContent);
    for (const char* version : {"2", "3", "4"})
      description.xmlEntry(versionXml, 0, "config/maps/map", "name/alps",
                           {"version/" + std::string(version)});
  }
  description.xmlEntry(settingsXml, 5, "config/language", "de")
      .xmlEntry(versionXml, 0, "config/maps/map", "name/alps", {"version/5"});
  const JobResult result =
      runWatched(job, installCommand(package(description), true), [this](JobWatch& watch) {
        watch.onNamed = [this](const std::string& path) {
          if (path.ends_with("/version.xml") || path.ends_with("/settings.xml"))
            job.write("replaced", (job.exists("replaced") ? job.read("replaced") : "") + path + "\n");
        };
      });
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.read("replaced"), "E:/" + versionXml + "\nE:/" + settingsXml + "\nE:/" + versionXml + "\n");
  EXPECT_EQ(device(versionXml), maps({{"alps", "5"}}));
  EXPECT_EQ(device(settingsXml), language("de"));
}

// What each kind of entry makes of a document in which several elements are alike.
struct FlagCase {
  int creationFlag;
  const char* base;
  const char* condition;
  std::vector<std::string> alters;
  const char* before;
  const char* after;
};

TEST_F(XmlEntriesJobTest, EachKindOfEntryChangesTheElementThatIsMeant) {
  const char* const three =
      "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m></c>";
  const std::vector<FlagCase> cases = {
      // Change: the first that meets the condition, which need not be the first.
      {0,
       "c/m",
       "n/x",
       {"v/9"},
       three,
       "<c><m><n>x</n><v>9</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m></c>"},
      {4,
       "c/m",
       "n/z",
       {"v/9", "n/q"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>q</n><v>9</v></m></c>"},
      {77,
       "c/m",
       "n/y",
       {"v/9"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>9</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m></c>"},
      {0, "c/m", "n/none", {"v/9"}, three, three},
      // Change or add.
      {3,
       "c/m",
       "n/y",
       {"v/9"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>9</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m></c>"},
      {3,
       "c/m",
       "n/w",
       {"n/w", "v/9"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m>"
       "<m><n>w</n><v>9</v></m></c>"},
      {3,
       "c",
       "k/w",
       {"k/w"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m>"
       "<k>w</k></c>"},
      // Add, whatever is there.
      {1,
       "c",
       "m",
       {"n/x", "v/9"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m>"
       "<m><n>x</n><v>9</v></m></c>"},
      {1,
       "c/m[2]",
       "k/l",
       {"n/1"},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v><k><l><n>1</n></l></k></m>"
       "<m><n>z</n><v>4</v></m></c>"},
      // Nothing.
      {2, "c/m", "n/x", {"v/9"}, three, three},
      // One value: the whole condition.
      {5,
       "c/m[2]/v",
       "a/b",
       {},
       three,
       "<c><m><n>x</n><v>1</v></m><m><n>y</n><v>2</v></m><m><n>x</n><v>a/b</v></m><m><n>z</n><v>4</v></m></"
       "c>"},
      {5, "c/m/k", "9", {}, three, three},
      // Remove the first that meets the condition and no other.
      {6,
       "c/m",
       "n/x",
       {},
       three,
       "<c><m><n>y</n><v>2</v></m><m><n>x</n><v>3</v></m><m><n>z</n><v>4</v></m></c>"},
      {6, "c/m", "n/none", {}, three, three},
      {6, "c", "k/1", {}, "<c><k>1</k><k>1</k><k>2</k></c>", "<c><k>1</k><k>2</k></c>"},
      {6, "c", "k/2", {}, "<c><k>1</k><k>2</k></c>", "<c><k>1</k><k>2</k></c>"},
  };
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  for (std::size_t number = 0; number < cases.size(); ++number) {
    const std::string file = "config/" + std::to_string(number) + ".xml";
    const FlagCase& each = cases[number];
    job.write("flash/" + file, each.before);
    description.xmlEntry(file, each.creationFlag, each.base, each.condition, each.alters);
  }
  install(description);
  for (std::size_t number = 0; number < cases.size(); ++number) {
    SCOPED_TRACE("case " + std::to_string(number));
    std::string text = device("config/" + std::to_string(number) + ".xml");
    std::erase(text, '\n');
    std::erase(text, ' ');
    EXPECT_EQ(text, cases[number].after);
  }
}

TEST_F(XmlEntriesJobTest, AMissingFileIsMadeByEntriesThatAddAndByNoOthers) {
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  for (const int flag : {0, 1, 2, 3, 4, 5, 6, 9})
    description.xmlEntry("new/folder/" + std::to_string(flag) + ".xml", flag, "root/item", "name/x",
                         {"name/x"});
  install(description);
  EXPECT_EQ(device("new/folder/1.xml"),
            "<root>\n    <item>\n        <name>\n            <x>\n                <name>x</name>\n"
            "            </x>\n        </name>\n    </item>\n</root>\n");
  EXPECT_EQ(device("new/folder/3.xml"), "<root>\n    <item>\n        <name>x</name>\n    </item>\n</root>\n");
  EXPECT_EQ(device("new/folder/6.xml"), "<root />\n");
  const Tree tree = job.tree("flash/new/folder");
  EXPECT_EQ(tree.size(), 3U);
}

TEST_F(XmlEntriesJobTest, AnUpdateThatFillsANewFileCanBeUninstalledAgain) {
  install(software("App").file("a", "apps/a", fileContent).xmlEntry(listXml, 3, "r/i", "n/x", {"n/x"}));
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(), success);
  EXPECT_EQ(device(listXml), "<r />\n");
  EXPECT_EQ(device("ZELMORA/updates.xml"), "<?xml version=\"1.0\" ?>\n<updates />\n");
}

TEST_F(XmlEntriesJobTest, TextOfAnyKindComesAsItWasMeant) {
  const std::string value = "Å <b> & \"c\" 日本 \xF0\x9F\x97\xBA";
  job.write("flash/" + settingsXml, language("en"));
  install(software("App")
              .file("a", "apps/a", fileContent)
              .xmlEntry(settingsXml, 5, "config/language", value)
              .xmlEntry(settingsXml, 3, "config/Länder", "name/" + value, {"name/" + value}));
  EXPECT_EQ(device(settingsXml),
            "<config>\n    <language>Å &lt;b&gt; &amp; &quot;c&quot; 日本 \xF0\x9F\x97\xBA</language>\n"
            "    <Länder>\n        <name>Å &lt;b&gt; &amp; &quot;c&quot; 日本 \xF0\x9F\x97\xBA</name>\n"
            "    </Länder>\n</config>\n");
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("App", {"apps/a"}, {{settingsXml, 3, "config/Länder", "name/" + value}})}));
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(), success);
  EXPECT_EQ(device(settingsXml),
            "<config>\n    <language>Å &lt;b&gt; &amp; &quot;c&quot; 日本 \xF0\x9F\x97\xBA</language>\n"
            "</config>\n");
}

TEST_F(XmlEntriesJobTest, ABaseOfOneNameIsCompletedInTheRegisterButForFlag4) {
  job.write("flash/" + settingsXml, language("en"));
  install(software("App")
              .file("a", "apps/a", fileContent)
              .xmlEntry(settingsXml, 3, "config", "skin/colour/red", {"skin/blue"})
              .xmlEntry(settingsXml, 4, "config", "skin/colour/red", {"x/1"})
              .xmlEntry(settingsXml, 0, "config", "plain", {"x/1"}));
  EXPECT_EQ(device("ZELMORA/updates.xml"), registerOf({entry("App", {"apps/a"},
                                                             {{settingsXml, 3, "config/skin/colour", "red"},
                                                              {settingsXml, 4, "config", "skin/colour/red"},
                                                              {settingsXml, 0, "config", "plain"}})}));
}

TEST_F(XmlEntriesJobTest, InstallingAgainChangesTheSameElementsAndRegistersThemOnce) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  const InstallDescription description =
      software("App")
          .file("a", "apps/a", fileContent)
          .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"});
  install(description);
  install(description);
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}, {"nordic", "5"}}));
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("App", {"apps/a"}, {{versionXml, 3, "config/maps/map", "name/nordic"}})}));
}

TEST_F(XmlEntriesJobTest, TwoPackagesMayChangeOneFile) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  const CommandPackage first =
      package(software("First")
                  .file("a", "apps/1", fileContent)
                  .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"}),
              "1.zip");
  const CommandPackage second =
      package(software("Second")
                  .file("a", "apps/2", fileContent)
                  .xmlEntry(versionXml, 0, "config/maps/map", "name/nordic", {"version/6"})
                  .xmlEntry(versionXml, 6, "config/maps/map", "name/alps"),
              "2.zip");
  EXPECT_EQ(job.run(CommandDocument::installPackage().localInstall().package(first).package(second).text())
                .document(),
            success);
  EXPECT_EQ(device(versionXml), maps({{"nordic", "6"}}));
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("First", {"apps/1"}, {{versionXml, 3, "config/maps/map", "name/nordic"}}),
                        entry("Second", {"apps/2"},
                              {{versionXml, 0, "config/maps/map", "name/nordic"},
                               {versionXml, 6, "config/maps/map", "name/alps"}})}));
  expectEmptyWorkFolder();
}

TEST_F(XmlEntriesJobTest, TwoCommandsOfOneJobMayChangeOneFile) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  std::vector<std::string> commands;
  for (const char* name : {"nordic", "iberia"}) {
    const CommandPackage each =
        package(software(name)
                    .file("a", "apps/" + std::string(name), fileContent)
                    .xmlEntry(versionXml, 3, "config/maps/map", "name/" + std::string(name),
                              {"name/" + std::string(name), "version/5"}),
                std::string(name) + ".zip");
    commands.push_back(CommandDocument::installPackage().localInstall().package(each).element());
  }
  commands.push_back(CommandDocument::uninstallPackage().uninstall("nordic").element());
  EXPECT_EQ(job.run(CommandDocument::sequenceOf(commands)).exitValue, 0);
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}, {"iberia", "5"}}));
}

TEST_F(XmlEntriesJobTest, SpellingsOfOneFileLeadToTheSameFile) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  for (const char* file : {"config/software/version.xml", "config\\software\\version.xml",
                           "config//software/./version.xml", "./config\\software/version.xml"})
    description.xmlEntry(file, 1, "config", "mark", {"file/x"});
  install(description);
  std::string text = device(versionXml);
  std::size_t marks = 0;
  for (std::size_t at = text.find("<mark>"); at != std::string::npos; at = text.find("<mark>", at + 1))
    ++marks;
  EXPECT_EQ(marks, 4U);
}

TEST_F(XmlEntriesJobTest, APlaceOutsideTheDeviceIsNeitherReadNorWritten) {
  const std::string mine = language("mine");
  job.write("outside/mine.xml", mine);
  job.write("outside/folder/mine.xml", mine);
  job.write("card/mine.xml", mine);
  std::filesystem::create_directory_symlink(job.path("outside"), job.path("flash/link"));
  std::filesystem::create_symlink(job.path("outside/mine.xml"), job.path("flash/link.xml"));
  const Tree outside = job.tree("outside");
  const Tree card = job.tree("card");
  const std::vector<std::string> files = {"../outside/mine.xml",
                                          "..\\outside\\mine.xml",
                                          "config/../../outside/mine.xml",
                                          "../outside/new.xml",
                                          job.path("outside/mine.xml"),
                                          job.path("outside/new.xml"),
                                          "C:" + job.path("outside/mine.xml"),
                                          "F:/mine.xml",
                                          "F:mine.xml",
                                          "E:/../outside/mine.xml",
                                          "link/mine.xml",
                                          "link/new.xml",
                                          "link/folder/mine.xml",
                                          "link.xml",
                                          "..",
                                          "."};
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  for (const std::string& file : files)
    for (const int flag : {0, 1, 3, 5, 6})
      description.xmlEntry(file, flag, flag == 5 ? "config/language" : "config", "language/mine",
                           {"language/hostile"});
  install(description);
  EXPECT_EQ(job.tree("outside"), outside);
  EXPECT_EQ(job.tree("card"), card);
  EXPECT_EQ(job.tree("flash").size(), 6U) << "register, file and links";
  EXPECT_TRUE(logHas("The path of an XML file leaves the device: ../outside/mine.xml"));
  EXPECT_TRUE(logHas("The path of an XML file leaves the device: link/mine.xml"));
}

TEST_F(XmlEntriesJobTest, TheRegisterIsNoPackagesToChange) {
  job.write("flash/games/chess.bin", "a game");
  const std::string chess = entry("Chess", {"games/chess.bin"});
  job.write("flash/ZELMORA/updates.xml", registerOf({chess}));
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  std::vector<RegisterRow> rows;
  for (const char* file : {"ZELMORA/updates.xml", "ZELMORA\\updates.xml", "zelmora/UPDATES.xml",
                           "./ZELMORA//updates.xml", "KD3/updates.xml"}) {
    description.xmlEntry(file, 6, "updates/update", "name/Chess");
    description.xmlEntry(file, 1, "updates", "update", {"name/Hostile"});
    rows.push_back({file, 6, "updates/update", "name/Chess"});
  }
  install(description);
  EXPECT_EQ(device("ZELMORA/updates.xml"), registerOf({chess, entry("App", {"apps/a"}, rows)}));
  EXPECT_FALSE(job.exists("flash/KD3"));
  EXPECT_TRUE(logHas("The register is no package's file: ZELMORA\\updates.xml"));
  // The entries in the register don't reach it either.
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("App").text()).document(), success);
  EXPECT_EQ(device("ZELMORA/updates.xml"), registerOf({chess}));
}

TEST_F(XmlEntriesJobTest, ADeviceFileThatIsDamagedStaysByteForByteAndTheInstallationSucceeds) {
  const std::string damaged = "<config><maps><map>cut";
  job.write("flash/" + versionXml, damaged);
  job.write("flash/" + settingsXml, language("en"));
  InstallDescription description = software("App").file("a", "apps/a", fileContent);
  for (const int flag : {0, 1, 3, 5, 6})
    description.xmlEntry(versionXml, flag, "config/maps", "map/cut", {"map/x"});
  description.xmlEntry(settingsXml, 5, "config/language", "de");
  install(description);
  EXPECT_EQ(device(versionXml), damaged);
  EXPECT_EQ(device(settingsXml), language("de"));
  EXPECT_TRUE(logHas("Xml update installer: nothing can be changed in E:\\" + versionXml));
}

TEST_F(XmlEntriesJobTest, AnUpdateOfEntriesAloneStandsByThemInAnyFileButTheVersionFile) {
  job.write("flash/" + settingsXml, language("en"));
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  InstallDescription description =
      software("Settings").xmlEntry(settingsXml, 3, "config/skin", "name/red", {"name/red"});
  description.update("Version", "storage_for_software", 0)
      .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic"})
      .xmlEntry(versionXml, 1, "config/maps", "map", {"name/only added"});
  install(description);
  // Nothing of the second update is on the device but lines in the version file: it counts as gone at once,
  // and what the register could have taken back of it goes.
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("Settings", {}, {{settingsXml, 3, "config/skin", "name/red"}})}));
  EXPECT_EQ(device(versionXml),
            "<?xml version=\"1.0\" ?>\n<config>\n    <maps>\n        <map>\n            <name>alps</name>\n"
            "            <version>1</version>\n        </map>\n        <map>\n"
            "            <name>only added</name>\n        </map>\n    </maps>\n</config>\n");
}

TEST_F(XmlEntriesJobTest, AnUpdateThatFailsKeepsWhatTheOnesBeforeItChanged) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  job.write("flash/" + settingsXml, language("en"));
  InstallDescription description =
      software("Good")
          .file("a", "apps/a", fileContent)
          .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"});
  description.update("Bad", "storage_for_software", 10)
      .file("not in the zip", "apps/b", "b")
      .xmlEntry(settingsXml, 5, "config/language", "de");
  const JobResult result = job.run(installCommand(package(description), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            errorDocument(1102, "Failed to open updates.xml file. Update was not serialized!"));
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}, {"nordic", "5"}}));
  EXPECT_EQ(device(settingsXml), language("en")) << "the entries come behind the files";
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("Good", {"apps/a"}, {{versionXml, 3, "config/maps/map", "name/nordic"}})}));
  expectEmptyWorkFolder();
}

TEST_F(XmlEntriesJobTest, AnUnknownFlagThatEndsTheProcessKeepsThemToo) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  InstallDescription description =
      software("Good")
          .file("a", "apps/a", fileContent)
          .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"});
  description.update("Bad", "storage_for_software", 10).file("a", "apps/b", fileContent, 6);
  const JobResult result = job.run(installCommand(package(description), true));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), errorDocument(1177, "Operation not supported!!!"));
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}, {"nordic", "5"}}));
  EXPECT_EQ(device("ZELMORA/updates.xml"),
            registerOf({entry("Good", {"apps/a"}, {{versionXml, 3, "config/maps/map", "name/nordic"}})}));
  expectEmptyWorkFolder();
}

TEST_F(XmlEntriesJobTest, AFileThatComesWithTheSameUpdateIsChangedAsItCame) {
  job.write("flash/" + settingsXml, language("old"));
  ZipBuilder zip;
  zip.add("s", language("came"));
  CommandPackage each;
  each.zip = zip.bytes();
  each.url = job.path("p.zip");
  job.write("p.zip", each.zip);
  each.description.update("App", "storage_for_software", 10)
      .file("s", settingsXml, language("came"))
      .xmlEntry(settingsXml, 1, "config", "added", {"x/1"});
  EXPECT_EQ(job.run(installCommand(each, true)).document(), success);
  EXPECT_EQ(
      device(settingsXml),
      "<config>\n    <language>came</language>\n    <added>\n        <x>1</x>\n    </added>\n</config>\n");
}

TEST_F(XmlEntriesJobTest, AFileThatALaterUpdateBringsWinsOverChangesBeforeIt) {
  job.write("flash/" + settingsXml, language("old"));
  ZipBuilder zip;
  zip.add("s", language("came"));
  CommandPackage each;
  each.zip = zip.bytes();
  each.url = job.path("p.zip");
  job.write("p.zip", each.zip);
  each.description.update("Changes", "storage_for_software", 10)
      .xmlEntry(settingsXml, 3, "config/skin", "name/red", {"name/red"})
      .update("Brings", "storage_for_software", 10)
      .file("s", settingsXml, language("came"))
      .xmlEntry(settingsXml, 1, "config", "added", {"x/1"});
  EXPECT_EQ(job.run(installCommand(each, true)).document(), success);
  EXPECT_EQ(
      device(settingsXml),
      "<config>\n    <language>came</language>\n    <added>\n        <x>1</x>\n    </added>\n</config>\n");
  EXPECT_EQ(device("ZELMORA/updates.xml"), registerOf({entry("Brings", {settingsXml})}))
      << "of the first update nothing is left";
}

// What an update has placed stays also where the one behind it ends the job: with the copy of the file that
// an update before it has changed still in hand.
class EarlyEndJobTest : public XmlEntriesJobTest {
 protected:
  // Changes the settings, then places them, and comes to an end at the last file.
  JobResult runToEarlyEnd(const std::string& lastEntry, int lastFlag) {
    const std::string came = language("came");
    CommandPackage each;
    each.zip = ZipBuilder().add("s", came).add("a", fileContent).bytes();
    each.url = job.path("p.zip");
    job.write("p.zip", each.zip);
    each.description.update("Changes", "storage_for_software", 10)
        .xmlEntry(settingsXml, 3, "config/skin", "name/red", {"name/red"})
        .update("Brings", "storage_for_software", 10)
        .file("s", settingsXml, came, flag)
        .file(lastEntry, "apps/a", fileContent, lastFlag);
    return job.run(installCommand(each, true));
  }
  void expectSettingsThatCame() {
    EXPECT_EQ(device(settingsXml), language("came"));
    EXPECT_TRUE(logHas("Xml update installer: another file has taken the place of E:\\" + settingsXml));
    expectEmptyWorkFolder();
  }
  int flag = 0;
};

TEST_F(EarlyEndJobTest, AFileThatWasPlacedStaysWhenTheNextOneIsMissingInTheZip) {
  for (const auto& [placingFlag, wasThere] : std::vector<std::pair<int, bool>>{
           {0, false}, {0, true}, {2, false}, {2, true}, {1, false}, {3, true}}) {
    SCOPED_TRACE("flag " + std::to_string(placingFlag) + (wasThere ? ", a file was there" : ""));
    std::filesystem::remove_all(job.path("flash/config"));
    if (wasThere) job.write("flash/" + settingsXml, language("old"));
    flag = placingFlag;
    const JobResult result = runToEarlyEnd("missing", 0);
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(),
              errorDocument(1102, "Failed to open updates.xml file. Update was not serialized!"));
    expectSettingsThatCame();
  }
}

TEST_F(EarlyEndJobTest, ChangesStayWhereTheUpdateThatEndsTheJobHasNotPlacedTheFile) {
  job.write("flash/" + settingsXml, language("old"));
  flag = 1;
  EXPECT_EQ(runToEarlyEnd("missing", 0).exitValue, 255);
  EXPECT_EQ(device(settingsXml),
            "<config>\n    <language>old</language>\n    <skin>\n        <name>red</name>\n    </skin>\n"
            "</config>\n");
  expectEmptyWorkFolder();
}

TEST_F(EarlyEndJobTest, AFileThatWasPlacedStaysWhenTheNextFlagIsUnknown) {
  for (const bool wasThere : {false, true}) {
    SCOPED_TRACE(wasThere);
    std::filesystem::remove_all(job.path("flash/config"));
    if (wasThere) job.write("flash/" + settingsXml, language("old"));
    const JobResult result = runToEarlyEnd("a", 6);
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(), errorDocument(1177, "Operation not supported!!!"));
    expectSettingsThatCame();
  }
}

TEST_F(XmlEntriesJobTest, AnOlderPackageOnTheCardChangesTheFilesOfTheMainStorage) {
  job.write("flash/" + versionXml, maps({{"alps", "1"}}));
  job.write("card/" + versionXml, "not looked at");
  job.flash.capacity = 1000;
  InstallDescription description;
  description.update("Old", "", 1000)
      .file("a", "maps/a", fileContent)
      .xmlEntry(versionXml, 3, "config/maps/map", "name/nordic", {"name/nordic", "version/5"});
  install(description);
  EXPECT_EQ(job.read("card/maps/a"), fileContent);
  EXPECT_EQ(job.read("card/" + versionXml), "not looked at");
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}, {"nordic", "5"}}));
  EXPECT_EQ(
      device("ZELMORA/updates.xml"),
      registerOf({InstallDescription::registerEntry("Old", "storage_for_content", {"maps/a"},
                                                    {{versionXml, 3, "config/maps/map", "name/nordic"}})}));
  // Uninstalling looks for the file on the card, where it isn't one, and on the main storage.
  std::filesystem::remove(job.path("card/" + versionXml));
  EXPECT_EQ(job.run(CommandDocument::uninstallPackage().uninstall("Old").text()).document(), success);
  EXPECT_EQ(device(versionXml), maps({{"alps", "1"}}));
  EXPECT_FALSE(job.exists("card/maps/a"));
}

}  // namespace
}  // namespace ZelmoraTevra
