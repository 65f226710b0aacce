#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/CopyFile.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Not;

constexpr std::size_t blockBytes = 1000;
constexpr CopySettings plain{.blockBytes = blockBytes, .state = {}, .toMedium = false};
constexpr CopySettings inJob{.blockBytes = blockBytes, .state = statBackupInProgress, .toMedium = false};

std::string contentOf(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 7 + i / 256);
  return content;
}

// Tells of each read, with the number of bytes that were asked for, before it happens.
class ReadsTold : public platform::ForwardingFileSystem {
 public:
  explicit ReadsTold(platform::FileSystem& target) : ForwardingFileSystem(target) {}

  std::function<void(std::size_t)> before;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    auto handle = target().open(path, mode, error);
    if (!handle || mode != platform::OpenMode::read || !path.ends_with(u"source")) return handle;
    return std::make_unique<Handle>(*this, std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(ReadsTold& owner, std::unique_ptr<platform::FileHandle> target)
        : ForwardingFileHandle(std::move(target)), owner_(owner) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      owner_.before(size);
      return target().read(buffer, size, error);
    }
    bool write(const void*, std::size_t, platform::ErrorCode&) override { return false; }
    bool seek(std::uint64_t, platform::ErrorCode&) override { return false; }
    bool truncate(std::uint64_t, platform::ErrorCode&) override { return false; }
    bool flush(platform::ErrorCode&) override { return false; }
    bool sync(platform::ErrorCode&) override { return false; }

   private:
    ReadsTold& owner_;
  };
};

// No link can be removed, as in a folder that is somebody else's.
class StuckLinks : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (!target().isLink(path, error)) return target().removeFile(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    return false;
  }
};

class CopyFileTest : public JobTest {
 protected:
  CopyFileTest() {
    makeFolder(path(u"to"));
    writeFile(source, content);
    ProgressObserver::instance().load({{content.size(), {}, {}, 0}});
  }

  void requestAbort() {
    writeFile(
        StatusXml::instance().abortFilePath(),
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
  }
  // Copies with something happening before the n-th read, from 1.
  CopyResult copyWithEventAt(int read, const CopySettings& settings, const std::function<void()>& event) {
    ReadsTold reads(files());
    int count = 0;
    reads.before = [&](std::size_t) {
      if (++count == read) event();
    };
    useFileSystem(reads);
    const CopyResult result = copyFile(source, destination, settings);
    useFileSystem(files());
    EXPECT_GE(count, read);
    return result;
  }
  [[nodiscard]] std::vector<std::string> copied() { return tree(path(u"to")); }

  const std::string content = contentOf(3500);
  const WideText source = path(u"from/source");
  const WideText destination = path(u"to/copy");
};

TEST_F(CopyFileTest, CopiesFilesOfEverySizeAroundABlock) {
  for (const std::size_t size : {0, 1, 999, 1000, 1001, 1999, 2000, 2001, 12'345}) {
    SCOPED_TRACE(size);
    writeFile(source, contentOf(size));
    EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
    EXPECT_EQ(readFile(destination), contentOf(size));
    EXPECT_EQ(readFile(source), contentOf(size));
  }
}

TEST_F(CopyFileTest, DoneIsNoughtForThoseWhoPassTheResultOnAsANumber) {
  EXPECT_EQ(static_cast<int>(CopyResult::done), 0);
}

TEST_F(CopyFileTest, HoldsNoMoreThanOneBlock) {
  ReadsTold reads(files());
  std::vector<std::size_t> sizes;
  reads.before = [&](std::size_t size) { sizes.push_back(size); };
  useFileSystem(reads);
  EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
  EXPECT_EQ(sizes.size(), 5U);
  EXPECT_THAT(sizes, Each(Le(blockBytes)));
}

TEST_F(CopyFileTest, CopiesByItselfWhatTheSystemCannotCopy) {
  ReadsTold reads(files());
  std::size_t blocks = 0;
  reads.before = [&](std::size_t) { ++blocks; };
  useFileSystem(reads);
  for (const std::size_t size : {0, 999, 1000, 1001, 12'345}) {
    SCOPED_TRACE(size);
    writeFile(source, contentOf(size));
    blocks = 0;
    EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
    EXPECT_EQ(readFile(destination), contentOf(size));
    EXPECT_GE(blocks, size / blockBytes + 1);
  }
}

TEST_F(CopyFileTest, AnOldFileAtTheDestinationIsReplaced) {
  writeFile(destination, contentOf(9000));
  EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(CopyFileTest, EachBlockIsReportedInTheStateOfTheJob) {
  ReadsTold reads(files());
  reads.before = [this](std::size_t) { clock.ticks += 1001; };
  useFileSystem(reads);
  ProgressObserver::instance().setTexts(u"the source", u"the destination");
  EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::done);
  std::vector<WideText> amounts;
  for (const SavedStatus& saved : statusHistory()) {
    EXPECT_EQ(saved.state, 4);
    amounts.push_back(saved.descriptions[3]);
  }
  EXPECT_THAT(amounts, ElementsAre(u"1000 / 3500", u"2000 / 3500", u"3000 / 3500", u"3500 / 3500"));
  EXPECT_EQ(statusHistory().back().descriptions[4], u"the source");
  EXPECT_EQ(statusHistory().back().descriptions[5], u"the destination");
}

TEST_F(CopyFileTest, WithoutAStateNothingIsReportedAndNoAbortLookedFor) {
  requestAbort();
  clock.ticks += 1001;
  EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
  EXPECT_THAT(statusHistory(), IsEmpty());
  EXPECT_TRUE(fileExists(StatusXml::instance().abortFilePath()));
}

TEST_F(CopyFileTest, AMissingSourceLeavesTheDestinationAsItIs) {
  writeFile(destination, "old");
  EXPECT_EQ(copyFile(path(u"from/none"), destination, inJob), CopyResult::cannotOpenSource);
  EXPECT_EQ(copyFile(path(u"from"), destination, inJob), CopyResult::cannotOpenSource);
  EXPECT_EQ(readFile(destination), "old");
}

TEST_F(CopyFileTest, NoFolderIsMadeForTheDestination) {
  EXPECT_EQ(copyFile(source, path(u"gone/copy"), inJob), CopyResult::cannotCreateDestination);
  EXPECT_FALSE(std::filesystem::exists(folder.native() / "gone"));
}

TEST_F(CopyFileTest, AFolderAtTheDestinationStays) {
  writeFile(path(u"to/copy/file"), "x");
  EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::cannotCreateDestination);
  EXPECT_THAT(copied(), ElementsAre("copy/", "copy/file"));
}

TEST_F(CopyFileTest, APipeAtTheDestinationIsNotFed) {
  ASSERT_EQ(::mkfifo((folder.native() / "to/copy").c_str(), 0600), 0);
  EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::cannotCreateDestination);
}

TEST_F(CopyFileTest, ALinkAtTheDestinationMakesWayAndIsNotWrittenThrough) {
  writeFile(path(u"mine/letter"), "a letter");
  for (const char* target : {"../mine/letter", "../mine/new", "../mine"}) {
    std::filesystem::remove(folder.native() / "to/copy");
    std::filesystem::create_symlink(target, folder.native() / "to/copy");
    EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::done);
    EXPECT_FALSE(std::filesystem::is_symlink(folder.native() / "to/copy"));
    EXPECT_EQ(readFile(destination), content);
    EXPECT_THAT(tree(path(u"mine")), ElementsAre("letter"));
    EXPECT_EQ(readFile(path(u"mine/letter")), "a letter");
    ProgressObserver::destroy();
  }
}

TEST_F(CopyFileTest, ALinkAtTheDestinationThatStaysIsNotWrittenThrough) {
  StuckLinks stuck(files());
  useFileSystem(stuck);
  writeFile(path(u"mine/letter"), "a letter");
  for (const char* target : {"../mine/letter", "../mine/new"}) {
    std::filesystem::remove(folder.native() / "to/copy");
    std::filesystem::create_symlink(target, folder.native() / "to/copy");
    EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::cannotCreateDestination);
    EXPECT_THAT(tree(path(u"mine")), ElementsAre("letter"));
    EXPECT_EQ(readFile(path(u"mine/letter")), "a letter");
  }
}

TEST_F(CopyFileTest, AFileIsNeverCopiedOntoItself) {
  std::filesystem::create_symlink("../from", folder.native() / "to/again");
  std::filesystem::create_symlink("../from/source", folder.native() / "to/link");
  std::filesystem::create_hard_link(folder.native() / "from/source", folder.native() / "to/hard");
  for (const WideText same :
       {u"from/source", u"to/../from/source", u"to/again/source", u"to/link", u"to/hard"}) {
    EXPECT_EQ(copyFile(source, path(same), plain), CopyResult::cannotCreateDestination);
    EXPECT_EQ(readFile(source), content);
  }
}

TEST_F(CopyFileTest, AnAbortBetweenTwoBlocksRemovesTheDestination) {
  for (int read = 1; read <= 4; ++read) {
    SCOPED_TRACE(read);
    writeFile(destination, "old");
    EXPECT_EQ(copyWithEventAt(read, inJob, [this] { requestAbort(); }), CopyResult::aborted);
    EXPECT_THAT(copied(), IsEmpty());
    EXPECT_EQ(readFile(source), content);
    EXPECT_EQ(status().state, statBackupInProgress);
    StatusXml::destroy();
  }
}

TEST_F(CopyFileTest, AnAbortBehindTheLastBlockWins) {
  EXPECT_EQ(copyWithEventAt(4, inJob, [this] { requestAbort(); }), CopyResult::aborted);
  EXPECT_THAT(copied(), IsEmpty());
}

TEST_F(CopyFileTest, AnAbortAtTheEndOfTheFileComesTooLate) {
  EXPECT_EQ(copyWithEventAt(5, inJob, [this] { requestAbort(); }), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(CopyFileTest, AnAbortThatWasSeenBeforeHoldsForAnEmptyFileToo) {
  requestAbort();
  StatusXml::instance().checkAbort();
  EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::aborted);
  writeFile(source, "");
  EXPECT_EQ(copyFile(source, destination, inJob), CopyResult::aborted);
  EXPECT_THAT(copied(), IsEmpty());
  EXPECT_EQ(copyFile(source, destination, plain), CopyResult::done);
}

TEST_F(CopyFileTest, ASourceThatChangesItsLengthMeanwhileIsAFailure) {
  for (const std::uintmax_t size : {0, 1500, 3499, 3501, 9000}) {
    SCOPED_TRACE(size);
    writeFile(source, content);
    const auto change = [&] { std::filesystem::resize_file(folder.native() / "from/source", size); };
    EXPECT_EQ(copyWithEventAt(2, inJob, change), CopyResult::failed);
    EXPECT_THAT(copied(), IsEmpty());
  }
}

TEST_F(CopyFileTest, WhicheverOperationFailsNoHalfCopyIsLeft) {
  constexpr CopySettings settings{.blockBytes = blockBytes, .state = statBackupInProgress, .toMedium = true};
  FaultyFileSystem faulty(files());
  // A snapshot of the status, which is due once a second, isn't one of the operations.
  ProgressObserver::instance().addProgress(0, statBackupInProgress);
  for (faulty.failAt = 1;; ++faulty.failAt) {
    SCOPED_TRACE(faulty.failAt);
    ASSERT_LT(faulty.failAt, 50);
    faulty.count = 0;
    useFileSystem(faulty);
    const CopyResult result = copyFile(source, destination, settings);
    useFileSystem(files());
    EXPECT_EQ(readFile(source), content);
    if (faulty.count < faulty.failAt) {
      EXPECT_EQ(result, CopyResult::done);
      break;
    }
    EXPECT_EQ(result, faulty.failAt == 1 ? CopyResult::cannotCreateDestination : CopyResult::failed);
    EXPECT_THAT(copied(), IsEmpty());
  }
  EXPECT_EQ(readFile(destination), content);
}

TEST_F(CopyFileTest, ACloseThatFailsIsAFailure) {
  FaultyFileSystem faulty(files());
  faulty.failsToClose = [](const WideText& closed) { return closed.ends_with(u"copy"); };
  useFileSystem(faulty);
  EXPECT_EQ(copyFile(source, destination, plain), CopyResult::failed);
  EXPECT_THAT(copied(), IsEmpty());
}

TEST_F(CopyFileTest, IsOnTheMediumOnlyWhereThatIsAskedFor) {
  for (const bool toMedium : {false, true}) {
    std::vector<std::string> operations;
    FaultyFileSystem recording(files());
    recording.before = [&](int, const std::string& operation) { operations.push_back(operation); };
    useFileSystem(recording);
    EXPECT_EQ(copyFile(source, destination, {.blockBytes = blockBytes, .state = {}, .toMedium = toMedium}),
              CopyResult::done);
    useFileSystem(files());
    if (toMedium) {
      EXPECT_EQ(operations.back(), "sync");
    } else {
      EXPECT_THAT(operations, Not(Contains("sync")));
    }
  }
}

TEST_F(CopyFileTest, LargeFilesAreTheSameWhetherTheSystemCopiesThemOrNot) {
  constexpr CopySettings inBlocks{.blockBytes = 0x10000, .state = {}, .toMedium = false};
  for (const std::size_t size : {0x10000, 0x10001, 0x1FFFF, 0x20000, 300'000}) {
    SCOPED_TRACE(size);
    writeFile(source, contentOf(size));
    EXPECT_EQ(copyFile(source, destination, inBlocks), CopyResult::done);
    EXPECT_EQ(readFile(destination), contentOf(size));
    FaultyFileSystem passing(files());  // hands out files of which the system knows nothing
    useFileSystem(passing);
    EXPECT_EQ(copyFile(source, destination, inBlocks), CopyResult::done);
    useFileSystem(files());
    EXPECT_EQ(readFile(destination), contentOf(size));
  }
}

TEST_F(CopyFileTest, AnAbortIsSeenBetweenBlocksThatTheSystemCopies) {
  writeFile(source, contentOf(300'000));
  ProgressObserver::instance().load({{300'000, {}, {}, 0}});
  requestAbort();
  EXPECT_EQ(copyFile(source, destination,
                     {.blockBytes = 0x10000, .state = statBackupInProgress, .toMedium = false}),
            CopyResult::aborted);
  EXPECT_THAT(copied(), IsEmpty());
}

TEST_F(CopyFileTest, WhereANewFileIsWantedNothingIsReplaced) {
  constexpr CopySettings toNew{.blockBytes = blockBytes, .state = {}, .toMedium = false, .isNew = true};
  EXPECT_EQ(copyFile(source, destination, toNew), CopyResult::done);
  EXPECT_EQ(readFile(destination), content);
  writeFile(destination, "kept");
  EXPECT_EQ(copyFile(source, destination, toNew), CopyResult::cannotCreateDestination);
  EXPECT_EQ(readFile(destination), "kept");
  EXPECT_EQ(copyFile(source, source, toNew), CopyResult::cannotCreateDestination);
  EXPECT_EQ(readFile(source), content);
  std::filesystem::create_symlink("copy", folder.native() / "to" / "link");
  EXPECT_EQ(copyFile(source, path(u"to/link"), toNew), CopyResult::cannotCreateDestination);
  EXPECT_EQ(readFile(destination), "kept");
  EXPECT_EQ(copied().size(), 2U);
}

TEST_F(CopyFileTest, ASourceOfAnotherSizeThanExpectedIsAFailure) {
  const auto copyOf = [this](std::uint64_t expected) {
    return copyFile(source, destination,
                    {.blockBytes = blockBytes,
                     .state = {},
                     .toMedium = false,
                     .isNew = false,
                     .expectedBytes = expected});
  };
  EXPECT_EQ(copyOf(content.size() - 1), CopyResult::failed);
  EXPECT_EQ(copyOf(content.size() + 1), CopyResult::failed);
  EXPECT_THAT(copied(), IsEmpty());
  EXPECT_EQ(copyOf(content.size()), CopyResult::done);
}

}  // namespace

}  // namespace ZelmoraTevra
