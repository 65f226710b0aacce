#include <filesystem>
#include <map>

#include "core/Text.h"
#include "install/DeviceXmlFiles.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

using Editing = DeviceXmlFiles::Editing;

// Counts what happens to each file. One of them can't be replaced.
class WatchingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode == platform::OpenMode::read) ++reads[toForwardSlashes(path)];
    return target().open(path, mode, error);
  }
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    if (from.ends_with(u"_tevra_new") && toForwardSlashes(to) == unwritable) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
    if (from.ends_with(u"_tevra_new")) ++replacements[toForwardSlashes(to)];
    return target().rename(from, to, error);
  }
  bool list(const WideText& folder, std::vector<platform::FolderEntry>& entries,
            platform::ErrorCode& error) override {
    ++listings;
    return target().list(folder, entries, error);
  }
  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    if (silent.empty() || !toForwardSlashes(path).starts_with(silent)) return target().kind(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::io_error);
    return platform::EntryKind::missing;
  }
  int listings = 0;
  WideText silent;  // what begins with it gives no answer
  std::map<WideText, int> reads;
  std::map<WideText, int> replacements;
  WideText unwritable;
};

class DeviceXmlFilesTest : public JobTest {
 protected:
  DeviceXmlFilesTest() : watching(files()) {
    useFileSystem(watching);
    writeFile(a, "<r><m>1</m><m>2</m><m>3</m></r>");
    writeFile(b, "<r><m>1</m><m>2</m><m>3</m></r>");
  }
  static UpdateXmlEntry entry(const WideText& relativePath, const WideText& text) {
    return {relativePath, 0, u"r/m", text};
  }
  Editing remove(const WideText& relativePath, const WideText& text) {
    return xmlFiles.removeMatches(root, entry(relativePath, text));
  }
  [[nodiscard]] std::string textOf(const WideText& file) const {
    std::string text;
    for (const char c : readFile(file))
      if (c != '\n' && c != ' ') text += c;
    return text;
  }

  const WideText device = path(u"device");
  const WideText a = path(u"device/config/a.xml");
  const WideText b = path(u"device/config/b.xml");
  WatchingFileSystem watching;
  PathBelowRoot root{device};
  DeviceXmlFiles xmlFiles;
};

TEST_F(DeviceXmlFilesTest, AFileIsReadAndReplacedOnceHoweverOftenItIsNamed) {
  for (const WideText text : {u"1", u"2"}) {
    EXPECT_EQ(remove(u"config/a.xml", text), Editing::done);
    EXPECT_EQ(remove(u"config/b.xml", text), Editing::done);
    xmlFiles.beginNextUpdate();
  }
  EXPECT_EQ(watching.reads[a], 1);
  EXPECT_EQ(textOf(a), "<r><m>1</m><m>2</m><m>3</m></r>");
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_EQ(watching.replacements[a], 1);
  EXPECT_EQ(watching.replacements[b], 1);
  EXPECT_EQ(textOf(a), "<r><m>3</m></r>");
  EXPECT_EQ(textOf(b), "<r><m>3</m></r>");
  EXPECT_EQ(tree(path(u"device/config")), (std::vector<std::string>{"a.xml", "b.xml"}));
  EXPECT_TRUE(tree(path(u"temp/ZELMORATevra_tmp")).empty());
}

TEST_F(DeviceXmlFilesTest, AFileThatIsOnlyLookedAtIsNotWritten) {
  EXPECT_EQ(remove(u"config/a.xml", u"4"), Editing::done);
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_TRUE(watching.replacements.empty());
}

TEST_F(DeviceXmlFilesTest, OneFileUnderSeveralSpellingsIsOneFile) {
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  EXPECT_EQ(remove(u"config\\.//A.XML", u"2"), Editing::done);
  PathBelowRoot otherSpelling(toBackslashes(device) + u"\\");
  EXPECT_EQ(xmlFiles.removeMatches(otherSpelling, entry(u"config/a.xml", u"3")), Editing::done);
  EXPECT_EQ(watching.reads[a], 1);
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_EQ(textOf(a), "<r/>");
}

TEST_F(DeviceXmlFilesTest, MissingAndUnreadableFilesAreToldApart) {
  EXPECT_EQ(remove(u"config/none.xml", u"1"), Editing::missing);
  EXPECT_EQ(remove(u"none/none.xml", u"1"), Editing::missing);
  for (const char* damaged : {"", "no xml", "<r><m>1</m>", "<!-- no root -->"}) {
    writeFile(a, damaged);
    EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::failed) << damaged;
    EXPECT_EQ(readFile(a), damaged);
  }
  EXPECT_EQ(remove(u"config", u"1"), Editing::failed);
}

TEST_F(DeviceXmlFilesTest, AMissingFileIsLookedForOnce) {
  EXPECT_EQ(remove(u"config/none.xml", u"1"), Editing::missing);
  const int listings = watching.listings;
  for (int number = 0; number < 10; ++number) EXPECT_EQ(remove(u"CONFIG\\none.xml", u"1"), Editing::missing);
  EXPECT_EQ(watching.listings, listings);
}

TEST_F(DeviceXmlFilesTest, AFileIsMissingOnlyIfTheStorageStandsAndSaysSo) {
  watching.silent = device + u"/config/none.xml";
  EXPECT_EQ(remove(u"config/none.xml", u"1"), Editing::failed);
  watching.silent.clear();
  EXPECT_EQ(remove(u"config/none.xml", u"1"), Editing::missing);
  std::filesystem::remove_all(folder.native() / "device");
  EXPECT_EQ(remove(u"config/other.xml", u"1"), Editing::failed);
}

TEST_F(DeviceXmlFilesTest, AFileOutsideTheRootIsRefused) {
  writeFile(path(u"outside.xml"), "<r><m>1</m></r>");
  std::filesystem::create_symlink(folder.native() / "outside.xml", folder.native() / "device/link.xml");
  std::filesystem::create_directory_symlink(folder.native(), folder.native() / "device/up");
  for (const WideText hostile : {u"../outside.xml", u"config/../../outside.xml", u"link.xml",
                                 u"up/outside.xml", u"", u"C:outside.xml"})
    EXPECT_EQ(remove(hostile, u"1"), Editing::refused) << toUtf8(hostile);
  EXPECT_EQ(remove(path(u"outside.xml"), u"1"), Editing::refused);
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_EQ(readFile(path(u"outside.xml")), "<r><m>1</m></r>");
}

TEST_F(DeviceXmlFilesTest, AnInterruptedReplacementIsPutRightFirst) {
  std::filesystem::rename(folder.native() / "device/config/a.xml",
                          folder.native() / "device/config/a.xml00000000010000000002");
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_EQ(textOf(a), "<r><m>2</m><m>3</m></r>");
  EXPECT_EQ(tree(path(u"device/config")), (std::vector<std::string>{"a.xml", "b.xml"}));
}

TEST_F(DeviceXmlFilesTest, AFileThatIsDeletedMeanwhileStaysDeleted) {
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  std::filesystem::remove(folder.native() / "device/config/a.xml");
  EXPECT_EQ(remove(u"config/a.xml", u"2"), Editing::missing);
  EXPECT_EQ(remove(u"config/b.xml", u"1"), Editing::done);
  std::filesystem::remove(folder.native() / "device/config/b.xml");
  EXPECT_TRUE(xmlFiles.save());
  EXPECT_TRUE(tree(path(u"device/config")).empty());
}

TEST_F(DeviceXmlFilesTest, AStorageThatHasGoneIsAFailedWrite) {
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  std::filesystem::remove_all(folder.native() / "device");
  EXPECT_FALSE(xmlFiles.save());
  EXPECT_EQ(xmlFiles.firstUnsaved(), 0U);
  EXPECT_FALSE(fileExists(a));
}

TEST_F(DeviceXmlFilesTest, AFileThatGoesWithItsStorageIsNotForgotten) {
  xmlFiles.beginNextUpdate();
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  xmlFiles.beginNextUpdate();
  std::filesystem::rename(folder.native() / "device", folder.native() / "pulled");
  EXPECT_EQ(remove(u"config/a.xml", u"2"), Editing::failed);
  std::filesystem::rename(folder.native() / "pulled", folder.native() / "device");
  EXPECT_FALSE(xmlFiles.save());
  EXPECT_EQ(xmlFiles.firstUnsaved(), 1U);
}

TEST_F(DeviceXmlFilesTest, AFailedWriteNamesTheFirstUpdateThatItConcerns) {
  watching.unwritable = b;
  EXPECT_EQ(remove(u"config/a.xml", u"1"), Editing::done);
  EXPECT_EQ(remove(u"config/b.xml", u"4"), Editing::done);
  xmlFiles.beginNextUpdate();
  EXPECT_EQ(remove(u"config/b.xml", u"1"), Editing::done);
  xmlFiles.beginNextUpdate();
  EXPECT_EQ(remove(u"config/b.xml", u"2"), Editing::done);
  EXPECT_EQ(xmlFiles.firstUnsaved(), std::nullopt);
  EXPECT_FALSE(xmlFiles.save());
  EXPECT_EQ(xmlFiles.firstUnsaved(), 1U);
  EXPECT_EQ(textOf(a), "<r><m>2</m><m>3</m></r>");
  EXPECT_EQ(textOf(b), "<r><m>1</m><m>2</m><m>3</m></r>");
}

TEST_F(DeviceXmlFilesTest, FilesThatAreTooLargeTogetherAreWrittenInBetween) {
  DeviceXmlFiles few(40);
  EXPECT_EQ(few.removeMatches(root, entry(u"config/a.xml", u"1")), Editing::done);
  EXPECT_EQ(few.removeMatches(root, entry(u"config/a.xml", u"2")), Editing::done);
  EXPECT_EQ(watching.replacements[a], 0);
  EXPECT_EQ(few.removeMatches(root, entry(u"config/b.xml", u"1")), Editing::done);
  EXPECT_EQ(watching.replacements[a], 1);
  EXPECT_EQ(textOf(a), "<r><m>3</m></r>");
  EXPECT_EQ(watching.replacements[b], 0);
  few.beginNextUpdate();
  EXPECT_EQ(few.removeMatches(root, entry(u"config/a.xml", u"3")), Editing::done);
  EXPECT_EQ(watching.replacements[b], 1);

  watching.unwritable = a;
  few.beginNextUpdate();
  EXPECT_EQ(few.removeMatches(root, entry(u"config/b.xml", u"2")), Editing::failed);
  EXPECT_EQ(few.firstUnsaved(), 1U);
}

TEST_F(DeviceXmlFilesTest, FilesThatAreTooLargeTogetherAreNotReadForEver) {
  DeviceXmlFiles few(40);
  int handled = 0;
  while (handled < 100 && few.removeMatches(root, entry(u"config/a.xml", u"4")) == Editing::done &&
         few.removeMatches(root, entry(u"config/b.xml", u"4")) == Editing::done)
    ++handled;
  EXPECT_GT(handled, 2);
  EXPECT_LT(handled, 20);
}

}  // namespace
}  // namespace ZelmoraTevra
