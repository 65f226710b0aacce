#include <algorithm>
#include <filesystem>
#include <limits>
#include <string>

#include "core/Globals.h"
#include "core/Text.h"
#include "install/FolderDeletes.h"
#include "install/UpdateDistributor.h"
#include "tests/install/MemoryStorages.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

constexpr std::int64_t mebibyte = 1'048'576;
constexpr std::int64_t cluster = 32'768;
constexpr std::int64_t plenty = 4'000 * mebibyte;

const WideText flash = u"M:\\flash";
const WideText card = u"M:\\card";

InstallFile file(const WideText& client, std::int32_t flag, std::int64_t size = 0) {
  InstallFile entry;
  entry.client = client;
  entry.updateFlag = flag;
  entry.fileSize = size;
  return entry;
}

InstallUpdate update(std::int64_t size, std::vector<InstallFile> files = {}) {
  InstallUpdate result;
  result.company = u"c";
  result.name = u"n";
  result.version = u"v";
  result.updateSize = size;
  result.files = std::move(files);
  return result;
}

InstallUpdate forSoftware(std::int64_t size, std::vector<InstallFile> files = {}) {
  InstallUpdate result = update(size, std::move(files));
  result.locationSoftware = true;
  return result;
}

InstallUpdate forContent(std::int64_t size, std::vector<InstallFile> files = {}) {
  InstallUpdate result = update(size, std::move(files));
  result.locationContent = true;
  return result;
}

InstallUpdate forAny(std::int64_t size, std::vector<InstallFile> files = {}) {
  InstallUpdate result = update(size, std::move(files));
  result.locationOther = true;
  return result;
}

std::string location(const InstallUpdate& placed) {
  return std::string(placed.locationSoftware ? "software " : "") +
         (placed.locationContent ? "content " : "") + (placed.locationOther ? "other " : "");
}

std::vector<WideText> filesOf(const InstallUpdate& listed) {
  std::vector<WideText> texts;
  for (const InstallFile& entry : listed.files)
    texts.push_back(numberText(entry.updateFlag) + u" " + entry.client);
  return texts;
}

// A device with flash and card in memory.
class UpdateDistributorTest : public JobTest {
 protected:
  UpdateDistributorTest() : storages(files()) {
    storages.addRoot(flash, plenty);
    storages.addRoot(card, plenty);
    useFileSystem(storages);
  }

  void useCard() { EXPECT_EQ(distributor.setPaths(flash, card), 0); }
  void useFlashOnly() { EXPECT_EQ(distributor.setPaths(flash, u""), 0); }

  int distribute(std::vector<InstallUpdate>& updates) {
    std::vector<InstallUpdate*> pointers;
    for (InstallUpdate& each : updates) pointers.push_back(&each);
    return distributor.distribute(pointers, result);
  }
  // Distributes one update and gives it back.
  InstallUpdate distributed(const InstallUpdate& one) {
    std::vector<InstallUpdate> updates{one};
    EXPECT_EQ(distribute(updates), 0);
    return updates.front();
  }

  void expectReport(const WideText& exitCode, const WideText& message) {
    ASSERT_EQ(statusHistory().size(), 1U);
    const SavedStatus saved = status();
    EXPECT_EQ(saved.state, 7);
    EXPECT_EQ(saved.exitCode(), exitCode);
    EXPECT_EQ(saved.descriptions, (std::vector<WideText>{u"100", message}));
  }

  // That the batch needs exactly so much free room on the flash, whatever else was set up.
  void expectFlashLimit(const std::vector<InstallUpdate>& batch, std::int64_t bytes) {
    std::vector<InstallUpdate> updates = batch;
    storages.addRoot(flash, bytes);
    ASSERT_EQ(distribute(updates), 0);
    EXPECT_TRUE(result.fits);
    EXPECT_EQ(result.deficitSoftware, 0);
    updates = batch;
    storages.addRoot(flash, bytes - 1);
    ASSERT_EQ(distribute(updates), 0);
    EXPECT_FALSE(result.fits);
    EXPECT_EQ(result.deficitSoftware, 1);
  }

  MemoryStorages storages;
  UpdateDistributor distributor;
  Distribution result;
};

TEST_F(UpdateDistributorTest, EmptyPrimaryPathIs1045) {
  EXPECT_EQ(distributor.setPaths(u"", card), -1);
  expectReport(u"1045", u"The primary path provided to the update distributor is empty!");
  std::vector<InstallUpdate> updates{forSoftware(1)};
  EXPECT_EQ(distribute(updates), 1);
}

TEST_F(UpdateDistributorTest, WithoutPathsNothingIsDistributed) {
  std::vector<InstallUpdate> updates{forSoftware(1, {file(u"maps", deleteFolderTree)})};
  storages.addFile(flash + u"\\maps\\a", 1);
  EXPECT_EQ(distribute(updates), 1);
  EXPECT_TRUE(statusHistory().empty());
  EXPECT_FALSE(result.fits);
  EXPECT_EQ(updates[0].files.size(), 1U);
}

TEST_F(UpdateDistributorTest, FreeSpaceOfAFolder) {
  std::int64_t bytes = 17;
  EXPECT_EQ(distributor.getFreeSpace(flash, bytes), -1);
  useFlashOnly();
  EXPECT_EQ(distributor.getFreeSpace(u"", bytes), -1);
  EXPECT_EQ(distributor.getFreeSpace(u"M:\\gone", bytes), -1);
  EXPECT_EQ(bytes, 17);
  EXPECT_EQ(distributor.getFreeSpace(flash, bytes), 0);
  EXPECT_EQ(bytes, plenty);
}

TEST_F(UpdateDistributorTest, FreeSpaceThatCannotBeReadIsAFailure) {
  useFlashOnly();
  storages.addFolder(u"M:\\mute");
  std::int64_t bytes = 0;
  EXPECT_EQ(distributor.getFreeSpace(u"M:\\mute", bytes), -1);
}

TEST_F(UpdateDistributorTest, TemporarySpaceHoldsWhatIsNotLarger) {
  useFlashOnly();
  workTempFolder = u"M:\\work";
  storages.addRoot(workTempFolder, 100);
  bool fits = false;
  EXPECT_EQ(distributor.checkTemporarySpace({60, 40}, fits), 0);
  EXPECT_TRUE(fits);
  EXPECT_EQ(distributor.checkTemporarySpace({60, 41}, fits), 0);
  EXPECT_FALSE(fits);
  EXPECT_EQ(distributor.checkTemporarySpace({}, fits), 0);
  EXPECT_TRUE(fits);
}

TEST_F(UpdateDistributorTest, TemporarySpaceOfAMissingFolderDoesNotFit) {
  useFlashOnly();
  workTempFolder = u"M:\\work";
  bool fits = true;
  EXPECT_EQ(distributor.checkTemporarySpace({0}, fits), -1);
  EXPECT_FALSE(fits);
  fits = true;
  EXPECT_EQ(UpdateDistributor().checkTemporarySpace({0}, fits), -1);
  EXPECT_FALSE(fits);
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UpdateDistributorTest, HostileTemporarySizesDoNotOverflow) {
  useFlashOnly();
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  bool fits = true;
  EXPECT_EQ(distributor.checkTemporarySpace({highest, highest, 1}, fits), 0);
  EXPECT_FALSE(fits);
}

TEST_F(UpdateDistributorTest, EmptyBatchFitsWithTheReserve) {
  useFlashOnly();
  expectFlashLimit({}, reserveBytes);
  EXPECT_EQ(result.neededSoftware, 0);
}

TEST_F(UpdateDistributorTest, UnknownFreeSpaceOfThePrimaryFails) {
  useCard();
  storages.remove(flash);
  std::vector<InstallUpdate> updates{forSoftware(1)};
  EXPECT_EQ(distribute(updates), -1);
  EXPECT_EQ(result.deficitSoftware, -1);
  EXPECT_EQ(result.deficitContent, -1);
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(UpdateDistributorTest, UnknownFreeSpaceOfTheCardIsToldAndTheRunGoesOn) {
  useCard();
  storages.remove(card);
  std::vector<InstallUpdate> updates{forSoftware(1)};
  EXPECT_EQ(distribute(updates), 0);
  EXPECT_TRUE(result.fits);
  EXPECT_EQ(result.deficitSoftware, 0);
  EXPECT_EQ(result.deficitContent, -1);
}

TEST_F(UpdateDistributorTest, UpdateWithoutLocationIs1046) {
  useCard();
  std::vector<InstallUpdate> updates{update(1)};
  EXPECT_EQ(distribute(updates), -1);
  expectReport(u"1046", u"!!!UNDEFINED BEHAVIOR!!!");
}

TEST_F(UpdateDistributorTest, UpdateWithoutLocationIs1046WithoutACardToo) {
  useFlashOnly();
  std::vector<InstallUpdate> updates{forSoftware(1), update(1)};
  EXPECT_EQ(distribute(updates), -1);
  expectReport(u"1046", u"!!!UNDEFINED BEHAVIOR!!!");
}

TEST_F(UpdateDistributorTest, CardThatGoesDuringTheRunIs1249) {
  useCard();
  storages.before = [this](const WideText& asked) {
    if (asked == flash + u"\\a") storages.remove(card);
  };
  std::vector<InstallUpdate> updates{forContent(1, {file(u"a", installFile)})};
  EXPECT_EQ(distribute(updates), -1);
  expectReport(u"1249", u"Device disconnected error!!!");
}

TEST_F(UpdateDistributorTest, FlashThatGoesDuringTheRunIs1249) {
  for (const WideText& secondary : {WideText(), card}) {
    storages.addRoot(flash, plenty);
    storages.before = [this](const WideText& asked) {
      if (asked == flash + u"\\a") storages.remove(flash);
    };
    ASSERT_EQ(distributor.setPaths(flash, secondary), 0);
    std::vector<InstallUpdate> updates{forSoftware(1, {file(u"a", installFile)})};
    EXPECT_EQ(distribute(updates), -1);
    EXPECT_EQ(status().exitCode(), u"1249");
  }
  EXPECT_EQ(statusHistory().size(), 2U);
}

TEST_F(UpdateDistributorTest, ReplacingFilesOfTheSameSizeNeedsHardlyMoreThanTheReserve) {
  useFlashOnly();
  storages.addFile(flash + u"\\a", mebibyte);
  storages.addFile(flash + u"\\b", 2 * mebibyte);
  const InstallUpdate replacing = forSoftware(
      3 * mebibyte, {file(u"a", installFile, mebibyte), file(u"b", installFileToo, 2 * mebibyte)});
  expectFlashLimit({replacing}, reserveBytes + 2 * cluster);
  EXPECT_EQ(result.neededSoftware, 2 * cluster);
}

TEST_F(UpdateDistributorTest, FileOfWholeClustersWastesAnotherOne) {
  useFlashOnly();
  EXPECT_EQ(distributed(forSoftware(0, {file(u"a", installFile, cluster)})).clusterOverhead, cluster);
  EXPECT_EQ(distributed(forSoftware(0, {file(u"a", installFile, 0)})).clusterOverhead, cluster);
  EXPECT_EQ(distributed(forSoftware(0, {file(u"a", installFile, 1)})).clusterOverhead, cluster - 1);
  EXPECT_EQ(distributed(forSoftware(0, {file(u"a", installFile, cluster - 1)})).clusterOverhead, 1);
  EXPECT_EQ(distributed(forSoftware(0, {file(u"a", installFile, cluster + 1)})).clusterOverhead, cluster - 1);
}

TEST_F(UpdateDistributorTest, FlagsOnFlashOnly) {
  struct Row {
    std::int32_t flag;
    bool present;
    std::int64_t needed;    // of 1000
    std::int64_t overhead;  // clusters less the file's 100 bytes
    std::int64_t reclaim;
  };
  constexpr std::int64_t slack = cluster - 100;
  const std::vector<Row> rows{
      {installFile, false, 1000, slack, 0},
      {installFile, true, 1000, slack, 70},
      {installFileIfMissing, false, 1000, slack, 0},
      {installFileIfMissing, true, 900, 0, 0},
      {installFileToo, false, 1000, slack, 0},
      {installFileToo, true, 1000, slack, 70},
      {replaceFileIfPresent, false, 900, 0, 0},
      {replaceFileIfPresent, true, 1000, slack, 70},
      {deleteFile, false, 1000, 0, 0},
      {deleteFile, true, 1000, 0, 70},
      {deleteFolderIfEmpty, false, 1000, 0, 0},
      {deleteFolderIfEmpty, true, 1000, 0, 0},
      {deleteFolderTree, false, 1000, 0, 0},
      {deleteFolderTree, true, 1000, 0, 0},
      {5, true, 1000, 0, 0},
      {-1, true, 1000, 0, 0},
  };
  storages.addFile(flash + u"\\there", 70);
  useFlashOnly();
  for (const Row& row : rows) {
    SCOPED_TRACE("flag " + std::to_string(row.flag) + (row.present ? ", present" : ", missing"));
    const InstallUpdate measured =
        distributed(forSoftware(1000, {file(row.present ? u"there" : u"none", row.flag, 100)}));
    EXPECT_EQ(measured.neededPrimary, row.needed);
    EXPECT_EQ(measured.neededSecondary, 1000);
    EXPECT_EQ(measured.clusterOverhead, row.overhead);
    EXPECT_EQ(result.neededSoftware, row.needed + row.overhead - row.reclaim);
  }
}

// A job that was cut off has left part of a file of flag 1, or deleted the copies of one of flag 3: the next
// one places them.
TEST_F(UpdateDistributorTest, AFileThatWasLeftUnfinishedNeedsItsRoom) {
  storages.addFile(flash + u"\\half", 70);
  for (const WideText name : {u"\\half_tevra_placing", u"\\gone_tevra_placing"})
    storages.addFile(flash + name, 0);
  for (const bool withCard : {false, true}) {
    SCOPED_TRACE(withCard ? "with a card" : "flash only");
    distributor.setPaths(flash, withCard ? card : u"");
    InstallUpdate measured = distributed(forSoftware(1000, {file(u"half", installFileIfMissing, 100)}));
    EXPECT_EQ(measured.neededPrimary, 1000);
    EXPECT_EQ(measured.clusterOverhead, cluster - 100);
    EXPECT_EQ(result.neededSoftware, 1000 + cluster - 100 - 70);

    measured = distributed(forSoftware(1000, {file(u"gone", replaceFileIfPresent, 100)}));
    EXPECT_EQ(measured.neededPrimary, 1000);
    EXPECT_EQ(measured.clusterOverhead, cluster - 100);
    EXPECT_EQ(result.neededSoftware, 1000 + cluster - 100);
  }
  storages.addFile(card + u"\\else_tevra_placing", 0);
  const InstallUpdate measured = distributed(forContent(1000, {file(u"else", replaceFileIfPresent, 100)}));
  EXPECT_EQ(measured.neededSecondary, 1000);
}

TEST_F(UpdateDistributorTest, FlagsWithACard) {
  struct Row {
    std::int32_t flag;
    std::int64_t onPrimary;  // real size, -1: missing
    std::int64_t onSecondary;
    std::int64_t neededPrimary;  // of 1000
    std::int64_t neededSecondary;
    std::int64_t overhead;
    std::int64_t reclaimPrimary;
    std::int64_t reclaimSecondary;
  };
  constexpr std::int64_t slack = cluster - 100;
  const std::vector<Row> rows{
      {installFile, -1, -1, 1000, 1000, slack, 0, 0},
      {installFile, 70, -1, 1000, 1000, slack, 70, 0},
      {installFile, -1, 60, 1000, 1000, slack, 0, 60},
      {installFileToo, 70, 60, 1000, 1000, slack, 70, 60},
      {installFileIfMissing, -1, -1, 1000, 1000, slack, 0, 0},
      {installFileIfMissing, 70, -1, 900, 1000, slack, 0, 0},
      {installFileIfMissing, -1, 60, 1000, 900, slack, 0, 0},
      {installFileIfMissing, 70, 60, 900, 900, 0, 0, 0},
      {replaceFileIfPresent, -1, -1, 900, 900, 0, 0, 0},
      {replaceFileIfPresent, 70, -1, 930, 1000, slack, 0, 0},
      {replaceFileIfPresent, -1, 60, 1000, 940, slack, 0, 0},
      {replaceFileIfPresent, 70, 60, 930, 940, slack, 0, 0},
      {deleteFile, 70, 60, 1000, 1000, 0, 70, 60},
      {deleteFile, -1, -1, 1000, 1000, 0, 0, 0},
      {deleteFolderIfEmpty, 70, 60, 1000, 1000, 0, 0, 0},
      {9, 70, 60, 1000, 1000, 0, 0, 0},
  };
  useCard();
  for (const Row& row : rows) {
    SCOPED_TRACE("flag " + std::to_string(row.flag) + ", " + std::to_string(row.onPrimary) + ", " +
                 std::to_string(row.onSecondary));
    for (const WideText& root : {flash, card}) {
      storages.remove(root);
      storages.addRoot(root, plenty);
    }
    if (row.onPrimary >= 0) storages.addFile(flash + u"\\x", row.onPrimary);
    if (row.onSecondary >= 0) storages.addFile(card + u"\\x", row.onSecondary);

    const InstallUpdate measured = distributed(forSoftware(1000, {file(u"x", row.flag, 100)}));
    EXPECT_EQ(measured.neededPrimary, row.neededPrimary);
    EXPECT_EQ(measured.neededSecondary, row.neededSecondary);
    EXPECT_EQ(measured.clusterOverhead, row.overhead);
    EXPECT_EQ(result.neededSoftware, row.neededPrimary + row.overhead - row.reclaimPrimary);
    EXPECT_EQ(result.neededContent, -row.reclaimSecondary);

    distributed(forContent(1000, {file(u"x", row.flag, 100)}));
    EXPECT_EQ(result.neededSoftware, -row.reclaimPrimary);
    EXPECT_EQ(result.neededContent, row.neededSecondary + row.overhead - row.reclaimSecondary);
  }
}

TEST_F(UpdateDistributorTest, FileThatSeveralUpdatesReplaceCountsForEach) {
  useFlashOnly();
  storages.addFile(flash + u"\\a", 500);
  std::vector<InstallUpdate> updates{forSoftware(0, {file(u"a", installFile, 1)}),
                                     forSoftware(0, {file(u"a", installFile, 1)})};
  ASSERT_EQ(distribute(updates), 0);
  EXPECT_EQ(result.neededSoftware, 2 * (cluster - 1) - 2 * 500);
}

TEST_F(UpdateDistributorTest, WithoutACardEverythingGoesToTheFlash) {
  useFlashOnly();
  std::vector<InstallUpdate> updates{forContent(1), forSoftware(2), forAny(4)};
  ASSERT_EQ(distribute(updates), 0);
  for (const InstallUpdate& placed : updates) EXPECT_EQ(location(placed), "software ");
  EXPECT_EQ(result.neededSoftware, 7);
  EXPECT_EQ(result.neededContent, 0);
}

TEST_F(UpdateDistributorTest, WithACardEachKindGoesToItsStorage) {
  useCard();
  std::vector<InstallUpdate> updates{forContent(1), forSoftware(2)};
  ASSERT_EQ(distribute(updates), 0);
  EXPECT_EQ(location(updates[0]), "content ");
  EXPECT_EQ(location(updates[1]), "software ");
  EXPECT_EQ(result.neededSoftware, 2);
  EXPECT_EQ(result.neededContent, 1);
  EXPECT_TRUE(result.fits);
}

TEST_F(UpdateDistributorTest, UpdateForAnyStorageGoesToTheFlashEvenIfTheCardHasRoom) {
  useCard();
  EXPECT_EQ(location(distributed(forAny(mebibyte))), "software ");
}

TEST_F(UpdateDistributorTest, UpdateForAnyStorageGoesToTheCardIfTheFlashWouldBeExactlyFull) {
  useCard();
  storages.addRoot(flash, reserveBytes + mebibyte + 1);
  EXPECT_EQ(location(distributed(forAny(mebibyte))), "software ");
  storages.addRoot(flash, reserveBytes + mebibyte);
  EXPECT_EQ(location(distributed(forAny(mebibyte))), "content ");
  EXPECT_EQ(result.neededContent, mebibyte);
  EXPECT_TRUE(result.fits);
}

TEST_F(UpdateDistributorTest, WasteInClustersCountsForUpdatesForAnyStorage) {
  useCard();
  const InstallUpdate one = forAny(mebibyte, {file(u"a", installFile, mebibyte)});
  storages.addRoot(flash, reserveBytes + mebibyte + cluster + 1);
  EXPECT_EQ(location(distributed(one)), "software ");
  storages.addRoot(flash, reserveBytes + mebibyte + cluster);
  EXPECT_EQ(location(distributed(one)), "content ");
  EXPECT_EQ(result.neededContent, mebibyte + cluster);
}

TEST_F(UpdateDistributorTest, UpdatesForAnyStorageArePlacedLast) {
  useCard();
  storages.addRoot(flash, reserveBytes + 100);
  std::vector<InstallUpdate> updates{forAny(60), forSoftware(30), forAny(60)};
  ASSERT_EQ(distribute(updates), 0);
  EXPECT_EQ(location(updates[0]), "software ");
  EXPECT_EQ(location(updates[2]), "content ");
  EXPECT_EQ(result.neededSoftware, 90);
  EXPECT_EQ(result.neededContent, 60);
}

TEST_F(UpdateDistributorTest, ExtraSpaceIsKeptFree) {
  useFlashOnly();
  distributor.setExtraSpace(5 * mebibyte, 900 * mebibyte);
  expectFlashLimit({forSoftware(100)}, reserveBytes + 5 * mebibyte + 100);
}

TEST_F(UpdateDistributorTest, TemporarySpaceCountsUpToTheReserve) {
  useFlashOnly();
  distributor.setTemporarySpace(mebibyte, 0);
  expectFlashLimit({forSoftware(100)}, reserveBytes - mebibyte + 100);
  distributor.setTemporarySpace(1024 * mebibyte, 0);
  expectFlashLimit({forSoftware(100)}, 100);
}

TEST_F(UpdateDistributorTest, ExtraAndTemporarySpaceOfTheCard) {
  useCard();
  distributor.setExtraSpace(0, 7 * mebibyte);
  distributor.setTemporarySpace(0, 1024 * mebibyte);
  storages.addRoot(card, 7 * mebibyte + 100);
  distributed(forContent(100));
  EXPECT_TRUE(result.fits);
  distributed(forContent(101));
  EXPECT_FALSE(result.fits);
  EXPECT_EQ(result.deficitContent, 1);
}

TEST_F(UpdateDistributorTest, StorageOnWhichNothingIsPlacedNeedsNoReserve) {
  useCard();
  storages.addRoot(card, 0);
  distributed(forSoftware(100));
  EXPECT_TRUE(result.fits);
  EXPECT_EQ(result.deficitContent, 0);
  storages.addRoot(flash, 0);
  storages.addRoot(card, plenty);
  distributed(forContent(100));
  EXPECT_TRUE(result.fits);
  EXPECT_EQ(result.deficitSoftware, 0);
}

TEST_F(UpdateDistributorTest, BothDeficitsAreToldWhenOneStorageIsTooSmall) {
  useCard();
  storages.addRoot(flash, reserveBytes + 50);
  std::vector<InstallUpdate> updates{forSoftware(100), forContent(mebibyte)};
  ASSERT_EQ(distribute(updates), 0);
  EXPECT_FALSE(result.fits);
  EXPECT_EQ(result.deficitSoftware, 50);
  EXPECT_EQ(result.deficitContent, reserveBytes + mebibyte - plenty);
  EXPECT_EQ(result.neededSoftware, 100);
  EXPECT_EQ(result.neededContent, mebibyte);
}

TEST_F(UpdateDistributorTest, ResultOfAnEarlierRunIsForgotten) {
  useFlashOnly();
  distributed(forSoftware(2 * plenty));
  EXPECT_FALSE(result.fits);
  distributed(forSoftware(1));
  EXPECT_TRUE(result.fits);
  EXPECT_EQ(result.deficitSoftware, 0);
}

TEST_F(UpdateDistributorTest, HostileSizesDoNotOverflow) {
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
  storages.addFile(flash + u"\\there", highest);
  storages.addFile(card + u"\\there", highest);
  for (const WideText& secondary : {WideText(), card})
    for (const std::int64_t size : {highest, lowest})
      for (const std::int64_t fileSize : {highest, lowest}) {
        ASSERT_EQ(distributor.setPaths(flash, secondary), 0);
        distributor.setExtraSpace(size, size);
        distributor.setTemporarySpace(fileSize, fileSize);
        std::vector<InstallUpdate> updates;
        for (InstallUpdate each : {forSoftware(size), forContent(size), forAny(size), forAny(size)}) {
          for (std::int32_t flag = 0; flag <= 9; ++flag)
            for (const WideText client : {u"there", u"none"})
              each.files.push_back(file(client, flag, fileSize));
          updates.push_back(each);
          updates.push_back(each);
        }
        EXPECT_EQ(distribute(updates), 0);
      }
}

TEST_F(UpdateDistributorTest, HugeUpdatesDoNotFit) {
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  useFlashOnly();
  std::vector<InstallUpdate> updates{forSoftware(highest, {file(u"a", installFile)}), forSoftware(highest)};
  EXPECT_EQ(distribute(updates), 0);
  EXPECT_FALSE(result.fits);
  EXPECT_EQ(result.neededSoftware, highest);
  EXPECT_EQ(result.deficitSoftware, highest - plenty);
}

TEST_F(UpdateDistributorTest, PathsThatLeaveTheRootAreFilesThatAreNotThere) {
  storages.addFile(u"M:\\secret", 500);
  storages.addFile(u"M:\\flash\\inside", 500);
  useCard();
  for (const WideText client : {u"..\\secret", u"../secret", u"x\\..\\..\\secret", u"\\inside", u"/inside",
                                u"M:\\secret", u"x\\..\\inside", u""}) {
    distributed(forSoftware(0, {file(client, deleteFile)}));
    EXPECT_EQ(result.neededSoftware, 0) << toUtf8(client);
    EXPECT_EQ(result.neededContent, 0) << toUtf8(client);
  }
  distributed(forSoftware(0, {file(u"inside", deleteFile)}));
  EXPECT_EQ(result.neededSoftware, -500);
}

TEST_F(UpdateDistributorTest, FoldersThatLeaveTheRootAreNotExpanded) {
  storages.addFile(u"M:\\outside\\secret", 500);
  storages.addFile(flash + u"\\maps\\a", 1);
  useCard();
  for (const WideText client :
       {u"..\\outside", u"../outside", u"M:\\outside", u"\\maps", u"maps\\..\\maps", u""})
    EXPECT_EQ(distributed(forSoftware(0, {file(client, deleteFolderTree)})).files.size(), 1U)
        << toUtf8(client);
}

TEST_F(UpdateDistributorTest, WithoutACardOnlyTheFlashIsLookedAt) {
  storages.addFile(flash + u"\\maps\\a.map", 1);
  useFlashOnly();
  storages.questions.clear();
  std::vector<InstallFile> list;
  for (std::int32_t flag = 0; flag <= 9; ++flag)
    for (const WideText client : {u"maps", u"maps\\a.map", u"tmp", u"etc/passwd"})
      list.push_back(file(client, flag));
  distributed(forContent(1, list));
  EXPECT_FALSE(storages.questions.empty());
  for (const WideText& asked : storages.questions) EXPECT_TRUE(asked.starts_with(flash)) << toUtf8(asked);
}

TEST_F(UpdateDistributorTest, EachFileIsAskedForOnceOnEachStorage) {
  useCard();
  storages.addFile(flash + u"\\b", 1);
  distributed(forSoftware(1, {file(u"a", installFile), file(u"b", replaceFileIfPresent),
                              file(u"c", installFileIfMissing), file(u"d", replaceFileIfPresent)}));
  for (const WideText& root : {flash, card})
    for (const WideText name : {u"a", u"b", u"c", u"d"})
      EXPECT_EQ(storages.looks[root + u"\\" + name], 1) << toUtf8(root + u"\\" + name);
}

TEST_F(UpdateDistributorTest, FolderDeletionBecomesDeletionsOfItsFilesThenItsFolders) {
  storages.addFile(flash + u"\\maps\\a.map", 10);
  storages.addFile(flash + u"\\maps\\old\\b.map", 20);
  storages.addFolder(flash + u"\\maps\\old\\empty");
  storages.addFile(flash + u"\\other\\c.map", 40);
  useFlashOnly();
  const InstallUpdate expanded =
      distributed(forSoftware(0, {file(u"maps", deleteFolderTree), file(u"new", installFile)}));
  std::vector<WideText> list = filesOf(expanded);
  ASSERT_EQ(list.size(), 6U);
  EXPECT_EQ(list[0], u"8 maps");
  EXPECT_EQ(list[1], u"0 new");
  std::sort(list.begin() + 2, list.begin() + 4);
  std::sort(list.begin() + 4, list.end());
  EXPECT_EQ((std::vector<WideText>(list.begin() + 2, list.end())),
            (std::vector<WideText>{u"4 maps\\a.map", u"4 maps\\old\\b.map", u"7 maps\\old",
                                   u"7 maps\\old\\empty"}));
  EXPECT_EQ(result.neededSoftware, cluster - 30);
}

TEST_F(UpdateDistributorTest, FilesOfAllDeletedFoldersComeBeforeTheirFolders) {
  storages.addFile(flash + u"\\a\\sub\\1", 1);
  storages.addFile(card + u"\\a\\sub\\2", 1);
  storages.addFile(flash + u"\\b\\sub\\3", 1);
  useCard();
  const InstallUpdate expanded =
      distributed(forSoftware(0, {file(u"a", deleteFolderTree), file(u"b", deleteFolderTree)}));
  EXPECT_EQ(filesOf(expanded),
            (std::vector<WideText>{u"8 a", u"8 b", u"4 a\\sub\\1", u"4 a\\sub\\2", u"4 b\\sub\\3",
                                   u"7 a\\sub", u"7 a\\sub", u"7 b\\sub"}));
}

TEST_F(UpdateDistributorTest, FolderOnNeitherStorageAddsNothing) {
  useCard();
  const InstallUpdate expanded = distributed(forSoftware(0, {file(u"maps", deleteFolderTree)}));
  EXPECT_EQ(filesOf(expanded), std::vector<WideText>{u"8 maps"});
}

TEST_F(UpdateDistributorTest, FileOfThatNameIsNoFolderToDelete) {
  storages.addFile(flash + u"\\maps", 10);
  useFlashOnly();
  EXPECT_EQ(distributed(forSoftware(0, {file(u"maps", deleteFolderTree)})).files.size(), 1U);
}

TEST_F(UpdateDistributorTest, SeparatorAtTheEndOfADeletedFolderIsNotRepeated) {
  storages.addFile(flash + u"\\maps\\a.map", 10);
  useFlashOnly();
  for (const WideText client : {u"maps/", u"maps\\", u"maps\\/"})
    EXPECT_EQ(filesOf(distributed(forSoftware(0, {file(client, deleteFolderTree)}))).back(),
              u"4 maps\\a.map");
}

TEST_F(UpdateDistributorTest, DeletedVersionFileTakesItsBackupAlongOnceForAnUpdate) {
  storages.addFile(flash + u"\\config\\1\\version.xml", 1);
  storages.addFile(flash + u"\\config\\2\\old.version.xml.txt", 1);
  storages.addFile(card + u"\\config\\1\\version.xml", 1);
  useCard();
  std::vector<InstallUpdate> updates{forSoftware(0, {file(u"config", deleteFolderTree)}),
                                     forSoftware(0, {file(u"config", deleteFolderTree)})};
  ASSERT_EQ(distribute(updates), 0);
  const WideText backup = u"4 .DeviceConfigurationBackupFile\\version_bkp";
  for (const InstallUpdate& expanded : updates) {
    const std::vector<WideText> list = filesOf(expanded);
    EXPECT_EQ(std::count(list.begin(), list.end(), backup), 1);
    EXPECT_EQ(list[2], backup);
  }
}

TEST_F(UpdateDistributorTest, VersionFileInAnotherCaseLeavesTheBackup) {
  storages.addFile(flash + u"\\config\\Version.xml", 1);
  useFlashOnly();
  EXPECT_EQ(filesOf(distributed(forSoftware(0, {file(u"config", deleteFolderTree)}))),
            (std::vector<WideText>{u"8 config", u"4 config\\Version.xml"}));
}

TEST_F(UpdateDistributorTest, FileThatAnotherUpdateWritesIsNotDeletedWhicheverComesFirst) {
  useFlashOnly();
  for (const std::int32_t writing : {installFile, installFileToo, replaceFileIfPresent})
    for (const bool deletingFirst : {true, false}) {
      const InstallUpdate deleting =
          forSoftware(0, {file(u"maps\\a.map", deleteFile), file(u"b", deleteFile)});
      const InstallUpdate writer = forSoftware(0, {file(u"MAPS/A.map", writing)});
      std::vector<InstallUpdate> updates{deletingFirst ? deleting : writer,
                                         deletingFirst ? writer : deleting};
      ASSERT_EQ(distribute(updates), 0);
      EXPECT_EQ(filesOf(updates[deletingFirst ? 0 : 1]), std::vector<WideText>{u"4 b"});
      EXPECT_EQ(updates[deletingFirst ? 1 : 0].files.size(), 1U);
    }
}

TEST_F(UpdateDistributorTest, FileThatIsWrittenUnderAnotherSpellingIsNotDeleted) {
  useFlashOnly();
  for (const WideText spelling :
       {u"maps//c.map", u"maps/./c.map", u"./maps\\c.map", u"Maps/C.map.", u"maps /c.map"})
    for (const std::int32_t writing : {installFile, installFileToo, replaceFileIfPresent})
      EXPECT_EQ(distributed(forSoftware(0, {file(u"maps/c.map", writing), file(spelling, deleteFile)}))
                    .files.size(),
                1U)
          << toUtf8(spelling);
}

TEST_F(UpdateDistributorTest, FileThatIsInstalledOnlyIfMissingIsStillDeleted) {
  useFlashOnly();
  EXPECT_EQ(filesOf(distributed(forSoftware(0, {file(u"a", installFileIfMissing), file(u"a", deleteFile)}))),
            (std::vector<WideText>{u"1 a", u"4 a"}));
}

TEST_F(UpdateDistributorTest, FileOfADeletedFolderThatIsWrittenStays) {
  storages.addFile(flash + u"\\maps\\a.map", 10);
  storages.addFile(flash + u"\\maps\\b.map", 20);
  useFlashOnly();
  EXPECT_EQ(filesOf(distributed(
                forSoftware(0, {file(u"maps", deleteFolderTree), file(u"maps/a.map", installFile, 10)}))),
            (std::vector<WideText>{u"8 maps", u"0 maps/a.map", u"4 maps\\b.map"}));
}

TEST_F(UpdateDistributorTest, FolderNamedOverAndOverDoesNotFillTheMemory) {
  constexpr int fileCount = 1000;
  for (int number = 0; number < fileCount; ++number)
    storages.addFile(flash + u"\\maps\\" + numberText(number), 1);
  InstallUpdate hostile = forSoftware(0, std::vector<InstallFile>(2000, file(u"maps", deleteFolderTree)));
  std::vector<InstallUpdate*> updates{&hostile};
  expandFolderDeletes(updates, flash, u"");
  EXPECT_EQ(hostile.files.size(), 2000 + maximalFolderDeleteEntries);
}

TEST_F(UpdateDistributorTest, FoldersThatWereSpelledOutAreNotSpelledOutAgain) {
  storages.addFile(flash + u"\\maps\\old\\a.map", 10);
  storages.addFile(flash + u"\\config\\version.xml", 20);
  useFlashOnly();
  std::vector<InstallUpdate> updates{
      forSoftware(100, {file(u"maps", deleteFolderTree), file(u"config", deleteFolderTree)})};
  ASSERT_EQ(distribute(updates), 0);
  const std::vector<WideText> expanded = filesOf(updates[0]);
  EXPECT_EQ(result.neededSoftware, 70);
  // What came meanwhile is none of the folder's files, and nothing counts twice.
  storages.addFile(flash + u"\\maps\\new.map", 40);
  ASSERT_EQ(distribute(updates), 0);
  EXPECT_EQ(filesOf(updates[0]), expanded);
  EXPECT_EQ(result.neededSoftware, 70);
}

// Packages of the older kind, which say nothing of where they go.
class OlderDistributionTest : public UpdateDistributorTest {
 protected:
  int distributeOlder(std::vector<InstallUpdate>& updates, std::int64_t total) {
    std::vector<InstallUpdate*> pointers;
    for (InstallUpdate& each : updates) pointers.push_back(&each);
    return distributor.distributeOlder(pointers, total, older);
  }
  void expectOlder(const OlderDistribution& expected) {
    EXPECT_EQ(older.storage, expected.storage);
    EXPECT_EQ(older.deficitSoftware, expected.deficitSoftware);
    EXPECT_EQ(older.deficitContent, expected.deficitContent);
    EXPECT_EQ(older.neededPrimary, expected.neededPrimary);
    EXPECT_EQ(older.neededSecondary, expected.neededSecondary);
  }

  std::vector<InstallUpdate> batch{update(1000)};
  OlderDistribution older;
};

TEST_F(OlderDistributionTest, WithoutPathsNothingIsDistributed) {
  batch[0].files = {file(u"maps", deleteFolderTree)};
  older.storage = 1;
  EXPECT_EQ(distributeOlder(batch, 1000), 1);
  expectOlder({});
  EXPECT_FALSE(batch[0].foldersAreExpanded);
}

TEST_F(OlderDistributionTest, UnknownFreeSpaceOfThePrimaryFailsWithoutAReport) {
  useCard();
  storages.remove(flash);
  EXPECT_EQ(distributeOlder(batch, 1000), -1);
  expectOlder({.storage = -1, .deficitSoftware = -1, .deficitContent = -1});
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(OlderDistributionTest, ThePrimaryComesFirstEvenIfTheCardHasMoreRoom) {
  useCard();
  storages.addRoot(flash, reserveBytes + 1000);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = 0, .neededPrimary = 1000});
}

TEST_F(OlderDistributionTest, AByteTooLittleOnThePrimaryMakesItTheCard) {
  useCard();
  storages.addRoot(flash, reserveBytes + 999);
  storages.addRoot(card, reserveBytes + 1000);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = 1, .neededSecondary = 1000});
}

TEST_F(OlderDistributionTest, AByteTooLittleOnBothFitsOnNeither) {
  useCard();
  storages.addRoot(flash, reserveBytes + 998);
  storages.addRoot(card, reserveBytes + 999);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = -1, .deficitSoftware = 2, .deficitContent = 1});
}

TEST_F(OlderDistributionTest, ACardWithoutAnyRoomHasNoDeficit) {
  useCard();
  storages.addRoot(flash, 0);
  storages.addRoot(card, 0);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = -1, .deficitSoftware = reserveBytes + 1000});
}

TEST_F(OlderDistributionTest, WithoutACardOnlyThePrimaryIsLookedAt) {
  useFlashOnly();
  storages.addRoot(flash, 0);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = -1, .deficitSoftware = reserveBytes + 1000});
  for (const WideText& asked : storages.questions) EXPECT_FALSE(asked.starts_with(card));
}

TEST_F(OlderDistributionTest, ACardThatGivesNoAnswerIsToldAndThePrimaryIsTaken) {
  useCard();
  storages.remove(card);
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = 0, .deficitContent = -1, .neededPrimary = 1000});
}

TEST_F(OlderDistributionTest, WhatIsReplacedOrDeletedComesBackOnEachStorageOfItsOwn) {
  storages.addFile(flash + u"\\a", 70);
  storages.addFile(card + u"\\a", 5);
  storages.addRoot(flash, reserveBytes);
  storages.addRoot(card, reserveBytes);
  for (const std::int32_t flag : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, -1}) {
    SCOPED_TRACE(flag);
    const bool counts = flag == 0 || flag == 2 || flag == 3 || flag == 4;
    useCard();
    std::vector<InstallUpdate> updates{update(0, {file(u"a", flag, 1'000'000), file(u"none", flag, 9)})};
    EXPECT_EQ(distributeOlder(updates, 1000), 0);
    expectOlder(
        {.storage = -1, .deficitSoftware = counts ? 930 : 1000, .deficitContent = counts ? 995 : 1000});
    EXPECT_EQ(distributeOlder(updates, 70), 0);
    expectOlder(counts ? OlderDistribution{.storage = 0, .neededPrimary = 0}
                       : OlderDistribution{.storage = -1, .deficitSoftware = 70, .deficitContent = 70});
    useFlashOnly();
    EXPECT_EQ(distributeOlder(updates, 1000), 0);
    expectOlder({.storage = -1, .deficitSoftware = counts ? 930 : 1000});
  }
}

TEST_F(OlderDistributionTest, ABatchOfReplacementsOfEqualSizeNeedsTheReserveAlone) {
  useFlashOnly();
  storages.addFile(flash + u"\\a", 1000);
  storages.addRoot(flash, reserveBytes);
  batch[0].files = {file(u"a", installFile, 1000)};
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  expectOlder({.storage = 0});
}

TEST_F(OlderDistributionTest, TheFileListsBecomeWhatIsGoingToHappen) {
  useFlashOnly();
  storages.addFile(flash + u"\\maps\\a.map", 10);
  storages.addFile(flash + u"\\maps\\b.map", 20);
  batch[0].files = {file(u"maps", deleteFolderTree), file(u"maps/a.map", installFile, 10)};
  for (int time = 1; time <= 2; ++time) {
    EXPECT_EQ(distributeOlder(batch, 1000), 0);
    EXPECT_EQ(filesOf(batch[0]), (std::vector<WideText>{u"8 maps", u"0 maps/a.map", u"4 maps\\b.map"}));
    expectOlder({.storage = 0, .neededPrimary = 970});
  }
  EXPECT_EQ(location(batch[0]), "");
}

TEST_F(OlderDistributionTest, HostileSizesDoNotOverflow) {
  useCard();
  constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(distributeOlder(batch, highest), 0);
  expectOlder({.storage = -1, .deficitSoftware = highest - plenty, .deficitContent = highest - plenty});
  EXPECT_EQ(distributeOlder(batch, std::numeric_limits<std::int64_t>::min()), 0);
  expectOlder({.storage = 0, .neededPrimary = std::numeric_limits<std::int64_t>::min()});
}

TEST_F(OlderDistributionTest, EachFileIsAskedForOnceOnEachStorage) {
  useCard();
  batch[0].files = {file(u"a", installFile), file(u"b", replaceFileIfPresent), file(u"c", deleteFile)};
  EXPECT_EQ(distributeOlder(batch, 1000), 0);
  for (const WideText& root : {flash, card})
    for (const WideText name : {u"a", u"b", u"c"})
      EXPECT_EQ(storages.looks[root + u"\\" + name], 1) << toUtf8(root + u"\\" + name);
}

// On a real disk, where there are links.
class UpdateDistributorDiskTest : public JobTest {
 protected:
  int distribute(InstallUpdate& one) { return distributor.distribute({&one}, result); }

  UpdateDistributor distributor;
  Distribution result;
};

TEST_F(UpdateDistributorDiskTest, WithoutACardAbsolutePathsOnTheComputerAreNotMeantByPathsOfAPackage) {
  makeFolder(path(u"flash"));
  writeFile(path(u"computer/private.txt"), "12345");
  ASSERT_EQ(distributor.setPaths(path(u"flash"), u""), 0);
  const WideText belowSystemRoot = path(u"computer").substr(1);
  InstallUpdate hostile = forContent(0, {file(belowSystemRoot, deleteFolderTree),
                                         file(belowSystemRoot + u"/private.txt", replaceFileIfPresent, 5)});
  ASSERT_EQ(distribute(hostile), 0);
  EXPECT_EQ(hostile.files.size(), 2U);
  EXPECT_EQ(hostile.neededPrimary, -5);
  EXPECT_EQ(hostile.clusterOverhead, 0);
}

TEST_F(UpdateDistributorDiskTest, SymbolicLinksAreNotFollowed) {
  makeFolder(path(u"flash/maps"));
  makeFolder(path(u"card"));
  writeFile(path(u"flash/maps/own.map"), "123");
  writeFile(path(u"computer/private.txt"), "12345");
  namespace fs = std::filesystem;
  const fs::path flashFolder = folder.native() / "flash";
  fs::create_directory_symlink(folder.native() / "computer", flashFolder / "link");
  fs::create_directory_symlink(folder.native() / "computer", flashFolder / "maps" / "link");
  fs::create_symlink(folder.native() / "computer" / "private.txt", flashFolder / "file.txt");
  ASSERT_EQ(distributor.setPaths(path(u"flash"), path(u"card")), 0);

  InstallUpdate deleting =
      forSoftware(0, {file(u"link\\private.txt", deleteFile), file(u"file.txt", deleteFile)});
  ASSERT_EQ(distribute(deleting), 0);
  EXPECT_EQ(result.neededSoftware, 0);

  InstallUpdate expanding =
      forSoftware(0, {file(u"link", deleteFolderTree), file(u"maps", deleteFolderTree)});
  ASSERT_EQ(distribute(expanding), 0);
  EXPECT_EQ(filesOf(expanding), (std::vector<WideText>{u"8 link", u"8 maps", u"4 maps\\own.map"}));
  EXPECT_EQ(result.neededSoftware, -3);

  InstallUpdate replacing = update(0, {file(u"link\\private.txt", deleteFile), file(u"file.txt", installFile),
                                       file(u"..\\x", deleteFile)});
  OlderDistribution older;
  ASSERT_EQ(distributor.distributeOlder({&replacing}, 8, older), 0);
  EXPECT_EQ(older.neededPrimary, 8);
}

TEST_F(UpdateDistributorTest, OfAStorageThatWillBeEmptiedNoFileCounts) {
  useCard();
  distributor.assumeEmptied();
  for (const WideText& root : {flash, card})
    for (const WideText name : {u"replaced", u"kept", u"deleted", u"folder\\inner"})
      storages.addFile(root + u'\\' + name, 7 * mebibyte);
  const InstallUpdate placed = distributed(
      forSoftware(10 * mebibyte, {file(u"replaced", 0, mebibyte), file(u"kept", 1, mebibyte),
                                  file(u"replaced", 3, mebibyte), file(u"deleted", 4), file(u"folder", 8)}));
  EXPECT_EQ(placed.neededPrimary, 9 * mebibyte);
  EXPECT_EQ(placed.clusterOverhead, 2 * cluster);
  EXPECT_EQ(result.neededSoftware, 9 * mebibyte + 2 * cluster);
  EXPECT_EQ(filesOf(placed),
            (std::vector<WideText>{u"0 replaced", u"1 kept", u"3 replaced", u"4 deleted", u"8 folder"}));
}

TEST_F(UpdateDistributorTest, AnOlderPackageWinsNothingBackFromAStorageThatWillBeEmptied) {
  useFlashOnly();
  distributor.assumeEmptied();
  storages.addFile(flash + u"\\a", 7 * mebibyte);
  InstallUpdate older = update(10 * mebibyte, {file(u"a", 0, mebibyte)});
  OlderDistribution whole;
  EXPECT_EQ(distributor.distributeOlder({&older}, 10 * mebibyte, whole), 0);
  EXPECT_EQ(whole.storage, 0);
  EXPECT_EQ(whole.neededPrimary, 10 * mebibyte);
}

TEST_F(UpdateDistributorTest, TheRoomOfAStorageThatWillBeEmptiedIsItsCapacity) {
  class HalfFull : public platform::ForwardingFileSystem {
   public:
    using ForwardingFileSystem::ForwardingFileSystem;
    bool space(const WideText&, platform::Space& space, platform::ErrorCode& error) override {
      space = {.capacity = 1000, .free = 400, .available = 300};
      error.clear();
      return true;
    }
  } halfFull(storages);
  useFileSystem(halfFull);
  useFlashOnly();
  std::int64_t bytes = 0;
  EXPECT_EQ(distributor.getRoom(flash, bytes), 0);
  EXPECT_EQ(bytes, 400);
  distributor.assumeEmptied();
  EXPECT_EQ(distributor.getRoom(flash, bytes), 0);
  EXPECT_EQ(bytes, 1000);
  EXPECT_EQ(distributor.getFreeSpace(flash, bytes), 0);
  EXPECT_EQ(bytes, 400);
  EXPECT_EQ(distributor.getRoom(u"M:\\nowhere", bytes), -1);
  EXPECT_EQ(distributor.getRoom(u"", bytes), -1);
}

TEST_F(UpdateDistributorTest, AStorageThatHasGoneIsFoundAlsoIfItWasToBeEmptied) {
  useCard();
  distributor.assumeEmptied();
  storages.before = [this](const WideText& asked) {
    if (asked == card) storages.remove(card);
  };
  std::vector<InstallUpdate> updates{forSoftware(mebibyte, {file(u"a", 0, mebibyte)})};
  EXPECT_EQ(distribute(updates), -1);
  expectReport(u"1249", u"Device disconnected error!!!");
}

}  // namespace
}  // namespace ZelmoraTevra
