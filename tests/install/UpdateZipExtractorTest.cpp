#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "core/ProcessEnd.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "install/UpdateZipExtractor.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ZipBuilder.h"

namespace {

constexpr std::size_t chunkSize = 0x80000;
bool chunksAreRefused = false;

}  // namespace

// An array as large as the extractor's chunk can be refused, as if memory were short.
void* operator new[](std::size_t size) {
  if (chunksAreRefused && size == chunkSize) throw std::bad_alloc();
  return ::operator new(size);
}
void operator delete[](void* memory) noexcept {
  ::operator delete(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  ::operator delete(memory);
}

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

// A file system that tells what is done to one folder on it, the device, and can take the device away.
class DeviceFileSystem : public platform::ForwardingFileSystem {
 public:
  DeviceFileSystem(platform::FileSystem& target, WideText device)
      : ForwardingFileSystem(target), device_(toBackslashes(std::move(device))) {}

  bool gone = false;
  bool readsFail = false;
  bool closesFail = false;
  // Called with the name of an operation below the device before it is done.
  std::function<void(const std::string&)> before = [](const std::string&) {};

  platform::EntryKind kind(const WideText& path, platform::ErrorCode& error) override {
    error.clear();
    return isGone(path, "kind") ? platform::EntryKind::missing : target().kind(path, error);
  }
  bool isLink(const WideText& path, platform::ErrorCode& error) override {
    error.clear();
    return !isGone(path, "isLink") && target().isLink(path, error);
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (fails(path, "open", error)) return nullptr;
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    if (!handle) return nullptr;
    return std::make_unique<Handle>(*this, std::move(handle), path);
  }
  bool createFolder(const WideText& path, platform::ErrorCode& error) override {
    return !fails(path, "createFolder", error) && target().createFolder(path, error);
  }
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    return !fails(path, "removeFile", error) && target().removeFile(path, error);
  }
  bool setTimes(const WideText& path, std::int64_t seconds, platform::ErrorCode& error) override {
    return !fails(path, "setTimes", error) && target().setTimes(path, seconds, error);
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(DeviceFileSystem& owner, std::unique_ptr<platform::FileHandle> target, WideText path)
        : ForwardingFileHandle(std::move(target)), owner_(owner), path_(std::move(path)) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      return owner_.readsFail ? failed(error) : target().read(buffer, size, error);
    }
    bool write(const void* data, std::size_t size, platform::ErrorCode& error) override {
      return !owner_.fails(path_, "write", error) && target().write(data, size, error);
    }
    bool flush(platform::ErrorCode& error) override {
      return !owner_.fails(path_, "flush", error) && target().flush(error);
    }
    bool close(platform::ErrorCode& error) override {
      const bool closed = target().close(error);
      return !owner_.fails(path_, "close", error) && (owner_.closesFail ? failed(error) == 0 : closed);
    }

   private:
    static std::int64_t failed(platform::ErrorCode& error) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return -1;
    }

    DeviceFileSystem& owner_;
    WideText path_;
  };

  bool isGone(const WideText& path, const std::string& operation) {
    if (!toBackslashes(path).starts_with(device_)) return false;
    before(operation);
    return gone;
  }
  bool fails(const WideText& path, const std::string& operation, platform::ErrorCode& error) {
    error.clear();
    if (!isGone(path, operation)) return false;
    error = boost::system::errc::make_error_code(boost::system::errc::no_such_device);
    return true;
  }

  WideText device_;
};

std::string textOfSize(std::size_t size) {
  std::string text;
  text.reserve(size + 20);
  for (int i = 0; text.size() < size; ++i) text += std::to_string(i) + ' ';
  text.resize(size);
  return text;
}

ZipBuilder::Options deflated() {
  ZipBuilder::Options options;
  options.deflated = true;
  return options;
}

// Ways in which an entry "a" can be bad.
struct BadEntry {
  std::string name;
  ZipBuilder::Options options;
};

std::vector<BadEntry> badEntries(const std::string& content) {
  std::vector<BadEntry> entries;
  const auto add = [&](const std::string& name, bool packed) -> ZipBuilder::Options& {
    entries.push_back({name, {}});
    entries.back().options.deflated = packed;
    return entries.back().options;
  };
  add("wrong checksum, stored", false).checksum = 1;
  add("wrong checksum, deflated", true).checksum = 1;
  add("size too large, stored", false).size = static_cast<std::uint32_t>(content.size() + 1);
  add("size too large, deflated", true).size = static_cast<std::uint32_t>(content.size() + 1);
  add("size far too large", true).size = 0xFFFFFFF0;
  add("size too small, stored", false).size = static_cast<std::uint32_t>(content.size() - 1);
  add("size too small, deflated", true).size = static_cast<std::uint32_t>(content.size() - 1);
  add("packed size too large", true).packedSize = 0x7FFFFFFF;
  add("packed size too small", true).packedSize = 10;
  add("no deflated data", true).packed = std::string(50, '\xFF');
  const std::string packed = ZipBuilder::deflate(content);
  add("deflated data cut off", true).packed = packed.substr(0, packed.size() / 2);
  add("encrypted", true).flags = 1;
  add("encrypted, stored", false).flags = 1;
  add("unknown method", true).method = 99;
  add("packed by bzip2", false).method = 12;
  return entries;
}

}  // namespace

class UpdateZipExtractorTest : public JobTest {
 protected:
  UpdateZipExtractorTest() { makeFolder(device); }

  void writeZip(const ZipBuilder& builder) const { writeFile(zip, builder.bytes()); }
  WideText extract(const WideText& entry, const WideText& relativePath) {
    return extractor.extractFile(zip, entry, device, relativePath, nullptr);
  }
  // What the report of an extraction that failed is.
  void expectReport(const WideText& exitCode, const WideText& message, const WideText& entry,
                    const WideText& file = {}) const {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"100", message}));
    std::map<WideText, WideText> attributes = saved.attributes;
    attributes.erase(u"executionTime");
    std::map<WideText, WideText> expected{{u"exitCode", exitCode}};
    if (!entry.empty()) expected[u"fileName"] = entry;
    if (!file.empty()) expected[u"FILE"] = file;
    EXPECT_EQ(attributes, expected);
  }
  void expectNotExtracted(const WideText& exitCode, const WideText& entry,
                          const WideText& relativePath) const {
    const WideText destination = device + u"/" + relativePath;
    expectReport(exitCode, u"File could not be extracted: " + destination, entry, destination);
  }
  void expectInvalid(const WideText& entry) const {
    expectReport(u"1113", u"Invalid install informations!", entry);
  }
  [[nodiscard]] fs::path native(const WideText& path) const { return toUtf8(toForwardSlashes(path)); }
  [[nodiscard]] std::int64_t writeTime(const WideText& path) const {
    struct stat status {};
    EXPECT_EQ(::stat(native(path).c_str(), &status), 0);
    return status.st_mtime;
  }

  const WideText device = path(u"device");
  const WideText zip = path(u"temp/p.zip");
  UpdateZipExtractor extractor;
};

TEST_F(UpdateZipExtractorTest, WritesStoredAndDeflatedEntries) {
  const std::string large = textOfSize(3 * chunkSize + 5);
  const std::string exact = textOfSize(2 * chunkSize);
  writeZip(ZipBuilder()
               .add("stored", "content")
               .add("deflated", large, deflated())
               .add("large stored", large)
               .add("whole chunks", exact, deflated()));
  EXPECT_EQ(extract(u"stored", u"a"), device + u"/a");
  EXPECT_EQ(extract(u"deflated", u"b"), device + u"/b");
  EXPECT_EQ(extract(u"large stored", u"c"), device + u"/c");
  EXPECT_EQ(extract(u"whole chunks", u"d"), device + u"/d");
  EXPECT_EQ(readFile(device + u"/a"), "content");
  EXPECT_EQ(readFile(device + u"/b"), large);
  EXPECT_EQ(readFile(device + u"/c"), large);
  EXPECT_EQ(readFile(device + u"/d"), exact);
  EXPECT_EQ(status().state, -100);
}

TEST_F(UpdateZipExtractorTest, MissingFoldersOfTheDestinationAreMade) {
  writeZip(ZipBuilder().add("a", "content"));
  EXPECT_EQ(extract(u"a", u"content/maps\\europe/a.bin"), device + u"/content/maps\\europe/a.bin");
  EXPECT_EQ(readFile(device + u"/content/maps/europe/a.bin"), "content");
  EXPECT_FALSE(extract(u"a", u"content/maps/b.bin").empty());
  EXPECT_EQ(readFile(device + u"/content/maps/b.bin"), "content");
}

TEST_F(UpdateZipExtractorTest, OldFileIsReplacedWhole) {
  writeFile(device + u"/a", "a longer old content");
  writeZip(ZipBuilder().add("a", "new"));
  EXPECT_FALSE(extract(u"a", u"a").empty());
  EXPECT_EQ(readFile(device + u"/a"), "new");
}

TEST_F(UpdateZipExtractorTest, EmptyEntryGivesAnEmptyFileWithItsTime) {
  const ScopedEnvironment zone("TZ", "UTC");
  ::tzset();
  writeZip(ZipBuilder().add("a", "").add("b", "", deflated()));
  for (const WideText name : {u"a", u"b"}) {
    EXPECT_EQ(extract(name, name), device + u"/" + name);
    EXPECT_EQ(readFile(device + u"/" + name), "");
    EXPECT_EQ(writeTime(device + u"/" + name), 1368781472);
  }
}

TEST_F(UpdateZipExtractorTest, FileShowsTheEntrysTimeAsLocalTime) {
  const ScopedEnvironment zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  ::tzset();
  ZipBuilder::Options winter;
  winter.dosDate = (2020U - 1980U) << 25 | 1U << 21 | 31U << 16 | 23U << 11 | 59U << 5 | 29U;
  writeZip(ZipBuilder().add("summer", "x").add("winter", "x", winter));
  EXPECT_FALSE(extract(u"summer", u"s").empty());
  EXPECT_FALSE(extract(u"winter", u"w").empty());
  EXPECT_EQ(writeTime(device + u"/s"), 1368781472 - 2 * 3600);
  EXPECT_EQ(writeTime(device + u"/w"), 1580515198 - 3600);
}

TEST_F(UpdateZipExtractorTest, DateThatNoCalendarHasSetsNoTime) {
  const std::int64_t before = std::time(nullptr) - 10;
  for (const std::uint32_t dosDate : {0U, 15U << 21 | 1U << 16, 1U << 21}) {
    ZipBuilder::Options options;
    options.dosDate = dosDate;
    writeFile(zip, ZipBuilder().add("a", "x", options).bytes());
    EXPECT_FALSE(UpdateZipExtractor().extractFile(zip, u"a", device, u"a", nullptr).empty());
    EXPECT_GE(writeTime(device + u"/a"), before);
  }
}

TEST_F(UpdateZipExtractorTest, NamesMatchInEitherCase) {
  writeZip(ZipBuilder().add("Maps/A.bin", "first").add("maps/a.BIN", "second"));
  EXPECT_FALSE(extract(u"MAPS/a.BIN", u"a").empty());
  EXPECT_EQ(readFile(device + u"/a"), "first");
}

TEST_F(UpdateZipExtractorTest, BackslashInAnEntrysNameIsPartOfTheName) {
  writeZip(ZipBuilder().add("maps\\a.bin", "content"));
  EXPECT_TRUE(extract(u"maps/a.bin", u"a").empty());
  expectNotExtracted(u"1123", u"maps/a.bin", u"a");
  EXPECT_FALSE(extract(u"maps\\a.bin", u"a").empty());
  EXPECT_EQ(readFile(device + u"/a"), "content");
}

TEST_F(UpdateZipExtractorTest, LongAndNonAsciiNamesAreFound) {
  const std::string longName = std::string(200, 'x') + "/" + std::string(200, 'y');
  writeZip(ZipBuilder().add(longName, "long").add("k\xC3\xB6ln/\xF0\x9F\x97\xBA", "umlaut"));
  EXPECT_FALSE(extract(toWide(longName), toWide(longName)).empty());
  EXPECT_EQ(readFile(device + u"/" + toWide(longName)), "long");
  EXPECT_FALSE(extract(u"K\u00F6LN/\U0001F5FA", u"\u00E4/\U0001F5FA").empty());
  EXPECT_EQ(readFile(device + u"/\u00E4/\U0001F5FA"), "umlaut");
  const WideText loneSurrogate(1, u'\xD800');
  EXPECT_TRUE(extract(loneSurrogate, u"b").empty());
  EXPECT_EQ(status().exitCode(), u"1123");
}

TEST_F(UpdateZipExtractorTest, EachMissingTextIs1113AndLogged) {
  startLog();
  writeZip(ZipBuilder().add("a", "x"));
  for (int missing = 0; missing < 4; ++missing) {
    std::array<WideText, 4> texts{zip, u"a", device, u"b"};
    texts[static_cast<std::size_t>(missing)].clear();
    EXPECT_TRUE(extractor.extractFile(texts[0], texts[1], texts[2], texts[3], nullptr).empty());
    const SavedStatus saved = status();
    EXPECT_EQ(saved.exitCode(), u"1113");
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"100", u"Invalid install informations!"}));
    EXPECT_EQ(saved.attributes.count(u"fileName"), 1U);
    EXPECT_EQ(saved.attributes.count(u"FILE"), 0U);
    EXPECT_TRUE(logHas(u"File path: " + texts[0] + u"; Relative zip file path: " + texts[1] +
                       u"; Destination folder: " + texts[2] + u"; Relative destination file path: " +
                       texts[3]));
  }
  EXPECT_TRUE(tree(device).empty());
}

TEST_F(UpdateZipExtractorTest, NamesThatLeaveTheirRootAre1113) {
  const std::vector<std::string> names{"/a", "\\a",   "../a", "..\\a", "b/../../a",  "b/..",
                                       "..", "C:\\x", "C:x",  "c:/x",  "//server/a", "a/..\\..\\b"};
  ZipBuilder builder;
  builder.add("good", "x");
  for (const std::string& name : names) builder.add(name, "outside");
  writeZip(builder);
  const std::vector<std::string> before = tree(folder.path());
  for (const std::string& name : names) {
    EXPECT_TRUE(extract(u"good", toWide(name)).empty()) << name;
    expectInvalid(u"good");
    EXPECT_TRUE(extract(toWide(name), u"good").empty()) << name;
    expectInvalid(toWide(name));
  }
  std::vector<std::string> after = tree(folder.path());
  std::erase_if(after, [](const std::string& name) { return name.starts_with("tmp/"); });
  std::vector<std::string> expected = before;
  std::erase_if(expected, [](const std::string& name) { return name.starts_with("tmp/"); });
  EXPECT_EQ(after, expected);
}

TEST_F(UpdateZipExtractorTest, NothingIsWrittenThroughALinkOnTheDevice) {
  writeFile(path(u"outside/file"), "untouched");
  fs::create_symlink("../outside/file", native(device) / "link");
  fs::create_symlink("../outside/new", native(device) / "dangling");
  fs::create_directory_symlink("../outside", native(device) / "folder");
  writeZip(ZipBuilder().add("a", "content"));
  for (const WideText name : {u"link", u"dangling", u"folder/file", u"folder/new", u"folder/sub/new"}) {
    EXPECT_TRUE(extract(u"a", name).empty());
    expectInvalid(u"a");
  }
  EXPECT_EQ(tree(path(u"outside")), (std::vector<std::string>{"file"}));
  EXPECT_EQ(readFile(path(u"outside/file")), "untouched");
}

TEST_F(UpdateZipExtractorTest, LinkInThePackageIsWrittenAsAPlainFile) {
  ZipBuilder::Options link;
  link.unixMode = 0120777;
  writeZip(ZipBuilder().add("a", "../outside", link));
  EXPECT_FALSE(extract(u"a", u"a").empty());
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(native(device) / "a")));
  EXPECT_EQ(readFile(device + u"/a"), "../outside");
}

TEST_F(UpdateZipExtractorTest, PackageIsNotOverwrittenByItsOwnEntry) {
  writeZip(ZipBuilder().add("a", "content"));
  const std::string bytes = readFile(zip);
  EXPECT_TRUE(extractor.extractFile(zip, u"a", path(u"temp"), u"P.zip", nullptr).empty());
  expectInvalid(u"a");
  EXPECT_EQ(readFile(zip), bytes);
}

TEST_F(UpdateZipExtractorTest, PackageOnTheDeviceIsNotOverwrittenHoweverItsPathIsSpelled) {
  const std::string bytes = ZipBuilder().add("a", "content").bytes();
  writeFile(device + u"/maps/p.zip", bytes);
  fs::create_directory_symlink("device", native(path(u"link")));
  fs::create_symlink("device/maps/p.zip", native(path(u"other.zip")));
  for (const WideText& root : {device, path(u"link"), path(u"./device/"), path(u"temp/../device")}) {
    for (const WideText source : {u"device/maps/p.zip", u"device/./maps//p.zip", u"device/maps/../maps/p.zip",
                                  u"link/maps/p.zip", u"other.zip"}) {
      for (const WideText client : {u"maps/p.zip", u"./maps/p.zip", u"maps\\.\\p.zip", u"maps//p.zip"}) {
        EXPECT_TRUE(extractor.extractFile(path(source), u"a", root, client, nullptr).empty());
        expectInvalid(u"a");
        EXPECT_EQ(readFile(device + u"/maps/p.zip"), bytes);
      }
    }
  }
}

TEST_F(UpdateZipExtractorTest, FileCalledAsThePackageIsAFileLikeOthers) {
  writeZip(ZipBuilder().add("a", "content"));
  writeFile(device + u"/p.zip", "old");
  EXPECT_FALSE(extract(u"a", u"p.zip").empty());
  EXPECT_EQ(readFile(device + u"/p.zip"), "content");
  EXPECT_FALSE(extract(u"a", u"maps/p.zip").empty());
  EXPECT_EQ(readFile(device + u"/maps/p.zip"), "content");
}

TEST_F(UpdateZipExtractorTest, ZipWithoutItsFolderIs1114) {
  const WideText missing = path(u"nowhere/p.zip");
  EXPECT_TRUE(extractor.extractFile(missing, u"a", device, u"b", nullptr).empty());
  expectReport(u"1114", u"Could not access path " + missing + u"!", u"a");
}

TEST_F(UpdateZipExtractorTest, MissingZipInItsFolderIs1235) {
  EXPECT_TRUE(extract(u"a", u"b").empty());
  expectReport(u"1235", u"Could not access path " + zip + u"!", u"a");
  EXPECT_TRUE(extractor.extractFile(path(u"temp"), u"a", device, u"b", nullptr).empty());
  expectReport(u"1235", u"Could not access path " + path(u"temp") + u"!", u"a");
}

TEST_F(UpdateZipExtractorTest, FileThatIsNoZipIs1119) {
  for (const std::string content : {"", "no zip", "PK\3\4"}) {
    writeFile(zip, content);
    EXPECT_TRUE(extract(u"a", u"b").empty());
    expectReport(u"1119", u"Could not open the zip file!", u"a");
  }
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", "content"));
  disk.readsFail = true;
  EXPECT_TRUE(extract(u"a", u"b").empty());
  EXPECT_EQ(status().exitCode(), u"1119");
}

TEST_F(UpdateZipExtractorTest, DestinationFolderThatDoesNotExistIs1122) {
  writeZip(ZipBuilder().add("a", "content"));
  writeFile(path(u"file"), "x");
  for (const WideText& folder : {path(u"missing"), path(u"file")}) {
    EXPECT_TRUE(extractor.extractFile(zip, u"a", folder, u"b", nullptr).empty());
    expectReport(u"1122",
                 u"The destination folder does not exist " + folder +
                     u"! Please make sure that the device is still connected!",
                 u"a");
  }
  EXPECT_FALSE(fs::exists(native(path(u"missing"))));
}

TEST_F(UpdateZipExtractorTest, DestinationFolderThatGoesBetweenTwoFilesIs1122) {
  ZipBuilder::Options encrypted;
  encrypted.flags = 1;
  writeZip(ZipBuilder().add("a", "content").add("folder/", "").add("bad", "", encrypted));
  const fs::path here = fs::current_path();
  fs::current_path(native(path(u"temp")));
  for (const WideText entry : {u"a", u"missing", u"folder/", u"bad"}) {
    makeFolder(device);
    EXPECT_FALSE(extract(u"a", u"maps/a").empty());
    fs::remove_all(native(device));
    EXPECT_TRUE(extract(entry, u"maps/b").empty());
    EXPECT_FALSE(extractor.fileStands());
    expectReport(u"1122",
                 u"The destination folder does not exist " + device +
                     u"! Please make sure that the device is still connected!",
                 entry);
    EXPECT_FALSE(fs::exists(native(device)));
  }
  fs::current_path(here);
}

TEST_F(UpdateZipExtractorTest, LinkInTheWayComesBeforeWhatIsWrongWithTheEntry) {
  ZipBuilder::Options encrypted;
  encrypted.flags = 1;
  writeZip(ZipBuilder().add("a", "content").add("folder/", "").add("bad", "", encrypted));
  fs::create_symlink("../outside", native(device) / "link");
  for (const bool isFirst : {true, false}) {
    for (const WideText entry : {u"a", u"missing", u"folder/", u"bad"}) {
      if (!isFirst) {
        EXPECT_FALSE(extract(u"a", u"file").empty());
      }
      EXPECT_TRUE(extract(entry, u"link").empty());
      expectInvalid(entry);
    }
  }
  EXPECT_EQ(tree(device), (std::vector<std::string>{"file", "link"}));
  EXPECT_FALSE(fs::exists(native(path(u"outside"))));
}

TEST_F(UpdateZipExtractorTest, FurtherFileInAFolderCostsOneLookAtTheDevice) {
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", "content").add("b", "content"));
  EXPECT_FALSE(extract(u"a", u"maps/a").empty());
  std::vector<std::string> operations;
  disk.before = [&](const std::string& operation) { operations.push_back(operation); };
  EXPECT_FALSE(extract(u"b", u"maps/b").empty());
  EXPECT_EQ(operations, (std::vector<std::string>{"open", "write", "close", "setTimes", "kind"}));
}

TEST_F(UpdateZipExtractorTest, TellsWhetherTheFileStands) {
  writeZip(ZipBuilder().add("a", "content").add("folder/", ""));
  EXPECT_FALSE(extractor.fileStands());
  EXPECT_FALSE(extract(u"a", u"a").empty());
  EXPECT_TRUE(extractor.fileStands());
  EXPECT_TRUE(extract(u"missing", u"b").empty());
  EXPECT_FALSE(extractor.fileStands());
  EXPECT_FALSE(extract(u"a", u"a").empty());
  EXPECT_TRUE(extract(u"../a", u"a").empty());
  EXPECT_FALSE(extractor.fileStands());
}

TEST_F(UpdateZipExtractorTest, EntryThatIsNotInTheZipIs1123) {
  writeZip(ZipBuilder().add("a", "content"));
  EXPECT_TRUE(extract(u"b", u"c").empty());
  expectNotExtracted(u"1123", u"b", u"c");
  writeFile(zip, ZipBuilder().bytes());
  EXPECT_TRUE(extract(u"b", u"c").empty());
  expectNotExtracted(u"1123", u"b", u"c");
}

TEST_F(UpdateZipExtractorTest, EntryWhoseRecordCannotBeReadAnyMoreIs1124) {
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  ZipBuilder builder;
  builder.add("first", "");
  for (int i = 0; i < 8; ++i) builder.add(std::string(60'000, 'n') + std::to_string(i), "");
  builder.add("last", "");
  writeZip(builder);
  EXPECT_FALSE(extract(u"first", u"a").empty());
  disk.readsFail = true;
  EXPECT_TRUE(extract(u"last", u"b").empty());
  expectNotExtracted(u"1124", u"last", u"b");
}

TEST_F(UpdateZipExtractorTest, NoMemoryForTheChunkIs1125) {
  writeZip(ZipBuilder().add("a", "content"));
  chunksAreRefused = true;
  const WideText result = extract(u"a", u"b");
  chunksAreRefused = false;
  EXPECT_TRUE(result.empty());
  expectNotExtracted(u"1125", u"a", u"b");
  EXPECT_FALSE(extract(u"a", u"b").empty());
}

TEST_F(UpdateZipExtractorTest, BadEntryIs1126AndLeavesNoFile) {
  for (const std::size_t size : {std::size_t{100}, chunkSize + 100}) {
    const std::string content = textOfSize(size);
    for (const BadEntry& bad : badEntries(content)) {
      writeZip(ZipBuilder().add("a", content, bad.options));
      EXPECT_TRUE(extract(u"a", u"sub/b").empty()) << bad.name;
      expectNotExtracted(u"1126", u"a", u"sub/b");
      EXPECT_FALSE(fileExists(device + u"/sub/b")) << bad.name;
    }
  }
}

TEST_F(UpdateZipExtractorTest, BadEntryIsLoggedByTheLibrarysResult) {
  startLog();
  ZipBuilder::Options corrupt = deflated();
  corrupt.packed = std::string(50, '\xFF');
  ZipBuilder::Options checksum;
  checksum.checksum = 1;
  writeZip(ZipBuilder().add("corrupt", "content", corrupt).add("checksum", "content", checksum));
  EXPECT_TRUE(extract(u"corrupt", u"b").empty());
  EXPECT_TRUE(logHas(u"Error -3 with zipfile in unzReadCurrentFile corrupt"));
  EXPECT_TRUE(logHas(u"ERROR in closing file: " + device + u"/b"));
  EXPECT_TRUE(extract(u"checksum", u"c").empty());
  EXPECT_TRUE(logHas(u"Error -105 with zipfile in unzCloseCurrentFile checksum"));
}

TEST_F(UpdateZipExtractorTest, ExtractionGoesOnAfterAFailure) {
  ZipBuilder::Options bad;
  bad.checksum = 1;
  writeZip(ZipBuilder().add("bad", "content", bad).add("good", "content"));
  EXPECT_TRUE(extract(u"bad", u"a").empty());
  EXPECT_FALSE(extract(u"good", u"a").empty());
  EXPECT_EQ(readFile(device + u"/a"), "content");
}

TEST_F(UpdateZipExtractorTest, FullDiskWithTheDeviceStillThereIs1126) {
  startLog();
  FaultyFileSystem disk(files());
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", textOfSize(2 * chunkSize), deflated()));
  bool full = false;
  disk.before = [&](int number, const std::string& operation) {
    if (operation != "write" || full) return;
    disk.failAt = number;
    full = true;
  };
  EXPECT_TRUE(extract(u"a", u"b").empty());
  useFileSystem(files());
  expectNotExtracted(u"1126", u"a", u"b");
  EXPECT_TRUE(tree(device).empty());
}

TEST_F(UpdateZipExtractorTest, OnlyFullChunksAreFlushed) {
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("two and a half", textOfSize(5 * chunkSize / 2)).add("small", "x"));
  std::vector<std::string> operations;
  disk.before = [&](const std::string& operation) {
    if (operation == "write" || operation == "flush" || operation == "close") operations.push_back(operation);
  };
  EXPECT_FALSE(extract(u"two and a half", u"a").empty());
  EXPECT_EQ(operations, (std::vector<std::string>{"write", "flush", "write", "flush", "write", "close"}));
  operations.clear();
  EXPECT_FALSE(extract(u"small", u"b").empty());
  EXPECT_EQ(operations, (std::vector<std::string>{"write", "close"}));
}

TEST_F(UpdateZipExtractorTest, FailedFlushOrCloseIs1126) {
  startLog();
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", textOfSize(2 * chunkSize)));
  disk.before = [&](const std::string& operation) { disk.gone = operation == "flush"; };
  EXPECT_TRUE(extract(u"a", u"b").empty());
  expectNotExtracted(u"1126", u"a", u"b");
  EXPECT_TRUE(logHas(u"ERROR in flushing file " + device + u"/b"));
  EXPECT_TRUE(tree(device).empty());

  disk.before = [](const std::string&) {};
  disk.gone = false;
  disk.closesFail = true;
  EXPECT_TRUE(extract(u"a", u"c").empty());
  EXPECT_TRUE(logHas(u"ERROR in closing file: " + device + u"/c"));
  EXPECT_TRUE(tree(device).empty());
  disk.closesFail = false;
  expectNotExtracted(u"1126", u"a", u"c");
}

TEST_F(UpdateZipExtractorTest, FailedWriteIsLogged) {
  startLog();
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", "content"));
  disk.before = [&](const std::string& operation) { disk.gone = operation == "write"; };
  EXPECT_TRUE(extract(u"a", u"b").empty());
  expectNotExtracted(u"1126", u"a", u"b");
  EXPECT_TRUE(logHas(u"ERROR in writing extracted file " + device + u"/b"));
}

TEST_F(UpdateZipExtractorTest, UnreadableEntryIs1126AsLongAsTheFolderStands) {
  ZipBuilder::Options encrypted;
  encrypted.flags = 1;
  writeZip(ZipBuilder().add("a", "content", encrypted));
  writeFile(device + u"/b", "old");
  EXPECT_TRUE(extract(u"a", u"b").empty());
  expectNotExtracted(u"1126", u"a", u"b");
  EXPECT_TRUE(tree(device).empty());
}

TEST_F(UpdateZipExtractorTest, OldFileThatCannotBeOverwrittenIs1126) {
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", "content"));
  writeFile(device + u"/b", "old");
  disk.before = [&](const std::string& operation) { disk.gone = operation == "open"; };
  EXPECT_TRUE(extract(u"a", u"b").empty());
  expectNotExtracted(u"1126", u"a", u"b");
}

TEST_F(UpdateZipExtractorTest, EntryThatIsAFolderGivesItsPathWithoutAFile) {
  const fs::path here = fs::current_path();
  makeFolder(path(u"here"));
  fs::current_path(native(path(u"here")));
  writeZip(ZipBuilder().add("Maps/", "").add("other\\", ""));
  EXPECT_EQ(extract(u"maps/", u"maps"), device + u"/maps");
  EXPECT_FALSE(extractor.fileStands());
  EXPECT_EQ(extract(u"other\\", u"sub/other"), device + u"/sub/other");
  fs::current_path(here);
  EXPECT_TRUE(tree(device).empty());
  EXPECT_EQ(tree(path(u"here")), (std::vector<std::string>{"Maps/", "other/"}));
  EXPECT_EQ(status().state, -100);
}

TEST_F(UpdateZipExtractorTest, ObserverCountsEachChunkInTheInstallationState) {
  const std::uint64_t size = 2 * chunkSize + 7;
  writeZip(ZipBuilder().add("a", textOfSize(size), deflated()));
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  disk.before = [&](const std::string& operation) {
    if (operation == "write") clock.ticks += 2000;
  };
  ProgressObserver& observer = ProgressObserver::instance();
  observer.load({{size, u"a", u"detail", 0}});
  EXPECT_FALSE(extractor.extractFile(zip, u"a", device, u"b", &observer).empty());
  EXPECT_EQ(status().state, 3);
  EXPECT_EQ(status().descriptions.at(0), u"100");
  EXPECT_EQ(status().descriptions.at(3), numberText(static_cast<std::int64_t>(size)) + u" / " +
                                             numberText(static_cast<std::int64_t>(size)));
}

class LostDeviceTest : public UpdateZipExtractorTest {
 protected:
  // Extracts from a zip with the device going at the N-th of the named operations on it, and expects the end
  // of the process with the report of a lost device.
  void expectLoss(const std::string& operation, int number) {
    DeviceFileSystem disk(files(), device);
    useFileSystem(disk);
    int seen = 0;
    disk.before = [&](const std::string& each) {
      if (each == operation && ++seen == number) disk.gone = true;
    };
    EXPECT_EXIT((void)extract(u"a", u"maps/b"), ::testing::ExitedWithCode(1), "") << operation << number;
    useFileSystem(files());
    const SavedStatus saved = status();
    const WideText destination = device + u"/maps/b";
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(
        saved.descriptions,
        (std::vector<WideText>{
            u"100", u"Your device seems to be disconnected. Tevra was not able to write file: " + destination,
            destination}));
    EXPECT_EQ(saved.exitCode(), u"1234");
    EXPECT_EQ(saved.attributes.at(u"fileName"), u"a");
    EXPECT_EQ(saved.attributes.at(u"FILE"), destination);
  }
};

TEST_F(LostDeviceTest, DevicePulledWhileAFileIsWrittenEndsTheProcessWith1234) {
  writeZip(ZipBuilder().add("a", textOfSize(3 * chunkSize), deflated()));
  for (const int number : {1, 2, 3}) expectLoss("write", number);
  for (const int number : {1, 2, 3}) expectLoss("flush", number);
}

TEST_F(LostDeviceTest, DevicePulledBeforeOrAfterTheWritingEndsTheProcessWith1234) {
  writeZip(ZipBuilder().add("a", "content"));
  expectLoss("open", 1);
  expectLoss("createFolder", 1);
  fs::remove_all(native(device) / "maps");
  expectLoss("open", 2);
  expectLoss("close", 1);
  expectLoss("setTimes", 1);
}

TEST_F(LostDeviceTest, DevicePulledInABadArchiveIsALostDevice) {
  ZipBuilder::Options bad;
  bad.checksum = 1;
  writeZip(ZipBuilder().add("a", "content", bad));
  expectLoss("close", 1);
  bad = {};
  bad.flags = 1;
  writeZip(ZipBuilder().add("a", "content", bad));
  expectLoss("kind", 2);
}

TEST_F(LostDeviceTest, DestinationThatCannotBeOpenedIsALostDevice) {
  startLog();
  writeZip(ZipBuilder().add("a", "content"));
  makeFolder(device + u"/folder");
  EXPECT_EXIT((void)extract(u"a", u"folder"), ::testing::ExitedWithCode(1), "");
  EXPECT_EQ(status().exitCode(), u"1234");
  EXPECT_TRUE(logHas(u"Error opening " + device + u"/folder"));
  EXPECT_EQ(tree(device), (std::vector<std::string>{"folder/"}));
}

TEST_F(LostDeviceTest, FolderOfADeviceThatHasGoneIsNotMadeAnew) {
  writeZip(ZipBuilder().add("a", "content"));
  DeviceFileSystem disk(files(), device);
  useFileSystem(disk);
  disk.before = [&](const std::string& operation) {
    if (operation == "open") fs::remove_all(native(device));
  };
  EXPECT_EXIT((void)extract(u"a", u"maps/b"), ::testing::ExitedWithCode(1), "");
  EXPECT_EQ(status().exitCode(), u"1234");
  EXPECT_FALSE(fs::exists(native(device)));
}

// A front end that reads the status may start the next job at once.
TEST_F(LostDeviceTest, WhatEndsTheProcessIsDoneBeforeTheStatusIsSaved) {
  writeZip(ZipBuilder().add("a", "content"));
  const AtProcessEnd action([this] { writeFile(path(u"done"), std::to_string(status().state)); });
  expectLoss("close", 1);
  EXPECT_EQ(readFile(path(u"done")), std::to_string(SavedStatus().state));
}

class DamagedZipTest : public UpdateZipExtractorTest {
 protected:
  // Neither a crash nor the end of the process, and on the device the whole file or nothing.
  void expectFileOrReport(const std::string& bytes, const std::string& what) {
    writeFile(zip, bytes);
    const WideText path = UpdateZipExtractor().extractFile(zip, u"maps/a", device, u"b", nullptr);
    if (!path.empty()) {
      ASSERT_EQ(readFile(path), content) << what;
      fs::remove(native(path));
    } else {
      ASSERT_TRUE(documented.contains(status().exitCode())) << what << " " << toUtf8(status().exitCode());
    }
    ASSERT_TRUE(tree(device).empty()) << what;
  }

  [[nodiscard]] std::string soundZip() const {
    return ZipBuilder().add("maps/a", content, deflated()).add("other", "something").bytes();
  }

  const std::string content = "some content that is long enough, long enough, long enough to be packed";
  const std::set<WideText> documented{u"1119", u"1123", u"1124", u"1126"};
};

TEST_F(DamagedZipTest, TruncatedAtEveryLengthGivesAReport) {
  const std::string bytes = soundZip();
  for (std::size_t length = 0; length < bytes.size(); ++length)
    expectFileOrReport(bytes.substr(0, length), "length " + std::to_string(length));
}

TEST_F(DamagedZipTest, WithBytesFlippedAnywhereGivesTheFileOrAReport) {
  const std::string bytes = soundZip();
  for (std::size_t position = 0; position < bytes.size(); ++position) {
    for (const int mask : {0x01, 0x80, 0xFF}) {
      std::string damaged = bytes;
      damaged[position] = static_cast<char>(damaged[position] ^ mask);
      expectFileOrReport(damaged, "byte " + std::to_string(position) + " mask " + std::to_string(mask));
    }
  }
}

TEST_F(DamagedZipTest, FirstEntryNeverLeavesTheZipsFolder) {
  const std::string bytes = soundZip();
  makeFolder(path(u"first"));
  const auto outside = [this] {
    std::vector<std::string> names = tree(folder.path());
    std::erase_if(names, [](const std::string& name) { return name.starts_with("first/"); });
    return names;
  };
  writeFile(path(u"first/p.zip"), "no zip");
  EXPECT_TRUE(extractor.extractFirstEntry(path(u"first/p.zip")).empty());
  const std::vector<std::string> before = outside();
  const auto check = [&](const std::string& damaged, const std::string& what) {
    writeFile(path(u"first/p.zip"), damaged);
    const WideText target = extractor.extractFirstEntry(path(u"first/p.zip"));
    if (!target.empty()) {
      EXPECT_EQ(readFile(target), content) << what;
    }
    ASSERT_EQ(outside(), before) << what;
    fs::remove_all(native(path(u"first")));
  };
  for (std::size_t length = 0; length < bytes.size(); ++length)
    check(bytes.substr(0, length), "length " + std::to_string(length));
  for (std::size_t position = 0; position < bytes.size(); ++position) {
    for (const int mask : {0x01, 0xFF}) {
      std::string damaged = bytes;
      damaged[position] = static_cast<char>(damaged[position] ^ mask);
      check(damaged, "byte " + std::to_string(position) + " mask " + std::to_string(mask));
    }
  }
}

TEST_F(DamagedZipTest, InMemoryItGivesTheTextOrANegativeResult) {
  const std::string bytes = soundZip();
  std::string text;
  const auto check = [&](const std::string& damaged) {
    // Of exactly its size, so that a sanitizer sees each byte that is read behind it.
    const std::vector<char> memory(damaged.begin(), damaged.end());
    const int result = UpdateZipExtractor::unpackFirstEntryInMemory(memory.data(), memory.size(), text);
    EXPECT_LE(result, 0);
    if (result == 0) {
      EXPECT_EQ(text, content);
    }
    return result;
  };
  EXPECT_EQ(check(bytes), 0);
  for (std::size_t length = 0; length < bytes.size(); ++length) EXPECT_LT(check(bytes.substr(0, length)), 0);
  for (std::size_t position = 0; position < bytes.size(); ++position) {
    for (int mask = 1; mask < 256; ++mask) {
      std::string damaged = bytes;
      damaged[position] = static_cast<char>(damaged[position] ^ mask);
      check(damaged);
    }
  }
}

class FirstEntryTest : public UpdateZipExtractorTest {
 protected:
  void expectFirstReport(const WideText& exitCode, const WideText& message,
                         const WideText& percent = u"100") const {
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{percent, message}));
    std::map<WideText, WideText> attributes = saved.attributes;
    attributes.erase(u"executionTime");
    EXPECT_EQ(attributes, (std::map<WideText, WideText>{{u"exitCode", exitCode}}));
  }
};

TEST_F(FirstEntryTest, IsWrittenBesideTheZipWithItsTime) {
  const ScopedEnvironment zone("TZ", "UTC");
  ::tzset();
  const std::string content = textOfSize(2 * chunkSize + 9);
  writeZip(ZipBuilder().add("Setup.exe", content, deflated()).add("other", "x"));
  EXPECT_EQ(extractor.extractFirstEntry(zip), path(u"temp/Setup.exe"));
  EXPECT_EQ(readFile(path(u"temp/Setup.exe")), content);
  EXPECT_EQ(writeTime(path(u"temp/Setup.exe")), 1368781472);
  EXPECT_FALSE(fileExists(path(u"temp/other")));
  EXPECT_EQ(status().state, -100);
}

TEST_F(FirstEntryTest, IsTheFirstOneAfterOtherExtractionsToo) {
  writeZip(ZipBuilder().add("one", "first").add("two", "second"));
  EXPECT_FALSE(extract(u"two", u"a").empty());
  EXPECT_EQ(extractor.extractFirstEntry(zip), path(u"temp/one"));
  EXPECT_EQ(readFile(path(u"temp/one")), "first");
}

TEST_F(FirstEntryTest, FoldersInItsNameAreMade) {
  writeZip(ZipBuilder().add("a/b\\c", "content"));
  EXPECT_EQ(extractor.extractFirstEntry(zip), path(u"temp/a/b\\c"));
  EXPECT_EQ(readFile(path(u"temp/a/b/c")), "content");
}

TEST_F(FirstEntryTest, EmptyPathIs1120) {
  EXPECT_TRUE(extractor.extractFirstEntry(u"").empty());
  expectFirstReport(u"1120", u"Invalid install informations!");
}

TEST_F(FirstEntryTest, ZipWithoutItsFolderIs1121WithPercent105) {
  const WideText missing = path(u"nowhere/p.zip");
  EXPECT_TRUE(extractor.extractFirstEntry(missing).empty());
  expectFirstReport(u"1121", missing, u"105");
}

TEST_F(FirstEntryTest, MissingZipInItsFolderIs1236) {
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  expectFirstReport(u"1236", u"Could not access path " + zip + u"!");
}

TEST_F(FirstEntryTest, FileThatIsNoZipIs1118) {
  writeFile(zip, "no zip");
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  expectFirstReport(u"1118", u"Could not open the zip file!");
}

TEST_F(FirstEntryTest, ArchiveWithoutEntriesGivesNothingAndNoReport) {
  writeZip(ZipBuilder());
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  EXPECT_EQ(status().state, -100);
}

TEST_F(FirstEntryTest, RecordThatCannotBeReadIs1116) {
  std::string bytes = ZipBuilder().add("a", "content").bytes();
  bytes[bytes.find("PK\1\2")] = 'X';
  writeFile(zip, bytes);
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  expectFirstReport(u"1116", u"File could not be extracted: " + path(u"temp/"));
}

TEST_F(FirstEntryTest, NoMemoryForTheChunkIs1117) {
  writeZip(ZipBuilder().add("a", "content"));
  chunksAreRefused = true;
  const WideText result = extractor.extractFirstEntry(zip);
  chunksAreRefused = false;
  EXPECT_TRUE(result.empty());
  expectFirstReport(u"1117", u"File could not be extracted: " + path(u"temp/a"));
}

TEST_F(FirstEntryTest, BadEntryIs1115AndLeavesNoFile) {
  const std::string content = textOfSize(chunkSize + 100);
  for (const BadEntry& bad : badEntries(content)) {
    writeZip(ZipBuilder().add("a", content, bad.options));
    EXPECT_TRUE(extractor.extractFirstEntry(zip).empty()) << bad.name;
    expectFirstReport(u"1115", u"File could not be extracted: " + path(u"temp/a"));
    EXPECT_FALSE(fileExists(path(u"temp/a"))) << bad.name;
  }
}

TEST_F(FirstEntryTest, NameThatLeavesTheZipsFolderIs1115) {
  for (const std::string name :
       {"/a", "../a", "..\\a", "b/../../a", "C:\\x", "C:x", "", "..", "\xFF\xFE", "\xC3"}) {
    writeZip(ZipBuilder().add(name, "outside"));
    EXPECT_TRUE(extractor.extractFirstEntry(zip).empty()) << name;
    EXPECT_EQ(status().exitCode(), u"1115") << name;
  }
  writeZip(ZipBuilder().add(std::string("a\0b", 3), "outside"));
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  EXPECT_EQ(status().exitCode(), u"1115");
  EXPECT_EQ(tree(path(u"temp")), (std::vector<std::string>{"ZELMORATevra_tmp/", "p.zip"}));
}

TEST_F(FirstEntryTest, NothingIsWrittenThroughALink) {
  writeFile(path(u"outside/file"), "untouched");
  fs::create_symlink("../outside/file", native(path(u"temp/link")));
  fs::create_directory_symlink("../outside", native(path(u"temp/folder")));
  for (const std::string name : {"link", "folder/new"}) {
    writeZip(ZipBuilder().add(name, "content"));
    EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
    EXPECT_EQ(status().exitCode(), u"1115");
  }
  EXPECT_EQ(tree(path(u"outside")), (std::vector<std::string>{"file"}));
  EXPECT_EQ(readFile(path(u"outside/file")), "untouched");
}

TEST_F(FirstEntryTest, NamedAsTheZipItselfIs1115) {
  writeZip(ZipBuilder().add("P.ZIP", "content"));
  const std::string bytes = readFile(zip);
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  EXPECT_EQ(status().exitCode(), u"1115");
  EXPECT_EQ(readFile(zip), bytes);
}

TEST_F(FirstEntryTest, ThatIsTheZipInAnotherSpellingIs1115) {
  fs::create_symlink("p.zip", native(path(u"temp/link.zip")));
  for (const std::string name : {"./p.zip", "p.zip", ".\\p.zip"}) {
    writeZip(ZipBuilder().add(name, "content"));
    const std::string bytes = readFile(zip);
    for (const WideText& source : {zip, path(u"temp/./p.zip"), path(u"temp/link.zip")}) {
      EXPECT_TRUE(extractor.extractFirstEntry(source).empty());
      EXPECT_EQ(status().exitCode(), u"1115");
      EXPECT_EQ(readFile(zip), bytes);
    }
  }
}

TEST_F(FirstEntryTest, ThatIsALinkIsWrittenAsAPlainFile) {
  writeFile(path(u"outside"), "untouched");
  ZipBuilder::Options link;
  link.unixMode = 0120777;
  writeZip(ZipBuilder().add("a", "../outside", link));
  EXPECT_EQ(extractor.extractFirstEntry(zip), path(u"temp/a"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(native(path(u"temp/a")))));
  EXPECT_EQ(readFile(path(u"temp/a")), "../outside");
  EXPECT_EQ(readFile(path(u"outside")), "untouched");
}

TEST_F(FirstEntryTest, TargetThatCannotBeOpenedIs1115) {
  makeFolder(path(u"temp/a"));
  writeZip(ZipBuilder().add("a", "content"));
  EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
  expectFirstReport(u"1115", u"File could not be extracted: " + path(u"temp/a"));
}

TEST_F(FirstEntryTest, FullDiskIs1115) {
  DeviceFileSystem disk(files(), path(u"temp"));
  useFileSystem(disk);
  writeZip(ZipBuilder().add("a", "content"));
  for (const std::string failing : {"write", "close"}) {
    bool opened = false;
    disk.before = [&](const std::string& operation) {
      opened = opened || operation == "write";
      disk.gone = opened && operation == failing;
    };
    EXPECT_TRUE(extractor.extractFirstEntry(zip).empty());
    disk.gone = false;
    expectFirstReport(u"1115", u"File could not be extracted: " + path(u"temp/a"));
    EXPECT_FALSE(fileExists(path(u"temp/a")));
  }
}

TEST_F(FirstEntryTest, BareNameOfAZipMeansTheWorkingFolder) {
  const fs::path here = fs::current_path();
  writeZip(ZipBuilder().add("a", "content"));
  fs::current_path(native(path(u"temp")));
  EXPECT_EQ(extractor.extractFirstEntry(u"p.zip"), u"./a");
  fs::current_path(here);
  EXPECT_EQ(readFile(path(u"temp/a")), "content");
}

namespace {

int unpack(const std::string& bytes, std::string& text) {
  return UpdateZipExtractor::unpackFirstEntryInMemory(bytes.data(), bytes.size(), text);
}

}  // namespace

TEST(UnpackFirstEntryInMemory, GivesTheWholeFirstEntry) {
  for (const std::size_t size : {0U, 1U, 8191U, 8192U, 8193U, 100'000U}) {
    const std::string content = textOfSize(size);
    std::string text = "left over";
    EXPECT_EQ(unpack(ZipBuilder().add("a.xml", content, deflated()).add("b", "other").bytes(), text), 0);
    EXPECT_EQ(text, content);
    EXPECT_EQ(unpack(ZipBuilder().add("a.xml", content).bytes(), text), 0);
    EXPECT_EQ(text, content);
  }
}

TEST(UnpackFirstEntryInMemory, WhatIsNoArchiveIsANegativeResult) {
  std::string text = "left over";
  EXPECT_LT(UpdateZipExtractor::unpackFirstEntryInMemory(nullptr, 0, text), 0);
  EXPECT_LT(unpack("no zip", text), 0);
  EXPECT_LT(unpack(std::string(100'000, 'x'), text), 0);
  EXPECT_LT(unpack(ZipBuilder().bytes(), text), 0);
  EXPECT_EQ(text, "");
}

TEST(UnpackFirstEntryInMemory, BadEntryIsANegativeResult) {
  const std::string content = textOfSize(20'000);
  for (const BadEntry& bad : badEntries(content)) {
    std::string text = "left over";
    EXPECT_LT(unpack(ZipBuilder().add("a", content, bad.options).bytes(), text), 0) << bad.name;
  }
}

TEST(UnpackFirstEntryInMemory, WhatCameOutBeforeAFailureIsThere) {
  ZipBuilder::Options wrong = deflated();
  wrong.checksum = 1;
  const std::string content = textOfSize(20'000);
  std::string text = "left over";
  EXPECT_LT(unpack(ZipBuilder().add("a", content, wrong).bytes(), text), 0);
  EXPECT_EQ(text, content);
}

TEST(UnpackFirstEntryInMemory, MoreThanADescriptionCanSensiblyBeIsANegativeResult) {
  const std::size_t limit = std::size_t{32} * 1024 * 1024;
  std::string text;
  EXPECT_EQ(unpack(ZipBuilder().add("a", std::string(limit, ' '), deflated()).bytes(), text), 0);
  EXPECT_EQ(text.size(), limit);
  EXPECT_LT(unpack(ZipBuilder().add("a", std::string(limit + 1, ' '), deflated()).bytes(), text), 0);
  ZipBuilder::Options lying = deflated();
  lying.size = 1000;
  EXPECT_LT(unpack(ZipBuilder().add("a", std::string(limit + 1, ' '), lying).bytes(), text), 0);
  EXPECT_LE(text.size(), 1000U);
}

}  // namespace ZelmoraTevra
