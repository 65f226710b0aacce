#include <algorithm>
#include <filesystem>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/WatchedJob.h"

namespace ZelmoraTevra {
namespace {

// Installations that read back what they have placed.
class ValidationJobTest : public ProgramTest {
 protected:
  static std::string command(const CommandPackage& package, bool local = true) {
    return CommandDocument::installPackage()
        .attribute("CheckHashFile", "TRUE")
        .localInstall(local)
        .package(package)
        .text();
  }
  // The spring package, in the work folder already as if it had been fetched by a job before.
  [[nodiscard]] CommandPackage fetchedSpringPackage() const {
    const CommandPackage package = springPackage("http://127.255.255.254/spring.zip?id=42");
    job.write("temp/ZELMORATevra_tmp/spring.zip", package.zip);
    return package;
  }
  // One file under two descriptions: the zip holds `content`, the description is of `described`.
  [[nodiscard]] CommandPackage packageOf(const std::string& content, const std::string& described) const {
    CommandPackage package;
    package.zip = ZipBuilder().add("a", content).bytes();
    package.url = job.path("p.zip");
    package.description.update("App", "storage_for_software", static_cast<std::int64_t>(content.size()))
        .file("a", "apps/a.bin", described);
    job.write("p.zip", package.zip);
    return package;
  }
  // Does something when the validation begins.
  JobResult runAndDo(const CommandPackage& package, bool local, const std::function<void()>& action) {
    return runWatched(job, command(package, local), [&action](JobWatch& watch) {
      watch.onStatus = [&action](const SavedStatus& status) {
        if (status.state == 17 && status.exitCode().empty() && status.descriptions[0] == u"33") action();
      };
    });
  }
  static std::string validating(const std::string& percent) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<jobs_tests>\n    <stat>17</stat>\n"
           "    <description0>" +
           percent + "</description0>\n    <description1></description1>\n    <description2>" + percent +
           "</description2>\n    <description3></description3>\n</jobs_tests>\n";
  }
  // A terminal status of a job that ran in the test's program.
  static std::string inTestProgram(std::string document) {
    for (std::size_t at = document.find("TevraCLI"); at != std::string::npos; at = document.find("TevraCLI"))
      document.replace(at, 8, "jobs_tests");
    return document;
  }
  // The log from one line to another, without the states.
  [[nodiscard]] std::vector<std::string> logBetween(const std::string& first, const std::string& last) const {
    std::vector<std::string> lines = job.logLinesToTheLetter();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("Status changed: "); });
    const auto start = std::find(lines.begin(), lines.end(), first);
    const auto end = std::find(start, lines.end(), last);
    return {start, end == lines.end() ? end : end + 1};
  }
};

TEST_F(ValidationJobTest, AGoodPackageIsValidatedAndTheLogHasTheTwoMarkersAlone) {
  const JobResult result = job.run(command(localSpringPackage()));
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.document(), success);
  EXPECT_EQ(job.loggedStates(), (std::vector<std::string>{"statPreparing", "statInstalllnProgress",
                                                          "statHaskValidation", "statSuccess"}));
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{"START validation!", "END validation!"}));
  expectSpringInstalled();
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, EachStatusIsRightByteForByte) {
  const JobResult result = runWatched(job, command(localSpringPackage()), [](JobWatch&) {});
  const std::string start = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<jobs_tests>\n";
  std::vector<std::string> documents;
  for (const SavedStatus& status : result.statuses) documents.push_back(status.document);
  ASSERT_EQ(documents.size(), 7U);
  EXPECT_EQ(documents[0], start + "    <stat>0</stat>\n    <exitCode>1057</exitCode>\n</jobs_tests>\n");
  EXPECT_EQ(result.statuses[1].state, 3);
  EXPECT_EQ(documents[2], start + "    <stat>17</stat>\n    <exitCode>1175</exitCode>\n</jobs_tests>\n");
  EXPECT_EQ(documents[3], validating("33"));
  EXPECT_EQ(documents[4], validating("66"));
  EXPECT_EQ(documents[5], validating("100"));
  EXPECT_EQ(documents[6], start +
                              "    <stat>9</stat>\n    <exitCode>1010</exitCode>\n"
                              "    <executionTime>0</executionTime>\n</jobs_tests>\n");
}

TEST_F(ValidationJobTest, AWrongHashInTheDescriptionIsLoggedAndIsSuccess) {
  const std::string content = noise(5000, 21);
  EXPECT_EQ(job.run(command(packageOf(content, "another file"))).document(), success);
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{
                "START validation!",
                "!!!Install xml problems: 1 md5 missing or not agree from install xml! Files: ",
                "File: E:/apps/a.bin", "Install xml md5: " + md5Of("another file"),
                "Device md5: " + md5Of(content), "END validation!"}));
  EXPECT_EQ(md5Of(job.read("flash/apps/a.bin")), md5Of(content));
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, ADescriptionWithoutHashesCostsASecondLookAndIsSuccess) {
  CommandPackage package = packageOf("content", "content");
  std::string text = command(package);
  // The description travels packed; it is written anew without the attribute.
  InstallDescription description;
  const std::string hash = " hash_key=\"" + md5Of("content") + "\"";
  std::string xml = package.description.text();
  xml.erase(xml.find(hash), hash.size());
  const std::string encoded = InstallDescription::encodedText(xml);
  const std::string before = package.description.encoded();
  text.replace(text.find(before), before.size(), encoded);
  EXPECT_EQ(job.run(text).document(), success);
  EXPECT_EQ(
      logBetween("START validation!", "END validation!"),
      (std::vector<std::string>{
          "START validation!",
          "!!!Install xml problems: 1 md5 missing or not agree from install xml! Files: ",
          "File: E:/apps/a.bin", "Install xml md5: ", "Device md5: " + md5Of("content"), "END validation!"}));
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, AHashInSmallLettersIsTheSameHash) {
  const CommandPackage package = packageOf("content", "content");
  std::string xml = package.description.text();
  const std::size_t at = xml.find(md5Of("content"));
  for (std::size_t i = at; i < at + 32; ++i) xml[i] = static_cast<char>(std::tolower(xml[i]));
  std::string text = command(package);
  const std::string before = package.description.encoded();
  text.replace(text.find(before), before.size(), InstallDescription::encodedText(xml));
  EXPECT_EQ(job.run(text).document(), success);
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{"START validation!", "END validation!"}));
}

TEST_F(ValidationJobTest, FilesThatWereDamagedAre1174WithTheirNamesAndTheRegisterIsThere) {
  const JobResult result = runAndDo(fetchedSpringPackage(), false, [this] {
    job.write("flash/apps/navigator.bin", "damaged");
    job.write("card/content/maps/iberia.dat", "");
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            inTestProgram(terminalDocument(
                7, {"100"},
                {{"exitCode", "1174"}, {"fileName", "E:/apps/navigator.bin; F:/content/maps/iberia.dat"}})));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{
                "START validation!",
                "!!!Install xml problems: 2 md5 missing or not agree from install xml! Files: ",
                "File: E:/apps/navigator.bin",
                "Install xml md5: " + md5Of(navigator),
                "Device md5: " + md5Of("damaged"),
                "File: F:/content/maps/iberia.dat",
                "Install xml md5: " + md5Of(iberia),
                "Device md5: " + md5Of(""),
                "!!!VALIDATION PHASE: 2 md5 not match! Files: ",
                "File: E:/apps/navigator.bin",
                "Local md5: " + md5Of(navigator),
                "Device md5: " + md5Of("damaged"),
                "File: F:/content/maps/iberia.dat",
                "Local md5: " + md5Of(iberia),
                "Device md5: " + md5Of(""),
                "Exit status reported: 7",
                "100",
                "exitCode: 1174",
                "fileName: E:/apps/navigator.bin; F:/content/maps/iberia.dat",
                "Backend execution time: 0",
                "END validation!"}));
  expectEmptyWorkFolder();
  // The same job puts it right.
  EXPECT_EQ(job.run(command(fetchedSpringPackage(), false)).document(), success);
  expectSpringInstalled();
}

TEST_F(ValidationJobTest, ADamagedFileOfALocalPackageLeavesTheUsersZip) {
  const CommandPackage package = localSpringPackage();
  const JobResult result = runAndDo(package, true, [this] { job.write("card/content/maps/alps.dat", "x"); });
  EXPECT_EQ(result.last.exitCode(), u"1174");
  EXPECT_EQ(result.last.attributes.at(u"fileName"), u"F:/content/maps/alps.dat");
  EXPECT_EQ(md5Of(job.read("spring.zip")), md5Of(package.zip));
}

TEST_F(ValidationJobTest, AFileThatGoesMeanwhileIs1290) {
  const JobResult result = runAndDo(fetchedSpringPackage(), false, [this] {
    std::filesystem::remove(job.path("card/content/maps/alps.dat"));
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), inTestProgram(errorDocument(1290, "File not existsF:/content/maps/alps.dat")));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
  EXPECT_EQ(job.logLines().back(), "Backend finish!");
  EXPECT_EQ(logBetween("START validation!", "END validation!").back(), "END validation!");
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, ACardThatIsPulledMeanwhileIs1287AndDoesNotComeUpAgain) {
  const JobResult result = runAndDo(fetchedSpringPackage(), false, [this] {
    std::filesystem::rename(job.path("card"), job.path("pulled"));
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(),
            inTestProgram(errorDocument(1287,
                                        "Your device seems to be disconnected. Tevra was not able to access "
                                        "file: F:/content/maps/alps.dat")));
  EXPECT_FALSE(job.exists("card"));
  EXPECT_EQ(md5Of(job.read("pulled/content/maps/alps.dat")), md5Of(alps));
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, ADeviceThatIsPulledMeanwhileHasItsRegister) {
  const JobResult result = runAndDo(fetchedSpringPackage(), false, [this] {
    std::filesystem::rename(job.path("flash"), job.path("pulled"));
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1287");
  EXPECT_FALSE(job.exists("flash"));
  EXPECT_EQ(job.read("pulled/ZELMORA/updates.xml"), springRegister);
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, ADeviceThatIsPulledAsTheValidationBeginsIsReportedToo) {
  const JobResult result = runWatched(job, command(fetchedSpringPackage(), false), [this](JobWatch& watch) {
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.exitCode() == u"1175") std::filesystem::rename(job.path("flash"), job.path("pulled"));
    };
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), u"1287");
  EXPECT_FALSE(job.exists("flash"));
  EXPECT_EQ(md5Of(job.read("pulled/apps/navigator.bin")), md5Of(navigator));
}

TEST_F(ValidationJobTest, AZipThatGoesMeanwhileFailsTheSecondLookWithTheExtractorsReport) {
  const CommandPackage package = localSpringPackage();
  const JobResult result = runAndDo(package, true, [this] {
    job.write("card/content/maps/alps.dat", "damaged");
    std::filesystem::remove(job.path("spring.zip"));
  });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.state, 7);
  EXPECT_EQ(result.last.exitCode(), u"1235");
  EXPECT_EQ(job.read("flash/ZELMORA/updates.xml"), springRegister);
}

TEST_F(ValidationJobTest, AnAbortBetweenFilesIsState8With1020AndTheDownloadGoes) {
  const JobResult result = runAndDo(fetchedSpringPackage(), false, [this] { job.writeAbortFile(); });
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), inTestProgram(terminalDocument(8, {}, {{"exitCode", "1020"}})));
  EXPECT_EQ(logBetween("START validation!", "END validation!").back(), "END validation!");
  EXPECT_FALSE(job.abortFileExists());
  expectSpringInstalled();
  expectEmptyWorkFolder();
}

TEST_F(ValidationJobTest, AVersionFileIsPlacedAndNotValidated) {
  CommandPackage package;
  package.zip = ZipBuilder().add("v", "<config/>").bytes();
  package.url = job.path("p.zip");
  package.description.update("App", "storage_for_software", 10)
      .file("v", "config/software/version.xml", "another file")
      .file("v", "config/software/Version.xml2", "<config/>");
  job.write("p.zip", package.zip);
  EXPECT_EQ(job.run(command(package)).document(), success);
  EXPECT_EQ(job.read("flash/config/software/version.xml"), "<config/>");
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{"START validation!", "END validation!"}));
}

TEST_F(ValidationJobTest, AFileThatEntriesHaveChangedIsNotTheOneOfThePackage) {
  CommandPackage package;
  const std::string settings = "<config>\n    <language>en</language>\n</config>\n";
  package.zip = ZipBuilder().add("s", settings).add("a", "a").bytes();
  package.url = job.path("p.zip");
  package.description.update("App", "storage_for_software", 10)
      .file("s", "config/settings.xml", settings)
      .file("a", "apps/a", "a")
      .xmlEntry("config/settings.xml", 5, "config/language", "de");
  job.write("p.zip", package.zip);
  const JobResult result = job.run(command(package));
  EXPECT_EQ(result.document(),
            terminalDocument(7, {"100"}, {{"exitCode", "1174"}, {"fileName", "E:/config/settings.xml"}}));
  EXPECT_EQ(job.read("flash/config/settings.xml"), "<config>\n    <language>de</language>\n</config>\n")
      << "the last file with changes is written before the validation";
}

TEST_F(ValidationJobTest, AnUpdateWithoutFilesHasNothingToValidate) {
  job.write("flash/config/settings.xml", "<config />\n");
  CommandPackage package = localPackage("p.zip", "App", "a", "content");
  package.description = InstallDescription();
  package.description.update("App", "storage_for_software", 0)
      .xmlEntry("config/settings.xml", 3, "config/skin", "name/red", {"name/red"});
  EXPECT_EQ(job.run(command(package)).document(), success);
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{"START validation!", "END validation!"}));
}

TEST_F(ValidationJobTest, OfFilesThatArePassedOverNoneIsValidated) {
  job.write("flash/apps/there.bin", "not the package's");
  CommandPackage package;
  package.zip = ZipBuilder().add("a", "content").bytes();
  package.url = job.path("p.zip");
  package.description.update("App", "storage_for_software", 10)
      .file("a", "apps/there.bin", "content", 1)
      .file("a", "apps/nowhere.bin", "content", 3)
      .file("a", "apps/deleted.bin", "content", 4)
      .file("a", "apps/new.bin", "content", 1);
  job.write("p.zip", package.zip);
  EXPECT_EQ(job.run(command(package)).document(), success);
  EXPECT_EQ(job.read("flash/apps/there.bin"), "not the package's");
  EXPECT_EQ(job.read("flash/apps/new.bin"), "content");
  EXPECT_FALSE(job.exists("flash/apps/nowhere.bin"));
}

TEST_F(ValidationJobTest, AFileThatTwoUpdatesBringIsTheOneOfTheLast) {
  CommandPackage package;
  package.zip = ZipBuilder().add("one", "one").add("two", "two").bytes();
  package.url = job.path("p.zip");
  package.description.update("One", "storage_for_software", 3)
      .file("one", "shared.bin", "one")
      .update("Two", "storage_for_software", 3)
      .file("two", "shared.bin", "two");
  job.write("p.zip", package.zip);
  EXPECT_EQ(job.run(command(package)).document(), success);
  EXPECT_EQ(job.read("flash/shared.bin"), "two");
  EXPECT_EQ(logBetween("START validation!", "END validation!"),
            (std::vector<std::string>{"START validation!", "END validation!"}));
}

// What is left to do behind the installation: the fetched zips and what lies beside them.
class DownloadedFilesJobTest : public ValidationJobTest {
 protected:
  void expectNotDeleted(const JobResult& result, int exitCode) {
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.document(),
              inTestProgram(errorDocument(exitCode, "The downloaded files could not be deleted!",
                                          {{"PATH", job.path("temp")}, {"DRIVE", ""}})));
    expectSpringInstalled();
  }
  static std::string plainCommand(const CommandPackage& package) { return installCommand(package, false); }
};

TEST_F(DownloadedFilesJobTest, AZipThatCantBeDeletedIs1104WithTheRegisterOnTheDevice) {
  const JobResult result = runWatched(job, plainCommand(fetchedSpringPackage()), [](JobWatch& watch) {
    watch.keeps = [](const std::string& path) { return path.ends_with("/spring.zip"); };
  });
  expectNotDeleted(result, 1104);
  EXPECT_TRUE(job.exists("temp/ZELMORATevra_tmp/spring.zip"));
}

TEST_F(DownloadedFilesJobTest, SoIsOneBehindAGoodValidation) {
  const JobResult result = runWatched(job, command(fetchedSpringPackage(), false), [](JobWatch& watch) {
    watch.keeps = [](const std::string& path) { return path.ends_with("/spring.zip"); };
  });
  expectNotDeleted(result, 1104);
}

TEST_F(DownloadedFilesJobTest, AnotherReportIsNotReplacedByIt) {
  const JobResult result = runWatched(job, command(fetchedSpringPackage(), false), [this](JobWatch& watch) {
    watch.keeps = [](const std::string& path) { return path.ends_with("/spring.zip"); };
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.exitCode() == u"1175") job.write("flash/apps/navigator.bin", "damaged");
    };
  });
  EXPECT_EQ(result.last.exitCode(), u"1174");
}

TEST_F(DownloadedFilesJobTest, WhatLiesBesideTheZipGoesWithIt) {
  const CommandPackage package = fetchedSpringPackage();
  job.write("temp/ZELMORATevra_tmp/other.zip_INCOMPLETE", "another package's");
  const JobResult result = runWatched(job, plainCommand(package), [this](JobWatch& watch) {
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.state != 0) return;
      job.write("temp/ZELMORATevra_tmp/spring.zip_INCOMPLETE", "part");
      job.write("temp/ZELMORATevra_tmp/spring.zip_INCOMPLETE.xml", "companion");
    };
  });
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(job.tree("temp"), (Tree{{"ZELMORATevra_tmp", "folder"},
                                    {"ZELMORATevra_tmp/other.zip_INCOMPLETE", md5Of("another package's")}}));
}

TEST_F(DownloadedFilesJobTest, OneThatHasGoneAlreadyIsNoFailure) {
  const JobResult result = runWatched(job, command(fetchedSpringPackage(), false), [this](JobWatch& watch) {
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.exitCode() == u"1175") std::filesystem::remove(job.path("temp/ZELMORATevra_tmp/spring.zip"));
    };
  });
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(result.last.exitCode(), u"1010");
  expectSpringInstalled();
}

TEST_F(DownloadedFilesJobTest, AnAbortBehindThePlacementTakesThemAway) {
  const JobResult result = runWatched(job, plainCommand(fetchedSpringPackage()), [this](JobWatch& watch) {
    watch.onStatus = [this](const SavedStatus& status) {
      if (status.state == 3) job.writeAbortFile();
    };
  });
  EXPECT_EQ(result.document(), inTestProgram(terminalDocument(8, {}, {{"exitCode", "1020"}})));
  expectSpringInstalled();
  expectEmptyWorkFolder();
}

TEST_F(DownloadedFilesJobTest, AnAbortBeforeThePlacementLeavesThemForTheNextJob) {
  const CommandPackage package = fetchedSpringPackage();
  job.writeAbortFile();
  const JobResult result = job.run(plainCommand(package));
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.document(), terminalDocument(8, {}, {}));
  EXPECT_FALSE(job.abortFileExists());
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
  EXPECT_EQ(md5Of(job.read("temp/ZELMORATevra_tmp/spring.zip")), md5Of(package.zip));
}

}  // namespace
}  // namespace ZelmoraTevra
