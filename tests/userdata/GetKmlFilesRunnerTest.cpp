#include <filesystem>

#include "core/Text.h"
#include "core/XmlDocument.h"
#include "tests/userdata/KmlFilesTest.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

// Tells when files were made, by their names.
class DatedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  bool creationTime(const WideText& path, std::int64_t& seconds, platform::ErrorCode& error) override {
    if (!target().creationTime(path, seconds, error)) return false;
    const auto found = times.find(path);
    seconds = found != times.end() ? found->second : 1'368'781'473;
    return true;
  }

  std::map<WideText, std::int64_t> times;
};

std::string responseOf(const std::vector<std::pair<std::string, std::string>>& files) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
  if (files.empty()) return text + "<KmlResponse />\n";
  text += "<KmlResponse>\n";
  for (const auto& [name, date] : files)
    text += "    <kmlFile creationDate=\"" + date + "\">" + name + "</kmlFile>\n";
  return text + "</KmlResponse>\n";
}

class GetKmlFilesRunnerTest : public KmlFilesTest {
 protected:
  GetKmlFilesRunnerTest() { useFileSystem(dated); }

  DatedFileSystem dated{disk};
  const std::string date = "2013-05-17";
};

TEST_F(GetKmlFilesRunnerTest, TheTracksOfBothStoragesAreToldSorted) {
  writeFile(flashTrack(u"b.kml"), "1");
  writeFile(flashTrack(u"deeper/still/a.kml"), "2");
  writeFile(cardTrack(u"c.kml"), "3");
  writeFile(cardTrack(u"B.kml"), "4");
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{"B.kml", date}, {"a.kml", date}, {"b.kml", date}, {"c.kml", date}}));
  EXPECT_EQ(statusHistory().size(), 1U) << "the response is all that is saved";
}

TEST_F(GetKmlFilesRunnerTest, ANameOnBothStoragesIsToldTwiceTheOlderOneFirst) {
  writeFile(flashTrack(u"a.kml"), "1");
  writeFile(cardTrack(u"a.kml"), "2");
  dated.times[u"E:\\ZELMORA\\Tracks\\a.kml"] = 1'400'000'000;
  dated.times[u"F:\\ZELMORA\\Tracks\\a.kml"] = 1'300'000'000;
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{"a.kml", "2011-03-13"}, {"a.kml", "2014-05-13"}}));
}

TEST_F(GetKmlFilesRunnerTest, NamesAreSortedAsUnitsOfUtf16) {
  // U+1F600 is two surrogates, which come before U+FF5E.
  writeFile(flashTrack(u"\U0001F600.kml"), "");
  writeFile(flashTrack(u"\uFF5E.kml"), "");
  writeFile(flashTrack(u"\u00E4.kml"), "");
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{toUtf8(u"\u00E4.kml"), date},
                                    {toUtf8(u"\U0001F600.kml"), date},
                                    {toUtf8(u"\uFF5E.kml"), date}}));
}

TEST_F(GetKmlFilesRunnerTest, OnlyTheExactExtensionCountsAndNoNameThatBeginsWithADot) {
  for (const WideText name : {u".x.kml", u".kml", u"a.KML", u"a.Kml", u"a.kmlx", u"a.kml.txt", u"kml",
                              u"a.xkml", u"a.kml ", u"Tevra_131284_copy"})
    writeFile(flashTrack(name), "x");
  makeFolder(flashTrack(u"folder.kml"));
  writeFile(flashTrack(u"a.b.kml"), "x");
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{"a.b.kml", date}}));
}

TEST_F(GetKmlFilesRunnerTest, WithoutAnyTrackTheResponseIsEmpty) {
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({}));
}

TEST_F(GetKmlFilesRunnerTest, ASecondStorageThatIsNotNamedOrNotThereAddsNothing) {
  writeFile(flashTrack(u"a.kml"), "x");
  writeFile(cardTrack(u"b.kml"), "x");
  CommandRecord get = command(u"GET_KML_FILES");
  for (const WideText second : {u"", u"G:"}) {
    get.secondDriveLetter = second;
    EXPECT_EQ(run(get), 0);
    EXPECT_EQ(response(), responseOf({{"a.kml", date}}));
  }
}

TEST_F(GetKmlFilesRunnerTest, AWriteProtectedSecondStorageIsListed) {
  writeFile(cardTrack(u"b.kml"), "x");
  cardReadOnly = true;
  setCapacities(1000, 1000);
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{"b.kml", date}}));
}

TEST_F(GetKmlFilesRunnerTest, MarkupInANameIsEscapedAndANameThatIsNoTextStaysReadable) {
  writeFile(flashTrack(u"a&b<c>'.kml"), "x");
  fs::create_directories(folder.native() / "flash/ZELMORA/Tracks");
  writeFile(flashTrack(u"x"), "x");
  fs::rename(folder.native() / "flash/ZELMORA/Tracks/x", folder.native() / "flash/ZELMORA/Tracks/z\xFF.kml");
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  TiXmlDocument document;
  ASSERT_TRUE(parseXml(response(), document));
  const TiXmlElement* const first = document.RootElement()->FirstChildElement("kmlFile");
  ASSERT_NE(first, nullptr);
  EXPECT_STREQ(first->GetText(), "a&b<c>'.kml");
}

TEST_F(GetKmlFilesRunnerTest, NothingIsToldThatALinkOnTheDeviceLeadsTo) {
  writeFile(path(u"outside/secret.kml"), "x");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "flash/ZELMORA/Tracks");
  writeFile(cardTrack(u"a.kml"), "x");
  fs::create_symlink(folder.native() / "outside/secret.kml", folder.native() / "card/ZELMORA/Tracks/b.kml");
  fs::create_directory_symlink(folder.native() / "outside", folder.native() / "card/ZELMORA/Tracks/sub");
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(response(), responseOf({{"a.kml", date}}));
}

TEST_F(GetKmlFilesRunnerTest, AResponseThatCannotBeSavedIs1184WithItsPath) {
  // All ways to the file, two beside it and the direct one, are barred until the report comes.
  struct : platform::ForwardingFileSystem {
    using ForwardingFileSystem::ForwardingFileSystem;
    std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                               platform::ErrorCode& error) override {
      const bool isResponse = path.find(u"ud_") != WideText::npos && mode != platform::OpenMode::read;
      if (!isResponse || ++count > 3) return target().open(path, mode, error);
      error = boost::system::errc::make_error_code(boost::system::errc::no_space_on_device);
      return nullptr;
    }
    int count = 0;
  } full{disk};
  writeFile(flashTrack(u"a.kml"), "x");
  EXPECT_EQ(runOn(full, command(u"GET_KML_FILES")), -1);
  expectError(u"1184", {u"Error on saving the xml with kml files!"},
              {{u"FILE", toForwardSlashes(StatusXml::instance().statusFilePath())}});
}

TEST_F(GetKmlFilesRunnerTest, TheDeviceTestComesFirst) {
  expectDeviceTestFirst(command(u"GET_KML_FILES"));
}

TEST_F(GetKmlFilesRunnerTest, TheProbeLeavesNothingBehind) {
  EXPECT_EQ(run(command(u"GET_KML_FILES")), 0);
  EXPECT_EQ(tree(path(u"flash")), (std::vector<std::string>{"ZELMORA/"}));
  EXPECT_EQ(tree(path(u"card")), (std::vector<std::string>{"ZELMORA/"}));
}

}  // namespace
}  // namespace ZelmoraTevra
