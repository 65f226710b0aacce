#include <algorithm>
#include <random>
#include <string>
#include <tuple>

#include "core/Text.h"
#include "install/UpdateDistributor.h"
#include "tests/install/MemoryStorages.h"
#include "tests/install/PlainDistribution.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

const WideText primaryRoot = u"M:\\flash";
const WideText secondaryRoot = u"M:\\card";

// A device, a batch and what is asked for, made from a seed alone.
class RandomLayout {
 public:
  RandomLayout(unsigned seed, bool withCard) : random_(seed) {
    primary = randomStorage();
    secondary = randomStorage();
    secondary.named = withCard;
    if (oneIn(60))
      secondary = PlainStorage{.named = withCard, .present = false, .free = 0, .files = {}, .folders = {}};
    if (oneIn(200))
      primary = PlainStorage{.named = true, .present = false, .free = 0, .files = {}, .folders = {}};
    if (oneIn(3)) margins = {randomSize(), randomSize(), randomSize() * 4, randomSize() * 4};
    const int count = number(0, 5);
    for (int index = 0; index < count; ++index) updates.push_back(randomUpdate());
    for (const InstallUpdate& update : updates) total += update.updateSize;
    if (oneIn(2)) moveToTheEdge();
  }

  // The same of a package that names no locations.
  void makeOlder() {
    for (InstallUpdate& update : updates)
      update.locationContent = update.locationSoftware = update.locationOther = false;
    if (!oneIn(2)) return;
    std::vector<InstallUpdate> copies = updates;
    primary.free = 0;
    secondary.free = 1;
    const OlderDistribution told = plainOlderDistribution(copies, total, primary, secondary).distribution;
    primary.free = std::max<std::int64_t>(0, told.deficitSoftware + number(-1, 1));
    secondary.free = std::max<std::int64_t>(0, told.deficitContent + number(-1, 2));
  }

  PlainStorage primary;
  PlainStorage secondary;
  PlainMargins margins;
  std::vector<InstallUpdate> updates;
  std::int64_t total = 0;

 private:
  int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random_); }
  bool oneIn(int count) { return number(1, count) == 1; }
  template <typename Value>
  Value oneOf(const std::vector<Value>& values) {
    return values[static_cast<std::size_t>(number(0, static_cast<int>(values.size()) - 1))];
  }

  std::int64_t randomSize() {
    switch (number(0, 3)) {
      case 0:
        return oneOf<std::int64_t>({0, 1, 32'767, 32'768, 32'769, 65'536});
      case 1:
        return number(0, 200'000);
      default:
        return number(0, 5'000'000);
    }
  }

  PlainStorage randomStorage() {
    PlainStorage storage;
    storage.free = number(0, 60'000'000);
    for (const WideText folder : {u"maps", u"maps\\old", u"maps\\old\\empty", u"config", u"config\\software"})
      if (oneIn(2)) addFolder(storage, folder);
    for (const WideText path :
         {u"a", u"B", u"maps\\a.map", u"maps\\b.map", u"maps\\old\\c.map", u"config\\software\\version.xml",
          u"config\\version.xml.bak", u".DeviceConfigurationBackupFile\\version_bkp"})
      if (oneIn(2)) {
        const WideText parent = parentFolder(path);
        if (!parent.empty()) addFolder(storage, parent);
        storage.files[path] = randomSize();
      }
    return storage;
  }

  static void addFolder(PlainStorage& storage, const WideText& folder) {
    storage.folders.insert(folder);
    const WideText parent = parentFolder(folder);
    if (!parent.empty()) addFolder(storage, parent);
  }

  InstallFile randomFile() {
    InstallFile file;
    file.local = u"entry";  // those that a distribution adds have none
    file.updateFlag = oneOf<std::int32_t>({0, 0, 1, 1, 2, 3, 3, 4, 4, 7, 8, 9});
    file.fileSize = randomSize();
    file.client =
        file.updateFlag == 7 || file.updateFlag == 8
            ? oneOf<WideText>(
                  {u"maps", u"maps/", u"maps\\old", u"maps/old", u"config", u"none", u"..", u"a", u"\\maps"})
            : oneOf<WideText>({u"a", u"B", u"b", u"maps\\a.map", u"maps/a.map", u"MAPS\\A.MAP",
                               u"maps\\b.map", u"maps/old/c.map", u"config/software/version.xml", u"new",
                               u"maps\\new.map", u"..\\secret", u"/a", u"M:\\secret", u"maps"});
    return file;
  }

  InstallUpdate randomUpdate() {
    InstallUpdate update;
    const int count = number(0, 7);
    for (int index = 0; index < count; ++index) update.files.push_back(randomFile());
    for (const InstallFile& file : update.files) update.updateSize += file.fileSize;
    if (oneIn(4)) update.updateSize = randomSize();
    const int location = number(0, 60);
    update.locationContent = location % 3 == 0 && location != 0;
    update.locationSoftware = location % 3 == 1;
    update.locationOther = location % 3 == 2;
    return update;
  }

  // Gives the storages just the room that the batch needs, or a byte more or less.
  void moveToTheEdge() {
    std::vector<InstallUpdate> copies = updates;
    primary.free = 0;
    secondary.free = 0;
    const Distribution told = plainDistribution(copies, primary, secondary, margins).distribution;
    primary.free = std::max<std::int64_t>(0, told.deficitSoftware + number(-1, 1));
    secondary.free = std::max<std::int64_t>(0, told.deficitContent + number(-1, 1));
  }

  std::mt19937 random_;
};

void build(MemoryStorages& disk, const WideText& root, const PlainStorage& storage) {
  if (!storage.present) return;
  disk.addRoot(root, storage.free);
  for (const WideText& folder : storage.folders) disk.addFolder(root + u'\\' + folder);
  for (const auto& [path, size] : storage.files) disk.addFile(root + u'\\' + path, size);
}

void build(MemoryStorages& disk, const RandomLayout& layout, bool withCard) {
  disk.addFile(u"M:\\secret", 1'000'000);
  build(disk, primaryRoot, layout.primary);
  if (withCard) build(disk, secondaryRoot, layout.secondary);
}

using FileTuple = std::tuple<WideText, std::int32_t, std::int64_t>;

// In the order of the list, but for the order in which a folder is listed: that is the file system's. So the
// files that a folder's deletion has added are sorted, and the folders behind them.
std::vector<FileTuple> filesOf(const InstallUpdate& update) {
  std::vector<FileTuple> files;
  for (const InstallFile& file : update.files)
    files.emplace_back(file.client, file.updateFlag, file.fileSize);
  const std::vector<InstallFile>& list = update.files;
  const auto added =
      std::find_if(list.begin(), list.end(), [](const InstallFile& file) { return file.local.empty(); });
  const auto folders = std::find_if(
      added, list.end(), [](const InstallFile& file) { return file.updateFlag == deleteFolderIfEmpty; });
  std::sort(files.begin() + (added - list.begin()), files.begin() + (folders - list.begin()));
  std::sort(files.begin() + (folders - list.begin()), files.end());
  return files;
}

auto figures(const Distribution& result) {
  return std::make_tuple(result.fits, result.deficitSoftware, result.deficitContent, result.neededSoftware,
                         result.neededContent);
}

auto placement(const InstallUpdate& update) {
  return std::make_tuple(update.locationSoftware, update.locationContent, update.locationOther,
                         update.neededPrimary, update.neededSecondary, update.clusterOverhead);
}

auto figures(const OlderDistribution& result) {
  return std::make_tuple(result.storage, result.deficitSoftware, result.deficitContent, result.neededPrimary,
                         result.neededSecondary);
}

class RandomDistributionTest : public JobTest {
 protected:
  void compare(unsigned seed, bool withCard) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomLayout layout(seed, withCard);
    std::vector<InstallUpdate> expectedUpdates = layout.updates;
    const PlainAnswer expected =
        plainDistribution(expectedUpdates, layout.primary, layout.secondary, layout.margins);

    MemoryStorages disk(files());
    build(disk, layout, withCard);
    useFileSystem(disk);
    UpdateDistributor distributor;
    ASSERT_EQ(distributor.setPaths(primaryRoot, withCard ? secondaryRoot : WideText()), 0);
    distributor.setExtraSpace(layout.margins.extraSpaceSoftware, layout.margins.extraSpaceContent);
    distributor.setTemporarySpace(layout.margins.temporarySpaceSoftware,
                                  layout.margins.temporarySpaceContent);
    std::vector<InstallUpdate*> updates;
    for (InstallUpdate& update : layout.updates) updates.push_back(&update);
    const std::size_t reports = statusHistory().size();
    Distribution result;
    ASSERT_EQ(distributor.distribute(updates, result), expected.result);

    const int exitCode =
        statusHistory().size() > reports ? textToInteger(statusHistory().back().exitCode()) : 0;
    ASSERT_EQ(exitCode, expected.exitCode);
    ASSERT_EQ(figures(result), figures(expected.distribution));
    for (std::size_t index = 0; index < expectedUpdates.size(); ++index) {
      ASSERT_EQ(filesOf(layout.updates[index]), filesOf(expectedUpdates[index])) << "update " << index;
      if (expected.result == 0) {
        ASSERT_EQ(placement(layout.updates[index]), placement(expectedUpdates[index])) << "update " << index;
      }
    }
    ++(expected.result != 0 ? failures : result.fits ? fitting : tooLarge);
  }

  void compareOlder(unsigned seed, bool withCard) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomLayout layout(seed, withCard);
    layout.makeOlder();
    std::vector<InstallUpdate> expectedUpdates = layout.updates;
    const PlainOlderAnswer expected =
        plainOlderDistribution(expectedUpdates, layout.total, layout.primary, layout.secondary);

    MemoryStorages disk(files());
    build(disk, layout, withCard);
    useFileSystem(disk);
    UpdateDistributor distributor;
    ASSERT_EQ(distributor.setPaths(primaryRoot, withCard ? secondaryRoot : WideText()), 0);
    std::vector<InstallUpdate*> updates;
    for (InstallUpdate& update : layout.updates) updates.push_back(&update);
    OlderDistribution result;
    ASSERT_EQ(distributor.distributeOlder(updates, layout.total, result), expected.result);
    ASSERT_EQ(figures(result), figures(expected.distribution));
    for (std::size_t index = 0; index < expectedUpdates.size(); ++index) {
      ASSERT_EQ(filesOf(layout.updates[index]), filesOf(expectedUpdates[index])) << "update " << index;
      ASSERT_FALSE(layout.updates[index].hasLocation());
    }
    // A second distribution finds the same.
    ASSERT_EQ(distributor.distributeOlder(updates, layout.total, result), expected.result);
    ASSERT_EQ(figures(result), figures(expected.distribution));
    ++(expected.result != 0 ? failures : result.storage >= 0 ? fitting : tooLarge);
    if (result.storage == 1) ++onCard;
  }

  template <typename Comparison>
  void compareMany(Comparison compareOne) {
    for (unsigned seed = 1; seed <= 4000 && !HasFatalFailure(); ++seed) compareOne(seed);
    // The layouts are worth their name only if all answers come up often.
    EXPECT_GT(fitting, 500);
    EXPECT_GT(tooLarge, 500);
    EXPECT_GT(failures, 10);
  }

  int fitting = 0;
  int tooLarge = 0;
  int failures = 0;
  int onCard = 0;
};

TEST_F(RandomDistributionTest, AgreesWithThePlainOneOnThousandsOfDevicesWithoutACard) {
  compareMany([this](unsigned seed) { compare(seed, false); });
  EXPECT_GT(failures, 50);
}

TEST_F(RandomDistributionTest, AgreesWithThePlainOneOnThousandsOfDevicesWithACard) {
  compareMany([this](unsigned seed) { compare(seed, true); });
  EXPECT_GT(failures, 50);
}

TEST_F(RandomDistributionTest, AgreesWithThePlainOneForOlderPackagesWithoutACard) {
  compareMany([this](unsigned seed) { compareOlder(seed, false); });
  EXPECT_EQ(onCard, 0);
}

TEST_F(RandomDistributionTest, AgreesWithThePlainOneForOlderPackagesWithACard) {
  compareMany([this](unsigned seed) { compareOlder(seed, true); });
  EXPECT_GT(onCard, 100);
}

}  // namespace
}  // namespace ZelmoraTevra
