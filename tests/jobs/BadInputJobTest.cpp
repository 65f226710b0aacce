#include <algorithm>
#include <optional>

#include "core/Base64.h"
#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

class BadInputJobTest : public ProgramTest {
 protected:
  // Runs the document and expects an orderly end.
  JobResult runBad(const std::string& document) {
    const JobResult result = job.run(document);
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitValue, 255) << result.errors;
    return result;
  }
  // A front end's earlier job has made the status folder.
  void makeStatusFolder() const { std::filesystem::create_directory(job.statusFolder()); }
  [[nodiscard]] std::string unreadable() const {
    return errorDocument(1027, "Command xml could not be read!");
  }
};

TEST_F(BadInputJobTest, NoArgumentAndWrongOnesAreAnsweredOnStandardError) {
  const std::string command = job.path("commands.xml");
  const std::vector<std::vector<std::string>> cases = {
      {},
      {""},
      {"!!!"},
      {"QQ"},
      {encodeBase64("   \"' ")},
      {encodeBase64(command + "|" + job.path("temp"))},
      {encodeBase64(command + "|a|b|c|d")},
      {encodeBase64("\xff\xfe|a|b")},
      {job.argument(), "not the last one"},
  };
  job.environment["TEVRA_REGISTRY"] = job.path("registry.ini");
  job.write("registry.ini", "[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nCompany=ACME\n");
  for (const std::vector<std::string>& arguments : cases) {
    job.startWith(arguments);
    const JobResult result = job.wait();
    EXPECT_EQ(result.exitValue, 255);
    EXPECT_EQ(result.errors, "ACME: Wrong parameters.\n");
    EXPECT_TRUE(result.statuses.empty());
    EXPECT_TRUE(job.tree("tmp").empty());
  }
}

TEST_F(BadInputJobTest, AnEmptySequenceSucceedsWithoutAStatus) {
  for (const char* document : {"<CommandSequence/>", "<CommandSequence></CommandSequence>",
                               "<?xml version=\"1.0\"?><CommandSequence><Other/></CommandSequence>"}) {
    const JobResult result = job.run(document);
    EXPECT_EQ(result.exitValue, 0);
    EXPECT_TRUE(result.statuses.empty());
    EXPECT_TRUE(job.tree("tmp").empty());
    EXPECT_TRUE(job.tree("temp").empty());
  }
}

TEST_F(BadInputJobTest, AnUnknownCommandEndsTheJobWithoutAStatus) {
  for (const char* name : {"INSTALL_TEVRAFILE", "install_package", "check_size", "uninstall_package",
                           "INSTALL PACKAGE", "Command", ""}) {
    const JobResult result =
        runBad("<CommandSequence><Command CommandName=\"" + std::string(name) + "\"/></CommandSequence>");
    EXPECT_TRUE(result.statuses.empty());
    const std::vector<std::string> lines = job.logLines();
    const std::string line = *name != '\0' ? "Fail to read " + std::string(name) : "Fail to read";
    EXPECT_NE(std::find(lines.begin(), lines.end(), line), lines.end()) << name;
  }
  EXPECT_TRUE(runBad("<CommandSequence><Command/></CommandSequence>").statuses.empty());
}

TEST_F(BadInputJobTest, ADocumentWithoutASequenceIsReported) {
  makeStatusFolder();
  EXPECT_EQ(runBad("<Commands/>").document(),
            errorDocument(1028, "The command sequence node from command xml couldn't be read!"));
}

TEST_F(BadInputJobTest, WithoutAStatusFolderABadDocumentLeavesItsReportInTheLog) {
  EXPECT_TRUE(runBad("no xml").statuses.empty());
  const std::vector<std::string> lines = job.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "exitCode: 1027"), lines.end());
}

TEST_F(BadInputJobTest, ADocumentThatIsCutAtAnyPlaceIsReported) {
  makeStatusFolder();
  job.keepsLog = false;
  const std::string document =
      "<CommandSequence><Command CommandName='INSTALL_TEVRA' LocalInstall='0'><PackageSequence/></Command>"
      "</CommandSequence>";
  for (std::size_t length = 0; length < document.size(); ++length) {
    SCOPED_TRACE(document.substr(0, length));
    const WideText exitCode = runBad(document.substr(0, length)).last.exitCode();
    EXPECT_TRUE(exitCode == u"1027" || exitCode == u"1028");
  }
}

TEST_F(BadInputJobTest, TenThousandNestedElementsAreReported) {
  makeStatusFolder();
  std::string open;
  std::string close;
  for (int i = 0; i < 10'000; ++i) {
    open += "<a>";
    close += "</a>";
  }
  const auto inCommand = [](const std::string& text) {
    return "<CommandSequence><Command CommandName=\"INSTALL_PACKAGE\">" + text +
           "</Command></CommandSequence>";
  };
  EXPECT_EQ(runBad(open + close).document(), unreadable());
  EXPECT_EQ(runBad(inCommand(open + close)).document(), unreadable());
  EXPECT_EQ(runBad(inCommand(open)).document(), unreadable());
}

TEST_F(BadInputJobTest, EightMebibytesOfTextAreReadAndReported) {
  job.keepsLog = false;
  const std::string large(8 << 20, 'x');
  EXPECT_EQ(runBad(CommandDocument::installPackage(large).localInstall().package(localSpringPackage()).text())
                .last.exitCode(),
            u"1095");
  EXPECT_EQ(runBad("<CommandSequence><Command CommandName=\"INSTALL_PACKAGE\">" + large +
                   "</Command></CommandSequence>")
                .last.exitCode(),
            u"1029");

  // A command of that name is unknown: only the log tells of it.
  job.keepsLog = true;
  std::filesystem::remove_all(job.statusFolder());
  EXPECT_TRUE(
      runBad("<CommandSequence><Command CommandName=\"" + large + "\"/></CommandSequence>").statuses.empty());
  EXPECT_NE(job.read("log.xml").find("Fail to read " + large), std::string::npos);
}

// A sound command in which one element or attribute is replaced.
struct Replacement {
  const char* name;
  const char* what;
  const char* with;
  const char16_t* exitCode;
};

class WrongValueTest : public ProgramTest, public ::testing::WithParamInterface<Replacement> {};

TEST_P(WrongValueTest, IsReported) {
  std::string document = installCommand(localSpringPackage(), true);
  const std::size_t place = document.find(GetParam().what);
  ASSERT_NE(place, std::string::npos);
  const std::string what = GetParam().what;
  if (what.starts_with("<")) {
    const std::size_t start = place + what.size();
    document.replace(start, document.find("</", start) - start, GetParam().with);
  } else {
    for (std::size_t at = place; at != std::string::npos; at = document.find(what, at))
      document.replace(at, what.size(), GetParam().with);
  }
  const JobResult result = job.run(document);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_EQ(result.last.exitCode(), GetParam().exitCode);
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
  EXPECT_TRUE(job.tree("card").empty());
}

INSTANTIATE_TEST_SUITE_P(
    Values, WrongValueTest,
    ::testing::Values(Replacement{"LocalInstallEmpty", "LocalInstall=\"1\"", "", u"1029"},
                      Replacement{"LocalInstallNoNumber", "LocalInstall=\"1\"", "LocalInstall=\"yes\"",
                                  u"1138"},
                      Replacement{"StorageLetterEmpty", "<StorageCardDriveLetter>", "", u"1033"},
                      Replacement{"StorageLetterOnlyPadding", "<StorageCardDriveLetter>", "=", u"1033"},
                      Replacement{"StorageLetterAnElement", "<StorageCardDriveLetter>", "<a/>", u"1033"},
                      Replacement{"StorageLetterCutShort", "<StorageCardDriveLetter>", "RTo", u"1033"},
                      Replacement{"SecondLetterNoBase64", "<SecondDriveLetter>", "%%%%", u"1015"},
                      Replacement{"PackageSequenceMissing", "PackageSequence>", "Packages>", u"1032"},
                      Replacement{"FileSizeEmpty", "<fileSize>", "", u"1031"},
                      Replacement{"Md5Empty", "<md5>", "", u"1031"},
                      Replacement{"UrlEmpty", "<url>", "", u"1245"},
                      Replacement{"UrlNoPath", "<url>", "not base64", u"1245"},
                      Replacement{"FileSizeUncompressedEmpty", "<fileSizeUncompressed>", "", u"1031"},
                      Replacement{"DescriptionEmpty", "<installXML>", "", u"1030"},
                      Replacement{"DescriptionNoZip", "<installXML>", "AAAA", u"1030"},
                      Replacement{"FileSizeHuge", "<fileSize>", "99999999999999999999", u"1099"}),
    [](const auto& value) { return value.param.name; });

TEST_F(BadInputJobTest, TextThatIsNoUtf8EndsTheJobInOrder) {
  runBad(CommandDocument::installPackage("\xff\xfe").localInstall().package(localSpringPackage()).text());
  runBad("<CommandSequence><Command CommandName=\"\xff\"/></CommandSequence>");
  EXPECT_EQ(job.tree("flash"), (Tree{{"ZELMORA", "folder"}}));
}

TEST_F(BadInputJobTest, ADescriptionThatIsNoXmlIsReported) {
  std::string document = installCommand(localSpringPackage(), true);
  const std::size_t start = document.find("<installXML>") + 12;
  const std::size_t length = document.find('<', start) - start;
  const auto with = [&](const std::string& description) {
    std::string changed = document;
    return changed.replace(start, length, encodeBase64(ZipBuilder().add("install.xml", description).bytes()));
  };
  const std::string invalid = "Invalid installation information! Retry later or contact Customer Support.";
  EXPECT_EQ(runBad(with("<install><update>")).document(), errorDocument(1167, invalid));
  EXPECT_EQ(runBad(with("<other/>")).document(), errorDocument(1168, invalid));
  EXPECT_EQ(runBad(with("<install/>")).document(), errorDocument(1168, "Update vector empty!!!"));
}

}  // namespace
}  // namespace ZelmoraTevra
