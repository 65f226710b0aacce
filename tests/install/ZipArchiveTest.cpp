#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "install/ZipArchive.h"
#include "install/ZipFileSource.h"
#include "install/ZipMemorySource.h"
#include "tests/support/JobTest.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {

namespace {

std::unique_ptr<ZipArchive> openBytes(const std::string& bytes) {
  return std::make_unique<ZipArchive>(std::make_unique<ZipMemorySource>(bytes));
}

// The content of the chosen entry; the library's result where there is none.
std::string unpack(ZipArchive& archive) {
  ZipArchive::Entry entry;
  int result = archive.readInfo(entry);
  if (result == 0) result = archive.openEntry();
  if (result != 0) return "error " + std::to_string(result);
  std::string content;
  char buffer[100];
  while ((result = archive.readEntry(buffer, sizeof buffer)) > 0)
    content.append(buffer, static_cast<std::size_t>(result));
  const int closed = archive.closeEntry();
  if (result == 0) result = closed;
  return result == 0 ? content : "error " + std::to_string(result);
}

// Bytes that don't compress.
std::string noise(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint32_t state = 1;
  for (char& byte : bytes) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return bytes;
}

// Counts the reads and seeks of the files below it, and the bytes that were read.
class CountingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  int reads = 0;
  int seeks = 0;
  std::int64_t bytes = 0;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    if (!handle) return nullptr;
    return std::make_unique<Handle>(*this, std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(CountingFileSystem& owner, std::unique_ptr<platform::FileHandle> target)
        : ForwardingFileHandle(std::move(target)), owner_(owner) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      ++owner_.reads;
      const std::int64_t count = target().read(buffer, size, error);
      owner_.bytes += count;
      return count;
    }
    bool seek(std::uint64_t position, platform::ErrorCode& error) override {
      ++owner_.seeks;
      return target().seek(position, error);
    }

   private:
    CountingFileSystem& owner_;
  };
};

}  // namespace

TEST(ZipArchive, SourceThatIsNoArchiveIsNotOpen) {
  EXPECT_FALSE(openBytes("")->isOpen());
  EXPECT_FALSE(openBytes("no archive")->isOpen());
  EXPECT_FALSE(openBytes(noise(200'000))->isOpen());
}

TEST(ZipArchive, ArchiveWithoutEntriesIsOpenAndEmpty) {
  const std::string bytes = ZipBuilder().bytes();
  const auto archive = openBytes(bytes);
  ASSERT_TRUE(archive->isOpen());
  EXPECT_TRUE(archive->isEmpty());
  EXPECT_FALSE(archive->choose("a"));
  ZipArchive::Entry entry;
  EXPECT_NE(archive->readInfo(entry), 0);
  EXPECT_NE(archive->openEntry(), 0);
}

TEST(ZipArchive, FirstEntryIsChosenUntilAnotherIs) {
  const std::string bytes = ZipBuilder().add("one", "first").add("two", "second").bytes();
  const auto archive = openBytes(bytes);
  EXPECT_EQ(unpack(*archive), "first");
  ASSERT_TRUE(archive->choose("two"));
  EXPECT_EQ(unpack(*archive), "second");
  EXPECT_FALSE(archive->choose("three"));
  ASSERT_TRUE(archive->choose("one"));
  EXPECT_EQ(unpack(*archive), "first");
}

TEST(ZipArchive, InfoIsThatOfTheDirectory) {
  ZipBuilder::Options options;
  options.deflated = true;
  options.flags = 0x0800;
  options.dosDate = 0x12345678;
  const std::string bytes = ZipBuilder().add("Maps/A.bin", "content", options).bytes();
  const auto archive = openBytes(bytes);
  ZipArchive::Entry entry;
  ASSERT_EQ(archive->readInfo(entry), 0);
  EXPECT_EQ(entry.name, "Maps/A.bin");
  EXPECT_EQ(entry.size, 7U);
  EXPECT_EQ(entry.dosDate, 0x12345678U);
  EXPECT_EQ(entry.flags, 0x0800U);
  EXPECT_EQ(entry.method, 8U);
}

TEST(ZipArchive, NamesMatchInEitherCaseOfAsciiLettersOnly) {
  const std::string bytes = ZipBuilder().add("Maps/\xC3\x84.BIN", "x").bytes();
  const auto archive = openBytes(bytes);
  EXPECT_TRUE(archive->choose("mAPS/\xC3\x84.bin"));
  EXPECT_FALSE(archive->choose("maps/\xC3\xA4.bin"));
  EXPECT_FALSE(archive->choose("maps\\\xC3\x84.bin"));
  EXPECT_FALSE(archive->choose(""));
}

TEST(ZipArchive, FirstOfSeveralEntriesOfOneNameCounts) {
  const std::string bytes = ZipBuilder().add("a", "first").add("A", "second").add("a", "third").bytes();
  const auto archive = openBytes(bytes);
  ASSERT_TRUE(archive->choose("A"));
  EXPECT_EQ(unpack(*archive), "first");
}

TEST(ZipArchive, LongNamesAreWhole) {
  for (const std::size_t length : {255, 256, 257, 1000, 65535}) {
    const std::string name(length, 'n');
    const std::string bytes = ZipBuilder().add(name + "", "long").add("b", "short").bytes();
    const auto archive = openBytes(bytes);
    ASSERT_TRUE(archive->choose(name)) << length;
    ZipArchive::Entry entry;
    ASSERT_EQ(archive->readInfo(entry), 0);
    EXPECT_EQ(entry.name, name);
    EXPECT_EQ(unpack(*archive), "long");
    EXPECT_FALSE(archive->choose(name.substr(1)));
    ASSERT_TRUE(archive->choose("b"));
    EXPECT_EQ(unpack(*archive), "short");
  }
}

TEST(ZipArchive, DataEndingBeforeTheStatedSizeAreAnError) {
  for (const bool deflated : {false, true}) {
    ZipBuilder::Options options;
    options.deflated = deflated;
    options.size = 10;
    const std::string bytes = ZipBuilder().add("a", "nine byte", options).bytes();
    EXPECT_EQ(unpack(*openBytes(bytes)), "error -103");
  }
}

TEST(ZipArchive, DataGoingOnBehindTheStatedSizeAreAnError) {
  for (const bool deflated : {false, true}) {
    ZipBuilder::Options options;
    options.deflated = deflated;
    options.size = 8;
    const std::string bytes = ZipBuilder().add("a", "nine byte", options).bytes();
    EXPECT_EQ(unpack(*openBytes(bytes)).substr(0, 5), "error");
  }
}

TEST(ZipArchive, WrongChecksumIsAnErrorAtTheEnd) {
  for (const std::string content : {"", "content"}) {
    ZipBuilder::Options options;
    options.checksum = 1;
    const std::string bytes = ZipBuilder().add("a", content, options).bytes();
    EXPECT_EQ(unpack(*openBytes(bytes)), "error -105");
  }
}

TEST(ZipArchive, EncryptedEntriesAndUnknownMethodsAreRefused) {
  ZipBuilder::Options options;
  options.flags = 1;
  std::string bytes = ZipBuilder().add("a", "content", options).bytes();
  EXPECT_EQ(unpack(*openBytes(bytes)), "error -103");
  for (const int method : {1, 6, 9, 12, 14, 93, 95, 99, 65535}) {
    options.flags = 0;
    options.method = static_cast<std::uint16_t>(method);
    bytes = ZipBuilder().add("a", "content", options).bytes();
    EXPECT_EQ(unpack(*openBytes(bytes)), "error -103") << method;
  }
}

TEST(ZipArchive, EntryThatBeginsElsewhereIsAnError) {
  for (const std::uint32_t offset : {1U, 40U, 0x7FFFFFFFU, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    ZipBuilder::Options options;
    options.offset = offset;
    const std::string bytes = ZipBuilder().add("a", "content", options).bytes();
    EXPECT_EQ(unpack(*openBytes(bytes)).substr(0, 5), "error") << offset;
  }
}

TEST(ZipArchive, DamagedDirectoryHoldsTheEntriesBeforeTheDamage) {
  std::string bytes = ZipBuilder().add("a", "1").add("b", "2").add("c", "3").bytes();
  const std::size_t second = bytes.find("PK\1\2", bytes.find("PK\1\2") + 1);
  bytes[second] = 'X';
  const auto archive = openBytes(bytes);
  ASSERT_TRUE(archive->isOpen());
  EXPECT_TRUE(archive->choose("a"));
  EXPECT_FALSE(archive->choose("b"));
  EXPECT_FALSE(archive->choose("c"));
}

TEST(ZipArchive, BytesInFrontOfTheArchiveDoNoHarm) {
  const std::string bytes = noise(1000) + ZipBuilder().add("a", "content").bytes();
  EXPECT_EQ(unpack(*openBytes(bytes)), "content");
}

TEST(ZipMemorySource, ReadsOnlyWhatIsThere) {
  ZipMemorySource source("0123456789");
  char buffer[20] = {};
  EXPECT_EQ(source.size(), 10U);
  EXPECT_EQ(source.read(0, buffer, 4), 4U);
  EXPECT_EQ(std::string(buffer, 4), "0123");
  EXPECT_EQ(source.read(8, buffer, 4), 2U);
  EXPECT_EQ(source.read(10, buffer, 4), 0U);
  EXPECT_EQ(source.read(UINT64_MAX, buffer, 4), 0U);
}

class ZipFileSourceTest : public JobTest {
 protected:
  // An archive with entries "0", "1" and so on; its directory has been read, and counting begins.
  std::unique_ptr<ZipArchive> openArchive(CountingFileSystem& counting, int entries,
                                          std::size_t bytesOfEach) {
    ZipBuilder builder;
    for (int i = 0; i < entries; ++i) builder.add(std::to_string(i), noise(bytesOfEach));
    writeFile(path(u"p.zip"), builder.bytes());
    auto source = std::make_unique<ZipFileSource>(path(u"p.zip"));
    EXPECT_TRUE(source->open());
    auto archive = std::make_unique<ZipArchive>(std::move(source));
    EXPECT_TRUE(archive->choose("0"));
    counting.reads = 0;
    counting.bytes = 0;
    return archive;
  }
};

TEST_F(ZipFileSourceTest, ReadsTheSameBytesAnywhereAndInAnyOrder) {
  const std::string bytes = noise(700'001);
  writeFile(path(u"file"), bytes);
  ZipFileSource source(path(u"file"));
  ASSERT_TRUE(source.open());
  EXPECT_EQ(source.size(), bytes.size());
  std::string buffer(300'000, '\0');
  std::uint32_t state = 7;
  for (int i = 0; i < 500; ++i) {
    state = state * 1664525 + 1013904223;
    const std::size_t position = (state >> 8) % (bytes.size() + 10);
    state = state * 1664525 + 1013904223;
    const std::size_t size = (state >> 8) % (i % 10 == 0 ? buffer.size() : 100);
    const std::string expected = position < bytes.size() ? bytes.substr(position, size) : "";
    ASSERT_EQ(source.read(position, buffer.data(), size), expected.size());
    ASSERT_EQ(buffer.substr(0, expected.size()), expected);
    const std::size_t other = bytes.size() - 1 - position % bytes.size();
    const std::string_view together = source.at(other, size);
    ASSERT_FALSE(together.empty());
    ASSERT_EQ(together, std::string_view(bytes).substr(other, together.size()));
  }
}

TEST_F(ZipFileSourceTest, MissingFileAndFolderDoNotOpen) {
  EXPECT_FALSE(ZipFileSource(path(u"missing")).open());
  EXPECT_FALSE(ZipFileSource(path(u"temp")).open());
}

TEST_F(ZipFileSourceTest, TwiceAsManyEntriesCostTwiceAsManyReads) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  const auto readsFor = [&](int entries) {
    const auto archive = openArchive(counting, entries, 500);
    for (int i = 0; i < entries; ++i) {
      EXPECT_TRUE(archive->choose(std::to_string(i)));
      EXPECT_EQ(unpack(*archive).size(), 500U);
    }
    return counting.reads;
  };
  const int reads = readsFor(4000);
  EXPECT_LE(reads, 60);
  EXPECT_LE(readsFor(8000), 2.2 * reads);
}

// Most packages hold their entries in another order than the one in which they are placed.
TEST_F(ZipFileSourceTest, EntryElsewhereIsReadWithoutItsNeighbours) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  const auto archive = openArchive(counting, 200, 20'000);
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(archive->choose(std::to_string(i * 37 % 200)));
    ASSERT_EQ(unpack(*archive).size(), 20'000U);
  }
  EXPECT_LE(counting.reads, 205);
  EXPECT_LE(counting.bytes, 200 * 28'000);
}

TEST_F(ZipFileSourceTest, LargeEntriesDoNotPushTheDirectoryOut) {
  CountingFileSystem counting(files());
  useFileSystem(counting);
  const auto archive = openArchive(counting, 10, 600'000);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(archive->choose(std::to_string(i)));
    ASSERT_EQ(unpack(*archive).size(), 600'000U);
  }
  EXPECT_LE(counting.bytes, 10 * 600'000 + 200'000);
}

}  // namespace ZelmoraTevra
