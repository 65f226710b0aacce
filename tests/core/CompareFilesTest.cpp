#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/CompareFiles.h"
#include "core/StatusXml.h"
#include "platform/ForwardingFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

// Counts the bytes that are read of maps, and does something before each read.
class WatchedReads : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::size_t bytes = 0;
  int opened = 0;  // for reading
  std::vector<WideText> forgotten;
  std::function<void()> before;
  std::size_t mostAtATime = SIZE_MAX;  // as of a pipe or a slow disk
  WideText broken;                     // the file whose second read fails

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    if (!handle || mode != platform::OpenMode::read || !path.ends_with(u".map")) return handle;
    ++opened;
    return std::make_unique<Handle>(*this, std::move(handle), path);
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(WatchedReads& owner, std::unique_ptr<platform::FileHandle> target, WideText path)
        : ForwardingFileHandle(std::move(target)), owner_(owner), path_(std::move(path)) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      if (owner_.before) owner_.before();
      if (path_ == owner_.broken && reads_++ > 0) {
        error = boost::system::errc::make_error_code(boost::system::errc::io_error);
        return -1;
      }
      const std::int64_t count = target().read(buffer, std::min(size, owner_.mostAtATime), error);
      if (count > 0) owner_.bytes += static_cast<std::size_t>(count);
      return count;
    }
    void forgetCached() override { owner_.forgotten.push_back(path_); }

   private:
    WatchedReads& owner_;
    WideText path_;
    int reads_ = 0;
  };
};

class CompareFilesTest : public JobTest {
 protected:
  static std::string bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i * 131 + i / 977);
    return bytes;
  }
  [[nodiscard]] Comparison compare(const std::string& one, const std::string& other) const {
    writeFile(left, one);
    writeFile(right, other);
    return compareFiles(left, right);
  }
  void requestAbort() const {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }

  const WideText left = path(u"left.map");
  const WideText right = path(u"right.map");
};

TEST_F(CompareFilesTest, FilesOfTheSameBytesAreTheSameAroundTheBlockSize) {
  for (const std::size_t size : {0, 1, 262'143, 262'144, 262'145, 524'288, 1'000'000})
    EXPECT_EQ(compare(bytes(size), bytes(size)), Comparison::same) << size;
}

TEST_F(CompareFilesTest, OneOtherByteAnywhereMakesADifference) {
  const std::string content = bytes(600'000);
  for (const std::size_t at : {0, 262'143, 262'144, 599'999}) {
    std::string other = content;
    other[at] = static_cast<char>(other[at] ^ 1);
    EXPECT_EQ(compare(content, other), Comparison::different) << at;
    EXPECT_EQ(compare(other, content), Comparison::different) << at;
  }
}

TEST_F(CompareFilesTest, FilesOfDifferentSizesAreDifferentWithoutBeingOpened) {
  WatchedReads watched(files());
  useFileSystem(watched);
  EXPECT_EQ(compare(bytes(1000), bytes(999)), Comparison::different);
  EXPECT_EQ(compare("", "x"), Comparison::different);
  EXPECT_EQ(watched.opened, 0);
}

TEST_F(CompareFilesTest, NothingIsReadBehindTheFirstDifference) {
  WatchedReads watched(files());
  useFileSystem(watched);
  std::string other = bytes(5'000'000);
  other[0] = 'x';
  EXPECT_EQ(compare(bytes(5'000'000), other), Comparison::different);
  EXPECT_EQ(watched.bytes, 2U * 262'144);
}

TEST_F(CompareFilesTest, ReadsThatGiveLessThanIsAskedForMakeNoDifference) {
  WatchedReads watched(files());
  watched.mostAtATime = 1000;
  useFileSystem(watched);
  EXPECT_EQ(compare(bytes(300'000), bytes(300'000)), Comparison::same);
}

TEST_F(CompareFilesTest, AFileThatIsNotThereIsUnreadable) {
  startLog();
  writeFile(left, "x");
  EXPECT_EQ(compareFiles(left, right), Comparison::unreadable);
  EXPECT_EQ(compareFiles(right, left), Comparison::unreadable);
  EXPECT_EQ(compareFiles(left, path(u"temp")), Comparison::unreadable);
  EXPECT_TRUE(logLines().empty());
}

TEST_F(CompareFilesTest, AFileThatCannotBeReadToItsEndIsUnreadableAndLogged) {
  startLog();
  for (const WideText& broken : {left, right}) {
    WatchedReads watched(files());
    watched.broken = broken;
    useFileSystem(watched);
    EXPECT_EQ(compare(bytes(300'000), bytes(300'000)), Comparison::unreadable);
    EXPECT_TRUE(logHas(u"Error on reading " + broken + u"!!!"));
  }
}

TEST_F(CompareFilesTest, AnAbortEndsItWithinABlockWhereThatIsAskedFor) {
  for (const bool honoursAbort : {true, false}) {
    WatchedReads watched(files());
    useFileSystem(watched);
    writeFile(left, bytes(5'000'000));
    writeFile(right, bytes(5'000'000));
    watched.before = [this] { requestAbort(); };
    EXPECT_EQ(compareFiles(left, right, {.honoursAbort = honoursAbort}),
              honoursAbort ? Comparison::aborted : Comparison::same);
    EXPECT_EQ(watched.bytes, honoursAbort ? 2U * 262'144 : 10'000'000U);
  }
}

TEST_F(CompareFilesTest, AnAbortInTheLastBlockStillIsOne) {
  WatchedReads watched(files());
  useFileSystem(watched);
  writeFile(left, "short");
  writeFile(right, "short");
  watched.before = [this] { requestAbort(); };
  EXPECT_EQ(compareFiles(left, right, {.honoursAbort = true}), Comparison::aborted);
}

TEST_F(CompareFilesTest, TheRightFileIsReadFromTheMediumWhereThatIsAskedFor) {
  WatchedReads watched(files());
  useFileSystem(watched);
  EXPECT_EQ(compare("a", "a"), Comparison::same);
  EXPECT_TRUE(watched.forgotten.empty());
  EXPECT_EQ(compareFiles(left, right, {.fromMedium = true}), Comparison::same);
  EXPECT_EQ(watched.forgotten, std::vector<WideText>{right});
}

}  // namespace
}  // namespace ZelmoraTevra
