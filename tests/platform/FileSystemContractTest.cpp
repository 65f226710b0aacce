#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include "platform/DrivePath.h"
#include "platform/NativeFileSystem.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra::platform {

namespace {

using testing::IsEmpty;
using testing::UnorderedElementsAre;

// How the tests reach a folder of the computer: `files` is the file system under test and `root` the text
// with which the folder is named in it.
struct Access {
  std::string name;
  std::function<WideText(const TemporaryFolder&)> root;
  std::function<std::vector<Volume>(const TemporaryFolder&)> volumes;
  bool letters;
};

void PrintTo(const Access& access, std::ostream* stream) {
  *stream << access.name;
}

class FileSystemContractTest : public testing::TestWithParam<Access> {
 protected:
  FileSystem& files() {
    return GetParam().letters ? static_cast<FileSystem&>(withLetters_) : nativeFileSystem();
  }
  [[nodiscard]] WideText at(const WideText& below) const { return GetParam().root(folder_) + below; }
  [[nodiscard]] std::filesystem::path native(const std::string& below) const {
    return folder_.native() / below;
  }

  void put(const std::string& below, const std::string& content) const {
    std::ofstream(native(below), std::ios::binary) << content;
  }

  [[nodiscard]] std::string get(const std::string& below) const {
    std::ifstream stream(native(below), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  [[nodiscard]] std::vector<std::pair<WideText, EntryKind>> listing(const WideText& below) {
    std::vector<FolderEntry> entries;
    EXPECT_TRUE(files().list(at(below), entries, error_)) << error_.message();
    std::vector<std::pair<WideText, EntryKind>> pairs;
    for (const FolderEntry& entry : entries) pairs.emplace_back(entry.name, entry.kind);
    return pairs;
  }

  TemporaryFolder folder_;
  ErrorCode error_ = boost::system::errc::make_error_code(boost::system::errc::io_error);

 private:
  FixedVolumes volumes_{GetParam().volumes(folder_)};
  VolumeFileSystem withLetters_{nativeFileSystem(), volumes_};
};

INSTANTIATE_TEST_SUITE_P(
    Platform, FileSystemContractTest,
    testing::Values(Access{"native", [](const TemporaryFolder& folder) { return folder.path(); },
                           [](const TemporaryFolder&) { return std::vector<Volume>(); }, false},
                    Access{"byLetter", [](const TemporaryFolder&) { return WideText(u"E:"); },
                           [](const TemporaryFolder& folder) {
                             return std::vector<Volume>{{u'E', folder.path(), false, {}}};
                           },
                           true},
                    Access{"byPlainFolder", [](const TemporaryFolder& folder) { return folder.path(); },
                           [](const TemporaryFolder& folder) {
                             return std::vector<Volume>{{u'E', folder.path(), false, {}}};
                           },
                           true},
                    Access{"byPlainFolderBesideAWriteProtectedVolume",
                           [](const TemporaryFolder& folder) { return folder.path(); },
                           [](const TemporaryFolder& folder) {
                             return std::vector<Volume>{{u'E', folder.path() + u"/protected", true, 1000}};
                           },
                           true}),
    [](const testing::TestParamInfo<Access>& info) { return info.param.name; });

TEST_P(FileSystemContractTest, tellsFileFolderAndMissingApart) {
  put("file", "x");
  EXPECT_EQ(files().kind(at(u"/file"), error_), EntryKind::file);
  EXPECT_FALSE(error_);
  EXPECT_EQ(files().kind(at(u""), error_), EntryKind::folder);
  EXPECT_FALSE(error_);
  EXPECT_EQ(files().kind(at(u"/"), error_), EntryKind::folder);
  EXPECT_EQ(files().kind(at(u"/nothing"), error_), EntryKind::missing);
  EXPECT_FALSE(error_);
  EXPECT_EQ(files().kind(at(u"/file/below"), error_), EntryKind::missing);
  EXPECT_FALSE(error_);
}

TEST_P(FileSystemContractTest, takesBothSeparators) {
  ASSERT_TRUE(files().createFolder(at(u"\\one"), error_));
  ASSERT_TRUE(files().createFolder(at(u"/one\\two"), error_));
  put("one/two/file", "x");
  EXPECT_EQ(files().kind(at(u"\\one/two\\file"), error_), EntryKind::file);
  EXPECT_EQ(files().kind(at(u"/one//two\\\\file"), error_), EntryKind::file);
}

TEST_P(FileSystemContractTest, aPathWithANulIsAnErrorAndNeverTruncated) {
  put("file", "x");
  const WideText path = at(u"/file") + u'\0' + u"behind";
  EXPECT_EQ(files().kind(path, error_), EntryKind::missing);
  EXPECT_TRUE(error_);
  EXPECT_EQ(files().open(path, OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(error_);
  EXPECT_FALSE(files().removeFile(path, error_));
  EXPECT_EQ(get("file"), "x");
}

TEST_P(FileSystemContractTest, aPathWithHalfASurrogatePairIsAnError) {
  EXPECT_EQ(files().kind(at(u"/") + char16_t{0xD800}, error_), EntryKind::missing);
  EXPECT_TRUE(error_);
  EXPECT_EQ(files().open(at(u"/") + char16_t{0xD800} + u"x", OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(error_);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.native()));
}

TEST_P(FileSystemContractTest, anEmptyPathNamesNothing) {
  EXPECT_EQ(files().kind(u"", error_), EntryKind::missing);
  EXPECT_FALSE(error_);
  EXPECT_EQ(files().open(u"", OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, namesBeyondAsciiAreKept) {
  const WideText name = u"\u00DF \u4E2D \U0001F5FA.map";
  ASSERT_NE(files().open(at(u"/" + name), OpenMode::truncate, error_), nullptr);
  EXPECT_THAT(listing(u""), UnorderedElementsAre(std::pair(name, EntryKind::file)));
  EXPECT_TRUE(std::filesystem::exists(folder_.native() / name));
}

TEST_P(FileSystemContractTest, fileSizeIsInBytesAndOfFilesOnly) {
  put("file", "12345");
  EXPECT_EQ(files().fileSize(at(u"/file"), error_), 5);
  EXPECT_FALSE(error_);
  EXPECT_EQ(files().fileSize(at(u"/nothing"), error_), -1);
  EXPECT_TRUE(error_);
  EXPECT_EQ(files().fileSize(at(u""), error_), -1);
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, freeSpaceHoldsWhatIsReservedForTheSuperuser) {
  Space space;
  std::filesystem::space_info before;
  std::filesystem::space_info after;
  // Others may use the disk as well.
  do {
    before = std::filesystem::space(folder_.native());
    ASSERT_TRUE(files().space(at(u""), space, error_));
    EXPECT_FALSE(error_);
    after = std::filesystem::space(folder_.native());
  } while (before.free != after.free);
  EXPECT_EQ(space.free, after.free);
  EXPECT_EQ(space.capacity, after.capacity);
}

TEST_P(FileSystemContractTest, aMissingPathHasNoSpace) {
  Space space;
  EXPECT_FALSE(files().space(at(u"/nothing"), space, error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
}

TEST_P(FileSystemContractTest, listsDirectEntriesWithTheirKinds) {
  put("file", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  put("folder/inner", "x");
  std::filesystem::create_symlink("file", native("linkToFile"));
  std::filesystem::create_symlink("folder", native("linkToFolder"));
  std::filesystem::create_symlink("nothing", native("linkToNothing"));
  EXPECT_THAT(listing(u""), UnorderedElementsAre(std::pair(WideText(u"file"), EntryKind::file),
                                                 std::pair(WideText(u"folder"), EntryKind::folder),
                                                 std::pair(WideText(u"linkToFile"), EntryKind::other),
                                                 std::pair(WideText(u"linkToFolder"), EntryKind::other),
                                                 std::pair(WideText(u"linkToNothing"), EntryKind::other)));
  EXPECT_FALSE(error_);
}

TEST_P(FileSystemContractTest, listsTheSameWithASeparatorAtTheEnd) {
  put("file", "x");
  EXPECT_THAT(listing(u"/"), UnorderedElementsAre(std::pair(WideText(u"file"), EntryKind::file)));
  EXPECT_THAT(listing(u"\\"), UnorderedElementsAre(std::pair(WideText(u"file"), EntryKind::file)));
}

TEST_P(FileSystemContractTest, listingAppendsAndLeavesTheEntriesAloneOnFailure) {
  put("file", "x");
  std::vector<FolderEntry> entries{{u"before", EntryKind::file}};
  EXPECT_FALSE(files().list(at(u"/nothing"), entries, error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(files().list(at(u"/file"), entries, error_));
  EXPECT_TRUE(error_);
  EXPECT_EQ(entries.size(), 1U);
  EXPECT_TRUE(files().list(at(u""), entries, error_));
  EXPECT_FALSE(error_);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].name, u"before");
  EXPECT_EQ(entries[1].name, u"file");
}

TEST_P(FileSystemContractTest, anEmptyFolderListsNothing) {
  EXPECT_THAT(listing(u""), IsEmpty());
}

TEST_P(FileSystemContractTest, readNeedsAFile) {
  EXPECT_EQ(files().open(at(u"/nothing"), OpenMode::read, error_), nullptr);
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  EXPECT_EQ(files().open(at(u""), OpenMode::read, error_), nullptr);
  EXPECT_TRUE(error_);
  EXPECT_FALSE(std::filesystem::exists(native("nothing")));
}

TEST_P(FileSystemContractTest, writingNeedsTheParentFolder) {
  EXPECT_EQ(files().open(at(u"/nothing/file"), OpenMode::truncate, error_), nullptr);
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  EXPECT_EQ(files().open(at(u"/nothing/file"), OpenMode::append, error_), nullptr);
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, aFolderIsNotOpenedForWriting) {
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  EXPECT_EQ(files().open(at(u"/folder"), OpenMode::truncate, error_), nullptr);
  EXPECT_TRUE(error_);
  EXPECT_EQ(files().open(at(u"/folder"), OpenMode::append, error_), nullptr);
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, truncateCreatesOrEmpties) {
  for (const std::string content : {"first, longer", "second"}) {
    const auto file = files().open(at(u"/file"), OpenMode::truncate, error_);
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(error_);
    EXPECT_TRUE(file->write(content.data(), content.size(), error_));
    EXPECT_FALSE(error_);
    EXPECT_TRUE(file->close(error_));
    EXPECT_FALSE(error_);
    EXPECT_EQ(get("file"), content);
  }
}

TEST_P(FileSystemContractTest, appendCreatesOrContinuesWhereverTheFileWasSought) {
  for (const std::string content : {"one", "two"}) {
    const auto file = files().open(at(u"/file"), OpenMode::append, error_);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->seek(0, error_));
    EXPECT_TRUE(file->write(content.data(), content.size(), error_));
  }
  EXPECT_EQ(get("file"), "onetwo");
}

TEST_P(FileSystemContractTest, updateWritesInPlaceAndCreatesNothing) {
  put("file", "0123456789");
  const auto file = files().open(at(u"/file"), OpenMode::update, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(error_);
  EXPECT_TRUE(file->seek(4, error_));
  EXPECT_TRUE(file->write("xy", 2, error_));
  EXPECT_EQ(get("file"), "0123xy6789");
  std::string buffer(4, '\0');
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 4);
  EXPECT_EQ(buffer, "6789");

  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  for (const WideText name : {u"/nothing", u"/folder"}) {
    EXPECT_EQ(files().open(at(name), OpenMode::update, error_), nullptr);
    EXPECT_TRUE(error_);
  }
  EXPECT_FALSE(std::filesystem::exists(native("nothing")));
}

TEST_P(FileSystemContractTest, readsAsFarAsTheFileGoes) {
  put("file", "0123456789");
  const auto file = files().open(at(u"/file"), OpenMode::read, error_);
  ASSERT_NE(file, nullptr);
  std::string buffer(6, '\0');
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 6);
  EXPECT_EQ(buffer, "012345");
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 4);
  EXPECT_EQ(buffer.substr(0, 4), "6789");
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 0);
  EXPECT_FALSE(error_);
  EXPECT_TRUE(file->seek(8, error_));
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 2);
  EXPECT_EQ(buffer.substr(0, 2), "89");
  EXPECT_EQ(file->size(error_), 10);
  EXPECT_FALSE(error_);
}

TEST_P(FileSystemContractTest, aFileOpenedForReadingTakesNoWrite) {
  put("file", "x");
  const auto file = files().open(at(u"/file"), OpenMode::read, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->write("y", 1, error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(file->truncate(0, error_));
  EXPECT_TRUE(error_);
  EXPECT_EQ(get("file"), "x");
}

TEST_P(FileSystemContractTest, aWrittenFileIsReadBackOverTheSameHandle) {
  const auto file = files().open(at(u"/file"), OpenMode::truncate, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->write("0123456789", 10, error_));
  EXPECT_TRUE(file->flush(error_));
  EXPECT_FALSE(error_);
  EXPECT_TRUE(file->sync(error_));
  EXPECT_FALSE(error_);
  EXPECT_EQ(file->size(error_), 10);
  EXPECT_TRUE(file->truncate(4, error_));
  EXPECT_FALSE(error_);
  EXPECT_EQ(file->size(error_), 4);
  EXPECT_TRUE(file->seek(0, error_));
  std::string buffer(10, '\0');
  EXPECT_EQ(file->read(buffer.data(), buffer.size(), error_), 4);
  EXPECT_EQ(buffer.substr(0, 4), "0123");
}

TEST_P(FileSystemContractTest, oneFileIsWrittenFromAnotherFromWhereThatStands) {
  put("source", "0123456789");
  const auto source = files().open(at(u"/source"), OpenMode::read, error_);
  const auto copy = files().open(at(u"/copy"), OpenMode::truncate, error_);
  ASSERT_NE(source, nullptr);
  ASSERT_NE(copy, nullptr);
  EXPECT_TRUE(source->seek(2, error_));
  EXPECT_EQ(copy->writeFrom(*source, 5, error_), 5);
  EXPECT_EQ(get("copy"), "23456");
  EXPECT_EQ(copy->writeFrom(*source, 5, error_), 3);
  EXPECT_FALSE(error_);
  EXPECT_EQ(copy->writeFrom(*source, 5, error_), 0);
  EXPECT_FALSE(error_);
  EXPECT_TRUE(copy->write("!", 1, error_));
  EXPECT_EQ(get("copy"), "23456789!");
}

TEST_P(FileSystemContractTest, aFileThatCannotBeWrittenTakesNothingFromAnother) {
  put("source", "0123456789");
  put("copy", "old");
  const auto source = files().open(at(u"/source"), OpenMode::read, error_);
  const auto copy = files().open(at(u"/copy"), OpenMode::read, error_);
  EXPECT_EQ(copy->writeFrom(*source, 5, error_), -1);
  EXPECT_TRUE(error_);
  EXPECT_EQ(get("copy"), "old");
}

TEST_P(FileSystemContractTest, whereTheSystemCannotWriteFromAFileNothingIsDone) {
  put("source", "0123456789");
  put("copy", "old");
  const auto source = files().open(at(u"/source"), OpenMode::read, error_);
  const auto copy = files().open(at(u"/copy"), OpenMode::append, error_);
  if (copy->writeFrom(*source, 5, error_)) GTEST_SKIP() << "this system can append to a file in this way";
  char first = 0;
  EXPECT_EQ(source->read(&first, 1, error_), 1);
  EXPECT_EQ(first, '0');
  EXPECT_EQ(get("copy"), "old");
}

TEST_P(FileSystemContractTest, aPositionBeyondTheLargestFileIsAnError) {
  const auto file = files().open(at(u"/file"), OpenMode::truncate, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(file->seek(~std::uint64_t{0}, error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(file->truncate(~std::uint64_t{0}, error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, nothingWorksOnAClosedHandle) {
  const auto file = files().open(at(u"/file"), OpenMode::truncate, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->close(error_));
  EXPECT_FALSE(file->write("x", 1, error_));
  EXPECT_TRUE(error_);
  char buffer = 0;
  EXPECT_EQ(file->read(&buffer, 1, error_), -1);
  EXPECT_TRUE(error_);
  EXPECT_EQ(file->size(error_), -1);
  EXPECT_FALSE(file->seek(0, error_));
  EXPECT_FALSE(file->flush(error_));
  EXPECT_FALSE(file->sync(error_));
  EXPECT_FALSE(file->close(error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, aHandleThatGoesOutOfScopeClosesItsFile) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = openFiles();
  {
    const auto file = files().open(at(u"/file"), OpenMode::truncate, error_);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(openFiles(), before + 1);
  }
  EXPECT_EQ(openFiles(), before);
}

TEST_P(FileSystemContractTest, createFolderMakesOneLevelAndFailsOnAnExistingOne) {
  EXPECT_TRUE(files().createFolder(at(u"/folder"), error_));
  EXPECT_FALSE(error_);
  EXPECT_TRUE(std::filesystem::is_directory(native("folder")));
  EXPECT_FALSE(files().createFolder(at(u"/folder"), error_));
  EXPECT_EQ(error_, boost::system::errc::file_exists);
  EXPECT_FALSE(files().createFolder(at(u"/none/folder"), error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
}

TEST_P(FileSystemContractTest, theRootIsNotCreatedAgain) {
  EXPECT_FALSE(files().createFolder(at(u""), error_));
  EXPECT_EQ(error_, boost::system::errc::file_exists);
}

TEST_P(FileSystemContractTest, renameMovesFilesAndFoldersAndReplacesAFile) {
  put("from", "new");
  put("to", "old");
  EXPECT_TRUE(files().rename(at(u"/from"), at(u"\\to"), error_));
  EXPECT_FALSE(error_);
  EXPECT_EQ(get("to"), "new");
  EXPECT_FALSE(std::filesystem::exists(native("from")));
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  put("folder/file", "x");
  EXPECT_TRUE(files().rename(at(u"/folder"), at(u"/moved"), error_));
  EXPECT_EQ(get("moved/file"), "x");
  EXPECT_FALSE(files().rename(at(u"/nothing"), at(u"/to"), error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  EXPECT_EQ(get("to"), "new");
}

TEST_P(FileSystemContractTest, removeFileRemovesFilesOnly) {
  put("file", "x");
  EXPECT_TRUE(files().removeFile(at(u"/file"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(std::filesystem::exists(native("file")));
  EXPECT_FALSE(files().removeFile(at(u"/file"), error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  EXPECT_FALSE(files().removeFile(at(u"/folder"), error_));
  EXPECT_TRUE(error_);
  EXPECT_TRUE(std::filesystem::exists(native("folder")));
}

TEST_P(FileSystemContractTest, removeFolderRemovesEmptyFoldersOnly) {
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  put("folder/file", "x");
  EXPECT_FALSE(files().removeFolder(at(u"/folder"), error_));
  EXPECT_EQ(error_, boost::system::errc::directory_not_empty);
  EXPECT_FALSE(files().removeFolder(at(u"/folder/file"), error_));
  EXPECT_TRUE(error_);
  std::filesystem::remove(native("folder/file"));
  EXPECT_TRUE(files().removeFolder(at(u"/folder/"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(std::filesystem::exists(native("folder")));
  EXPECT_FALSE(files().removeFolder(at(u"/folder"), error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, kindLooksBehindLinksAndIsLinkAtThem) {
  put("file", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  std::filesystem::create_symlink("file", native("linkToFile"));
  std::filesystem::create_symlink("folder", native("linkToFolder"));
  std::filesystem::create_symlink("nothing", native("linkToNothing"));
  EXPECT_EQ(files().kind(at(u"/linkToFile"), error_), EntryKind::file);
  EXPECT_EQ(files().kind(at(u"/linkToFolder"), error_), EntryKind::folder);
  EXPECT_EQ(files().kind(at(u"/linkToNothing"), error_), EntryKind::missing);
  EXPECT_TRUE(files().isLink(at(u"/linkToFile"), error_));
  EXPECT_TRUE(files().isLink(at(u"/linkToFolder"), error_));
  EXPECT_TRUE(files().isLink(at(u"/linkToFolder\\"), error_));
  EXPECT_TRUE(files().isLink(at(u"/linkToNothing"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(files().isLink(at(u"/file"), error_));
  EXPECT_FALSE(files().isLink(at(u"/folder"), error_));
  EXPECT_FALSE(files().isLink(at(u"/nothing"), error_));
  EXPECT_FALSE(error_);
}

TEST_P(FileSystemContractTest, aNewFileIsMadeOnlyWhereNothingStands) {
  put("file", "content");
  put("target", "content");
  std::filesystem::create_symlink("target", native("link"));
  std::filesystem::create_symlink("nothing", native("linkToNothing"));
  std::filesystem::create_directory(native("folder"));
  for (const WideText name : {u"/file", u"/link", u"/linkToNothing", u"/folder"}) {
    EXPECT_EQ(files().open(at(name), OpenMode::createNew, error_), nullptr);
    EXPECT_TRUE(error_);
  }
  EXPECT_EQ(get("file"), "content");
  EXPECT_EQ(get("target"), "content");
  EXPECT_FALSE(std::filesystem::exists(native("nothing")));
  const auto file = files().open(at(u"/new"), OpenMode::createNew, error_);
  ASSERT_NE(file, nullptr);
  EXPECT_FALSE(error_);
  EXPECT_TRUE(file->write("new", 3, error_));
  EXPECT_EQ(get("new"), "new");
}

TEST_P(FileSystemContractTest, asAnEntryAFileIsMadeAndEmptiedButNoLinkIsFollowed) {
  put("target", "content");
  std::filesystem::create_symlink("target", native("link"));
  std::filesystem::create_symlink("nothing", native("linkToNothing"));
  for (const WideText name : {u"/link", u"/linkToNothing"}) {
    EXPECT_EQ(files().open(at(name), OpenMode::truncateEntry, error_), nullptr);
    EXPECT_TRUE(error_);
  }
  EXPECT_EQ(get("target"), "content");
  EXPECT_FALSE(std::filesystem::exists(native("nothing")));
  for (const WideText name : {u"/target", u"/new"}) {
    EXPECT_NE(files().open(at(name), OpenMode::truncateEntry, error_), nullptr);
    EXPECT_FALSE(error_);
  }
  EXPECT_EQ(get("target"), "");
  EXPECT_TRUE(std::filesystem::is_regular_file(native("new")));
}

TEST_P(FileSystemContractTest, aLinkIsRemovedItselfAndItsTargetStays) {
  put("file", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  std::filesystem::create_symlink("file", native("linkToFile"));
  std::filesystem::create_symlink("folder", native("linkToFolder"));
  EXPECT_TRUE(files().removeFile(at(u"/linkToFile"), error_));
  EXPECT_FALSE(files().removeFolder(at(u"/linkToFolder"), error_));
  EXPECT_TRUE(files().removeFile(at(u"/linkToFolder/"), error_));
  EXPECT_TRUE(std::filesystem::exists(native("file")));
  EXPECT_TRUE(std::filesystem::exists(native("folder")));
}

TEST_P(FileSystemContractTest, clearingTheMarksGivesTheOwnerWritePermission) {
  put("file", "x");
  std::filesystem::permissions(native("file"), std::filesystem::perms::owner_read);
  EXPECT_TRUE(files().clearReadOnlyAndHidden(at(u"/file"), error_));
  EXPECT_FALSE(error_);
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(native("file")).permissions(), perms::owner_read | perms::owner_write);
  EXPECT_TRUE(files().clearReadOnlyAndHidden(at(u"/file"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(files().clearReadOnlyAndHidden(at(u"/nothing"), error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, clearingTheMarksOfALinkLeavesItsTargetAlone) {
  put("file", "x");
  std::filesystem::permissions(native("file"), std::filesystem::perms::owner_read);
  std::filesystem::create_symlink("file", native("link"));
  EXPECT_TRUE(files().clearReadOnlyAndHidden(at(u"/link"), error_));
  EXPECT_FALSE(error_);
  EXPECT_EQ(std::filesystem::status(native("file")).permissions(), std::filesystem::perms::owner_read);
}

TEST_P(FileSystemContractTest, hidingChangesNothingElseOfAFileOrAFolder) {
  put("file", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  const auto permissions = std::filesystem::status(native("folder")).permissions();
  EXPECT_TRUE(files().setHidden(at(u"/file"), error_));
  EXPECT_FALSE(error_);
  EXPECT_TRUE(files().setHidden(at(u"\\folder\\"), error_));
  EXPECT_FALSE(error_);
  EXPECT_EQ(get("file"), "x");
  EXPECT_EQ(std::filesystem::status(native("folder")).permissions(), permissions);
  std::filesystem::create_symlink("nothing", native("link"));
  EXPECT_TRUE(files().setHidden(at(u"/link"), error_));
  EXPECT_FALSE(files().setHidden(at(u"/nothing"), error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
}

TEST_P(FileSystemContractTest, aFileIsTheSameByEachOfItsPaths) {
  put("file", "x");
  put("copy", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  std::filesystem::create_symlink("file", native("link"));
  std::filesystem::create_symlink(".", native("again"));
  std::filesystem::create_hard_link(native("file"), native("hard"));
  for (const WideText path :
       {u"/file", u"\\folder/..\\file", u"//file", u"/link", u"/again/file", u"/hard"}) {
    EXPECT_TRUE(files().areSame(at(u"/file"), at(path), error_));
    EXPECT_FALSE(error_);
    EXPECT_TRUE(files().areSame(at(path), at(u"/file"), error_));
  }
  EXPECT_TRUE(files().areSame(at(u""), at(u"/again"), error_));
  EXPECT_FALSE(files().areSame(at(u"/file"), at(u"/copy"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(files().areSame(at(u"/file"), at(u""), error_));
  EXPECT_FALSE(files().areSame(at(u"/nothing"), at(u"/nothing"), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(files().areSame(at(u"/file"), at(u"/nothing"), error_));
  EXPECT_FALSE(error_);
}

TEST_P(FileSystemContractTest, resolvedLeadsBehindLinksAlsoWhereNothingStandsYet) {
  std::filesystem::create_directories(native("folder/inner"));
  std::filesystem::create_directory_symlink(native("folder"), native("again"));
  put("folder/file", "x");
  const WideText root = files().resolved(at(u""));
  EXPECT_EQ(driveLetter(root), 0);
  EXPECT_TRUE(files().areSame(root, at(u""), error_));
  EXPECT_EQ(files().resolved(at(u"/again/inner")), root + u"/folder/inner");
  EXPECT_EQ(files().resolved(at(u"\\again\\file")), root + u"/folder/file");
  EXPECT_EQ(files().resolved(at(u"/again/new/file")), root + u"/folder/new/file");
  EXPECT_EQ(files().resolved(at(u"/new/../folder/./file")), root + u"/folder/file");
}

TEST_P(FileSystemContractTest, aFileHasOneIdentityByEachOfItsPathsAndSharesItWithNoOther) {
  put("file", "x");
  put("copy", "x");
  ASSERT_TRUE(files().createFolder(at(u"/folder"), error_));
  std::filesystem::create_symlink("file", native("link"));
  std::filesystem::create_hard_link(native("file"), native("hard"));
  const std::optional<FileIdentity> identity = files().identity(at(u"/file"), error_);
  ASSERT_TRUE(identity);
  EXPECT_FALSE(error_);
  for (const WideText path : {u"\\folder/..\\file", u"//file", u"/link", u"/hard"})
    EXPECT_EQ(files().identity(at(path), error_), identity);
  EXPECT_NE(files().identity(at(u"/copy"), error_), identity);
  EXPECT_TRUE(files().identity(at(u"/folder"), error_));
  EXPECT_EQ(files().identity(at(u"/folder"), error_), files().identity(at(u"/./folder"), error_));
  EXPECT_FALSE(files().identity(at(u"/nothing"), error_));
  EXPECT_EQ(error_, boost::system::errc::no_such_file_or_directory);
}

TEST_P(FileSystemContractTest, creationTimeIsThatOfTheMaking) {
  const std::int64_t before = std::time(nullptr);
  put("file", "x");
  std::int64_t seconds = 0;
  EXPECT_TRUE(files().creationTime(at(u"/file"), seconds, error_));
  EXPECT_FALSE(error_);
  // The file system's clock may lag behind by one.
  EXPECT_GE(seconds, before - 1);
  EXPECT_LE(seconds, std::time(nullptr));
  EXPECT_FALSE(files().creationTime(at(u"/nothing"), seconds, error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, setTimesSetsTheLastWriteTime) {
  put("file", "x");
  EXPECT_TRUE(files().setTimes(at(u"/file"), 1'234'567'890, error_));
  EXPECT_FALSE(error_);
  const auto written = std::filesystem::last_write_time(native("file"));
  const auto sinceEpoch = std::chrono::file_clock::to_sys(written).time_since_epoch();
  EXPECT_EQ(std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count(), 1'234'567'890'000);
  EXPECT_FALSE(files().setTimes(at(u"/nothing"), 0, error_));
  EXPECT_TRUE(error_);
}

TEST_P(FileSystemContractTest, syncFolderNeedsAFolder) {
  put("file", "x");
  EXPECT_TRUE(files().syncFolder(at(u""), error_));
  EXPECT_FALSE(error_);
  EXPECT_FALSE(files().syncFolder(at(u"/nothing"), error_));
  EXPECT_TRUE(error_);
  EXPECT_FALSE(files().syncFolder(at(u"/file"), error_));
  EXPECT_TRUE(error_);
}

}  // namespace

}  // namespace ZelmoraTevra::platform
