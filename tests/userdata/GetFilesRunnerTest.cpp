#include <algorithm>

#include "tests/support/FaultyFileSystem.h"
#include "tests/userdata/UserFilesTest.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

// Counts how often each folder is listed and each file is asked for.
class CountingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::map<WideText, int> listings;
  int questions = 0;
  WideText unreadable;  // ending of a folder's path

  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    ++listings[toForwardSlashes(folder)];
    if (!unreadable.empty() && toForwardSlashes(folder).ends_with(unreadable)) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
    return target().list(folder, entries, error);
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    ++questions;
    return target().kind(path, error);
  }
};

// Upper and lower case are the same in the file "list.BMP", as on a device.
class CaselessFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    return target().kind(asStored(path), error);
  }
  bool creationTime(const WideText& path, std::int64_t& seconds, platform::ErrorCode& error) override {
    return target().creationTime(asStored(path), seconds, error);
  }

 private:
  static WideText asStored(const WideText& path) {
    if (!path.ends_with(u"list.bmp")) return path;
    return path.substr(0, path.size() - 3) + u"BMP";
  }
};

class GetFilesRunnerTest : public UserFilesTest {
 protected:
  std::string response() {
    EXPECT_EQ(run(u"GET_FILES"), 0);
    EXPECT_THAT(statusHistory().empty() ? 0 : status().state, testing::Ne(7));
    return readFile(StatusXml::instance().statusFilePath());
  }
  // The texts of all files told of, in order.
  std::vector<std::string> told() {
    const std::string document = response();
    std::vector<std::string> texts;
    for (std::size_t at = document.find("CreationDate"); at != std::string::npos;
         at = document.find("CreationDate", at + 1)) {
      const std::size_t start = document.find('>', at) + 1;
      texts.push_back(document.substr(start, document.find('<', start) - start));
    }
    return texts;
  }
  // What a csv of this content is told to have; empty without.
  std::string lines(const std::string& content, const WideText& extension = u"csv") {
    writeFile(path(u"flash/Poi/list.") + extension, content);
    const std::string document = response();
    const std::size_t at = document.find("nr=\"");
    return at == std::string::npos ? "" : document.substr(at + 4, document.find('"', at + 4) - at - 4);
  }
};

TEST_F(GetFilesRunnerTest, AGroupIsToldWithItsFilesAndTheirDates) {
  writeFile(path(u"flash/Poi/list.csv"), "a\nb\n");
  writeFile(path(u"flash/Poi/list.png"), "x");
  dated.madeAt[u"list.png"] = 1'357'084'799;
  EXPECT_EQ(response(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
            "<GetFilesResponse filesNumber=\"1\">\n"
            "    <File nr=\"2\">\n"
            "        <FileName CreationDate=\"2013-05-17\">E:/Poi/list.csv</FileName>\n"
            "        <OptionalFileName CreationDate=\"2013-01-01\">E:/Poi/list.png</OptionalFileName>\n"
            "    </File>\n"
            "</GetFilesResponse>\n");
}

TEST_F(GetFilesRunnerTest, WithoutGroupsTheAnswerIsEmpty) {
  const std::string empty =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GetFilesResponse filesNumber=\"0\" />\n";
  EXPECT_EQ(response(), empty);
  makeFolder(path(u"flash/Poi"));
  EXPECT_EQ(response(), empty);
  writeFile(path(u"card/Poi"), "a file where the folder should be");
  EXPECT_EQ(response(), empty);
}

TEST_F(GetFilesRunnerTest, AnEmptyListOfEitherKindIs1204) {
  for (const WideText list : {u"", u";", u";;"}) {
    record.extensions = list;
    record.optionalExtensions = u"bmp";
    expectFailure(u"GET_FILES", u"1204", u"An error occurred when reading the GET_FILES parameters.");
    record.extensions = u"csv";
    record.optionalExtensions = list;
    expectFailure(u"GET_FILES", u"1204", u"An error occurred when reading the GET_FILES parameters.");
  }
}

TEST_F(GetFilesRunnerTest, AGroupThatLacksARequiredFileIsNotTold) {
  record.extensions = u"csv;txt";
  writeGroup(u"flash/Poi/list");
  EXPECT_THAT(told(), IsEmpty());
  writeFile(path(u"flash/Poi/list.txt"), "x");
  EXPECT_THAT(told(), ElementsAre("E:/Poi/list.bmp", "E:/Poi/list.csv", "E:/Poi/list.txt"));
}

TEST_F(GetFilesRunnerTest, AGroupWithoutAnOptionalFileIsNotTold) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  writeFile(path(u"flash/Poi/other.bmp"), "x");
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, OfTheOptionalFilesTheFirstOfTheListIsTold) {
  writeGroup(u"flash/Poi/list");
  writeFile(path(u"flash/Poi/list.png"), "x");
  EXPECT_THAT(told(), ElementsAre("E:/Poi/list.bmp", "E:/Poi/list.csv"));
  record.optionalExtensions = u"gif;png;bmp";
  EXPECT_THAT(told(), ElementsAre("E:/Poi/list.csv", "E:/Poi/list.png"));
}

TEST_F(GetFilesRunnerTest, AnExtensionThatIsBothRequiredAndOptionalIsOneFile) {
  record.optionalExtensions = u"csv";
  writeFile(path(u"flash/Poi/list.csv"), "x");
  EXPECT_THAT(response(), HasSubstr("<OptionalFileName CreationDate=\"2013-05-17\">E:/Poi/list.csv<"));
}

TEST_F(GetFilesRunnerTest, GroupsAreFoundInAllFoldersBelowOfBothStorages) {
  writeGroup(u"flash/Poi/list");
  writeGroup(u"flash/Poi/a/b.c/list");
  writeGroup(u"card/Poi/list");
  writeGroup(u"card/list");
  EXPECT_THAT(told(), UnorderedElementsAre("E:/Poi/list.csv", "E:/Poi/list.bmp", "E:/Poi/a/b.c/list.csv",
                                           "E:/Poi/a/b.c/list.bmp", "F:/Poi/list.csv", "F:/Poi/list.bmp"));
  const std::vector<std::string> both = told();
  EXPECT_EQ(both.front().front(), 'E');
  EXPECT_EQ(both.back().front(), 'F');
  record.secondDriveLetter.clear();
  EXPECT_EQ(told().size(), 4U);
}

TEST_F(GetFilesRunnerTest, SeparatorsAtTheEndOfAFolderAreNotDoubled) {
  writeGroup(u"flash/Poi/list");
  record.searchingFolder = u"Poi/";
  for (const WideText root : {u"E:", u"E:\\", u"E:/"}) {
    record.storageCardDriveLetter = root;
    EXPECT_THAT(told(), ElementsAre("E:/Poi/list.bmp", "E:/Poi/list.csv"));
  }
}

TEST_F(GetFilesRunnerTest, FilesOfOneGroupLieInOneFolder) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  writeFile(path(u"flash/Poi/a/list.bmp"), "x");
  writeFile(path(u"card/Poi/list.bmp"), "x");
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, TheFirstExtensionIsWhatStandsBehindTheLastDotToTheLetter) {
  for (const WideText name : {u"list.CSV", u"list.csv.bak", u"csv", u"listcsv", u"list.csv "})
    writeFile(path(u"flash/Poi/") + name, "x");
  writeFile(path(u"flash/Poi/list.bmp"), "x");
  EXPECT_THAT(told(), IsEmpty());
  writeGroup(u"flash/Poi/a.b");
  EXPECT_THAT(told(), ElementsAre("E:/Poi/a.b.bmp", "E:/Poi/a.b.csv"));
  record.extensions = u"b.csv";
  record.optionalExtensions = u"b.bmp";
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, FurtherExtensionsMayHaveADot) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  writeFile(path(u"flash/Poi/list.idx.bmp"), "x");
  record.optionalExtensions = u"idx.bmp";
  EXPECT_THAT(told(), ElementsAre("E:/Poi/list.csv", "E:/Poi/list.idx.bmp"));
}

TEST_F(GetFilesRunnerTest, WhereUpperAndLowerCaseAreTheSameTheOtherFilesCount) {
  writeFile(path(u"flash/Poi/list.csv"), "x");
  writeFile(path(u"flash/Poi/list.BMP"), "x");
  EXPECT_THAT(told(), IsEmpty());
  CaselessFileSystem caseless(dated);
  useFileSystem(caseless);
  EXPECT_THAT(told(), ElementsAre("E:/Poi/list.bmp", "E:/Poi/list.csv"));
}

TEST_F(GetFilesRunnerTest, FoldersAndLinksAreNoFiles) {
  writeGroup(u"home/secret");
  makeFolder(path(u"flash/Poi"));
  writeFile(path(u"flash/Poi/one.csv"), "x");
  link("../../home/secret.bmp", "flash/Poi/one.bmp");
  link("../../home/secret.csv", "flash/Poi/two.csv");
  writeFile(path(u"flash/Poi/two.bmp"), "x");
  writeFile(path(u"flash/Poi/three.csv"), "x");
  makeFolder(path(u"flash/Poi/three.bmp"));
  link("../../home", "flash/Poi/linked");
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, AFolderThatALinkLeadsToIsNotThere) {
  writeGroup(u"home/secret");
  link("../home", "flash/Poi");
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, NamesThatLeadOutOfTheStorageAreBadParameters) {
  writeGroup(u"outside");
  writeGroup(u"flash/Poi/list");
  for (const WideText& name : escapingNames) {
    record.searchingFolder = name;
    expectFailure(u"GET_FILES", u"1204", u"An error occurred when reading the GET_FILES parameters.");
  }
  record.searchingFolder = u"Poi";
  for (const WideText extension : {u"x/../../../outside.csv", u"\\x", u"a/b"}) {
    record.extensions = u"csv;" + WideText(extension);
    expectFailure(u"GET_FILES", u"1204", u"An error occurred when reading the GET_FILES parameters.");
    record.extensions = u"csv";
    record.optionalExtensions = extension;
    expectFailure(u"GET_FILES", u"1204", u"An error occurred when reading the GET_FILES parameters.");
    record.optionalExtensions = u"bmp";
  }
}

TEST_F(GetFilesRunnerTest, TheLinesOfACsvAreCounted) {
  writeFile(path(u"flash/Poi/list.bmp"), "x");
  EXPECT_EQ(lines(""), "0");
  EXPECT_EQ(lines("\n"), "1");
  EXPECT_EQ(lines("a"), "1");
  EXPECT_EQ(lines("a\n"), "1");
  EXPECT_EQ(lines("a\r\nb"), "2");
  EXPECT_EQ(lines("a\n\n\n"), "3");
}

TEST_F(GetFilesRunnerTest, LinesAreCountedAcrossBlocks) {
  writeFile(path(u"flash/Poi/list.bmp"), "x");
  for (const std::size_t size : {16'383, 16'384, 16'385, 32'768, 50'000}) {
    const std::string ends(size, '\n');
    EXPECT_EQ(lines(ends), std::to_string(size));
    EXPECT_EQ(lines(ends + "x"), std::to_string(size + 1));
    EXPECT_EQ(lines(std::string(size, 'x')), "1");
    EXPECT_EQ(lines(std::string(size, 'x') + "\n"), "1");
  }
}

TEST_F(GetFilesRunnerTest, OnlyACsvInOneOfTwoSpellingsIsCounted) {
  writeFile(path(u"flash/Poi/list.bmp"), "x\ny");
  for (const auto& [extension, count] :
       {std::pair(u"CSV", "3"), std::pair(u"csv", "3"), std::pair(u"Csv", ""), std::pair(u"txt", "")}) {
    record.extensions = extension;
    EXPECT_EQ(lines("a\nb\nc", extension), count);
  }
}

TEST_F(GetFilesRunnerTest, ACsvAsTheOptionalFileIsCountedToo) {
  record.extensions = u"bmp";
  record.optionalExtensions = u"csv";
  writeFile(path(u"flash/Poi/list.bmp"), "x");
  EXPECT_EQ(lines("a\nb"), "2");
}

TEST_F(GetFilesRunnerTest, ACsvThatIsNotOfTheGroupGetsNoAttention) {
  record.extensions = u"txt";
  writeFile(path(u"flash/Poi/list.txt"), "x");
  writeFile(path(u"flash/Poi/list.bmp"), "x");
  EXPECT_EQ(lines("a\nb"), "");
  EXPECT_THAT(response(), Not(HasSubstr("csv")));
}

TEST_F(GetFilesRunnerTest, TheLimitsOfTheDevicesSettingsAreTold) {
  const WideText settings = path(u"flash/ZELMORA/Settings/ApplicationSettings.xml");
  writeFile(settings,
            "<Settings><UserPois><MyPois><MaxPois>500</MaxPois><MaxPoiFiles>20</MaxPoiFiles></MyPois>"
            "</UserPois></Settings>");
  EXPECT_THAT(response(),
              HasSubstr("<GetFilesResponse filesNumber=\"0\" MaxPois=\"500\" MaxPoiFiles=\"20\" />"));
}

TEST_F(GetFilesRunnerTest, SettingsThatDontSayBothLimitsSayNone) {
  const WideText settings = path(u"flash/ZELMORA/Settings/ApplicationSettings.xml");
  for (const std::string text :
       {"", "<Settings",
        "<Other><UserPois><MyPois><MaxPois>5</MaxPois><MaxPoiFiles>2</MaxPoiFiles></MyPois>"
        "</UserPois></Other>",
        "<Settings><UserPois><MyPois><MaxPois>5</MaxPois></MyPois></UserPois></Settings>",
        "<Settings><UserPois><MyPois><MaxPoiFiles>5</MaxPoiFiles></MyPois></UserPois></Settings>",
        "<Settings><UserPois><MyPois><MaxPois>5</MaxPois><MaxPoiFiles/></MyPois></UserPois></Settings>"}) {
    writeFile(settings, text);
    EXPECT_THAT(response(), HasSubstr("<GetFilesResponse filesNumber=\"0\" />")) << text;
  }
}

TEST_F(GetFilesRunnerTest, SettingsCutOffAnywhereAreNoFailure) {
  const std::string whole =
      "<Settings><UserPois><MyPois><MaxPois>5\xC3\xA4</MaxPois><MaxPoiFiles>2</MaxPoiFiles></MyPois>"
      "</UserPois></Settings>";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeFile(path(u"flash/ZELMORA/Settings/ApplicationSettings.xml"), whole.substr(0, length));
    EXPECT_THAT(response(), HasSubstr("<GetFilesResponse filesNumber=\"0\" />"));
  }
  std::string badText = whole;
  badText[badText.find('\xA4')] = 'x';
  writeFile(path(u"flash/ZELMORA/Settings/ApplicationSettings.xml"), badText);
  EXPECT_THAT(response(), HasSubstr("<GetFilesResponse filesNumber=\"0\" />"));
}

TEST_F(GetFilesRunnerTest, SettingsBehindALinkAreNotRead) {
  writeFile(path(u"home/ApplicationSettings.xml"),
            "<Settings><UserPois><MyPois><MaxPois>5</MaxPois><MaxPoiFiles>2</MaxPoiFiles></MyPois>"
            "</UserPois></Settings>");
  makeFolder(path(u"flash/ZELMORA/Settings"));
  link("../../../home/ApplicationSettings.xml", "flash/ZELMORA/Settings/ApplicationSettings.xml");
  EXPECT_THAT(response(), HasSubstr("<GetFilesResponse filesNumber=\"0\" />"));
}

TEST_F(GetFilesRunnerTest, AFolderThatCantBeReadIs1205) {
  writeGroup(u"flash/Poi/a/list");
  CountingFileSystem counting(dated);
  counting.unreadable = u"/a";
  useFileSystem(counting);
  expectFailure(u"GET_FILES", u"1205", u"An error occurred while trying to read from device.");
}

TEST_F(GetFilesRunnerTest, ASearchingFolderThatGivesNoAnswerIs1205AndOneThatIsMissingHoldsNothing) {
  class Silent : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
      if (!path.ends_with(u"Poi")) return target().kind(path, error);
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return platform::EntryKind::missing;
    }
  } silent{dated};
  useFileSystem(silent);
  expectFailure(u"GET_FILES", u"1205", u"An error occurred while trying to read from device.");
  useFileSystem(dated);
  record.secondDriveLetter = u"G:";
  EXPECT_THAT(told(), IsEmpty());
}

TEST_F(GetFilesRunnerTest, AnAnswerThatCantBeSavedIs1206) {
  // The answer is tried twice beside the status and once over it; the report comes after that.
  FaultyFileSystem faulty(dated);
  int opened = 0;
  faulty.before = [&](int number, const std::string& operation) {
    faulty.failAt = operation == "open" && ++opened <= 3 ? number : 0;
  };
  useFileSystem(faulty);
  expectFailure(u"GET_FILES", u"1206", u"An error occurred when trying to save data to disk.");
  EXPECT_GT(opened, 3);
}

TEST_F(GetFilesRunnerTest, NamesWithMarkupAndBytesThatAreNoTextAreTold) {
  writeGroup(u"flash/Poi/a&b<c>'d'");
  writeGroup(u"flash/Poi/gr\u00fc\u00dfe \U0001F600");
  EXPECT_THAT(told(), UnorderedElementsAre("E:/Poi/a&amp;b&lt;c&gt;&apos;d&apos;.csv",
                                           "E:/Poi/a&amp;b&lt;c&gt;&apos;d&apos;.bmp",
                                           "E:/Poi/gr\u00fc\u00dfe \U0001F600.csv",
                                           "E:/Poi/gr\u00fc\u00dfe \U0001F600.bmp"));
  for (const char* file : {"flash/Poi/\xFF.csv", "flash/Poi/\xFF.bmp"})
    std::filesystem::copy_file(folder.native() / "flash/Poi/a&b<c>'d'.csv", folder.native() / file);
  EXPECT_THAT(response(), HasSubstr("E:/Poi/\uFFFD.csv"));
  writeGroup(u"flash/Poi/a\u0001b");
  EXPECT_THAT(response(), HasSubstr("E:/Poi/a\uFFFDb.csv"));
}

TEST_F(GetFilesRunnerTest, EachFolderIsListedOnceAndOnlyFilesOfGroupsAreAskedFor) {
  for (int number = 0; number < 300; ++number) {
    const WideText name = u"flash/Poi/folder" + numberText(number % 3) + u"/" + numberText(number);
    writeFile(path(name + u".csv"), "x");
    writeFile(path(name + u".dat"), "x");
  }
  writeGroup(u"flash/Poi/folder1/list");
  CountingFileSystem counting(dated);
  useFileSystem(counting);
  EXPECT_EQ(told().size(), 2U);
  for (const auto& [listed, times] : counting.listings) EXPECT_EQ(times, 1) << toUtf8(listed);
  EXPECT_EQ(counting.listings.size(), 4U);
  EXPECT_EQ(dated.questions, 2);
  EXPECT_LT(counting.questions, 30);
}

}  // namespace
}  // namespace ZelmoraTevra
