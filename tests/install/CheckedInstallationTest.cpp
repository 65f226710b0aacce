#include <algorithm>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/CheckSizeRunner.h"
#include "install/InstallPackageRunner.h"
#include "install/InstallXml.h"
#include "install/MoveMap.h"
#include "platform/VolumeFileSystem.h"
#include "tests/platform/FixedVolumes.h"
#include "tests/support/InstallDescription.h"
#include "tests/support/JobTest.h"
#include "tests/support/UnsyncedFileSystem.h"
#include "tests/support/ZipBuilder.h"

namespace ZelmoraTevra {
namespace {

namespace fs = std::filesystem;

const std::vector<WideText> amountsBefore = {u"availableSpaceSoftwareStorage",
                                             u"availableSpaceContentStorage", u"neededSpaceSoftwareStorage",
                                             u"neededSpaceContentStorage"};
const std::vector<WideText> amountsAfterwards = {u"availableSpacePostInstSoftwareStorage",
                                                 u"availableSpacePostInstContentStorage"};

std::int64_t amount(const SavedStatus& status, const WideText& name) {
  return textToInt64(status.attributes.at(name));
}

bool isMapFile(const InstallFile& file) {
  return file.client.ends_with(u".map");
}

// What the codes of a check and of an installation have in common.
std::string shortage(const WideText& exitCode) {
  for (const auto& [codes, name] :
       {std::pair(std::vector<WideText>{u"1042", u"1044", u"1100", u"1107"}, "flash"),
        std::pair(std::vector<WideText>{u"1270", u"1280", u"1274", u"1278"}, "card"),
        std::pair(std::vector<WideText>{u"1271", u"1281", u"1275", u"1279"}, "both")})
    if (std::find(codes.begin(), codes.end(), exitCode) != codes.end()) return name;
  return "none: " + toUtf8(exitCode);
}

// A device on a simulated machine, and packages for it, made from a seed alone; they are checked first and
// then installed.
class CheckedInstallationTest : public JobTest {
 protected:
  // How often each kind of outcome came up.
  struct Tally {
    int fits = 0;
    int onCard = 0;  // an older package
    int tooLarge = 0;
    int movesMap = 0;
    int mapForbidden = 0;
    int cardTooSmallThen = 0;
  };

  CheckedInstallationTest() { useFileSystem(disk_); }

  void compare(unsigned seed, bool older) {
    SCOPED_TRACE("seed " + std::to_string(seed) + (older ? ", older" : ""));
    random_.seed(seed);
    older_ = older;
    makeDevice();
    makePackages();
    const bool forbidsMove = oneIn(8);

    CommandRecord checked = checkCommand(forbidsMove);
    SavedStatus told = run<CheckSizeRunner>(checked, 0);
    if (!oneIn(3)) {
      moveToTheEdge(told);
      checked = checkCommand(forbidsMove);
      told = run<CheckSizeRunner>(checked, 0);
    }
    const WideText map = mapFor(checked, told);
    const std::int64_t mapSize = map.empty() ? 0 : static_cast<std::int64_t>(fs::file_size(native(map)));
    const bool isTold = told.state == statFitsToTarget;
    const bool fitsAsItIs = isTold && amount(told, u"neededSpaceSoftwareStorage") == 0 &&
                            amount(told, u"neededSpaceContentStorage") == 0;

    if (oneIn(3)) leaveUnfinishedMaps();
    CommandRecord installed = command(u"INSTALL_PACKAGE", forbidsMove, packages_.size());
    bool succeeds = fitsAsItIs;
    if (isTold && !fitsAsItIs) {
      ASSERT_FALSE(map.empty());
      const bool forbidden = anyFile(checked, isMapFile);
      succeeds = !forbidden && cardHoldsBoth(checked, told, mapSize);
      ++(forbidden ? tally.mapForbidden : succeeds ? tally.movesMap : tally.cardTooSmallThen);
      const SavedStatus found = run<InstallPackageRunner>(installed, succeeds ? 0 : -1);
      ASSERT_EQ(fs::exists(native(map)), forbidden);
      if (forbidden) {
        ASSERT_EQ(found.state, statNotEnoughSpace);
        expectSameAmounts(told, found);
      } else if (!succeeds) {
        ASSERT_EQ(shortage(found.exitCode()), "card");
      } else {
        ASSERT_EQ(found.state, statSuccess);
        ASSERT_EQ(fs::file_size(native(u"F:" + map.substr(2))), static_cast<std::uintmax_t>(mapSize));
      }
    } else if (fitsAsItIs) {
      ++tally.fits;
      ASSERT_EQ(run<InstallPackageRunner>(installed, 0).state, statSuccess);
    } else {
      ++tally.tooLarge;
      const SavedStatus found = run<InstallPackageRunner>(installed, -1);
      ASSERT_EQ(found.state, statNotEnoughSpace);
      ASSERT_EQ(shortage(found.exitCode()), shortage(told.exitCode()));
      expectSameAmounts(told, found);
    }
    if (older_ && succeeds)
      expectStorageTold(told, installed, fitsAsItIs);
    else if (!older_)
      expectSamePlaces(checked, installed);
  }

  Tally tally;

 private:
  struct File {
    std::string local;
    std::string client;
    std::string content;
    int flag = 0;
  };
  struct Package {
    InstallDescription description;
    WideText zip;
    std::size_t zipSize = 0;
  };

  int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random_); }
  bool oneIn(int count) { return number(1, count) == 1; }
  std::string oneOf(const std::vector<std::string>& values) {
    return values[static_cast<std::size_t>(number(0, static_cast<int>(values.size()) - 1))];
  }
  std::string content(int most) { return std::string(static_cast<std::size_t>(number(1, most)), 'c'); }

  [[nodiscard]] fs::path native(const WideText& pathOnDrive) const {
    const std::string below = toUtf8(toForwardSlashes(pathOnDrive.substr(2)));
    return folder.native() / (pathOnDrive.starts_with(u"E") ? "flash" : "card") / below.substr(1);
  }

  void makeDevice() {
    for (const char* root : {"flash", "card"}) fs::remove_all(folder.native() / root);
    makeFolder(path(u"flash/ZELMORA"));
    makeFolder(path(u"card"));
    withCard_ = !oneIn(5);
    for (const WideText root : {u"flash/", u"card/"})
      for (const WideText file : {u"apps/a.bin", u"apps/b.bin", u"data/x", u"data/sub/y", u"z"})
        if (oneIn(3)) writeFile(path(root + file), content(60'000));
    std::vector<std::string> maps;
    for (const WideText map : {u"map/a.map", u"map/b.map", u"MAP/c.map"}) {
      if (oneIn(3)) continue;
      writeFile(path(u"flash/ZELMORA/" + map), content(150'000));
      maps.push_back("ZELMORA/" + toUtf8(map));
    }
    if (oneIn(6)) writeFile(path(u"card/ZELMORA/map/a.map"), "another map");
    if (oneIn(2))
      writeFile(path(u"flash/ZELMORA/updates.xml"),
                InstallDescription::registerOf(
                    {InstallDescription::registerEntry("Maps", "storage_for_software", maps)}));
    if (oneIn(3)) leaveUnfinishedMaps();
    setFree(reserveBytes + number(-80'000, 150'000), reserveBytes + number(-30'000, 300'000));
  }

  // What a move that was killed leaves; it goes before anybody looks for room.
  void leaveUnfinishedMaps() {
    for (const WideText root : {u"flash", u"card"})
      if (!oneIn(3))
        writeFile(path(root + u"/.TevraTemporaryLocation/temp_file_incomplete"), content(90'000));
  }

  static std::int64_t used(const fs::path& root) {
    std::int64_t sum = 0;
    for (const auto& entry : fs::recursive_directory_iterator(root))
      if (entry.is_regular_file()) sum += static_cast<std::int64_t>(entry.file_size());
    return sum;
  }
  void setFree(std::int64_t onFlash, std::int64_t onCard) {
    const auto volume = [this](char16_t letter, const char* root, std::int64_t free) {
      return platform::Volume{
          letter, path(toWide(root)), false,
          static_cast<std::uint64_t>(used(folder.native() / root) + std::max<std::int64_t>(free, 0))};
    };
    volumes_.set({volume(u'E', "flash", onFlash), volume(u'F', "card", onCard)});
  }
  // Gives the storages about the room that lacked: to a byte, or somewhat less.
  void moveToTheEdge(const SavedStatus& told) {
    const auto change = [this] { return oneIn(2) ? number(-1, 1) : number(-60'000, 0); };
    const auto sum = [&told](const WideText& storage) {
      return amount(told, u"availableSpace" + storage) + amount(told, u"neededSpace" + storage);
    };
    setFree(sum(u"SoftwareStorage") + change(), sum(u"ContentStorage") + change());
  }

  File randomFile(int index) {
    File file;
    file.local = "entry" + std::to_string(index);
    file.flag = std::stoi(oneOf({"0", "0", "1", "1", "2", "3", "3", "4", "8"}));
    file.client = file.flag == 8
                      ? oneOf({"data", "data/sub", "apps", "none"})
                      : oneOf({"apps/a.bin", "apps/b.bin", "apps/new.bin", "data/x", "data/sub/y", "z"});
    if (oneIn(25)) {
      file.client = file.flag == 8 ? "ZELMORA/map" : "apps/new.map";
    }
    file.content = file.flag == 4 || file.flag == 8 ? std::string() : content(60'000);
    return file;
  }
  void makePackages() {
    packages_.clear();
    for (int count = number(1, 3); count > 0; --count) {
      Package package;
      ZipBuilder zip;
      if (oneIn(4)) package.description.extraSpace(number(0, 50'000), number(0, 50'000));
      int entries = 0;
      for (int updates = number(1, 3); updates > 0; --updates) {
        std::vector<File> files;
        for (int more = number(1, 3); more > 0; --more) files.push_back(randomFile(entries++));
        std::int64_t size = 0;
        for (const File& file : files) size += static_cast<std::int64_t>(file.content.size());
        const std::string location =
            older_ ? ""
                   : oneOf({"storage_for_software", "storage_for_software", "storage_for_content", "any"});
        package.description.update("Update " + std::to_string(entries), location,
                                   oneIn(6) ? number(0, 200'000) : size, oneIn(5));
        for (const File& file : files) {
          package.description.file(file.local, file.client, file.content, file.flag);
          zip.add(file.local, file.content);
        }
      }
      package.zip = path(u"zips/" + numberText(count) + u".zip");
      package.zipSize = zip.bytes().size();
      writeFile(package.zip, zip.bytes());
      packages_.push_back(package);
    }
  }

  // Behind an older package nothing is installed, while a check counts all that it is given.
  [[nodiscard]] CommandRecord checkCommand(bool forbidsMove) const {
    return command(u"CHECK_SIZE", forbidsMove, older_ ? 1 : packages_.size());
  }
  // Of the first so many packages, with descriptions of its own, as a command of another job has.
  [[nodiscard]] CommandRecord command(const WideText& name, bool forbidsMove, std::size_t count) const {
    CommandRecord record;
    record.commandName = name;
    record.localInstall = true;
    record.notRunMoveMap = forbidsMove;
    record.storageCardDriveLetter = u"E:";
    if (withCard_) record.secondDriveLetter = u"F:";
    for (const Package& package : std::span(packages_).first(count)) {
      ContentEntry entry;
      entry.fileSize = package.zipSize;
      entry.url = package.zip;
      entry.installXml = std::make_shared<InstallXml>();
      EXPECT_EQ(entry.installXml->load(toWide(package.description.text())), 0);
      record.packages.push_back(entry);
    }
    return record;
  }
  template <typename Worker>
  SavedStatus run(const CommandRecord& record, int result) {
    Worker worker;
    EXPECT_EQ(worker.init(record), 0);
    EXPECT_EQ(worker.run(), result) << status().document;
    return status();
  }

  // The map that is to be moved, empty where none is needed.
  static WideText mapFor(const CommandRecord& checked, const SavedStatus& told) {
    const std::int64_t missing = amount(told, u"neededSpaceSoftwareStorage");
    if (told.state != statFitsToTarget || missing == 0) return {};
    MoveMap moveMap;
    moveMap.initialise(checked.storageCardDriveLetter, checked.secondDriveLetter, missing);
    return moveMap.findOptimalMap();
  }
  template <typename Condition>
  static bool anyFile(const CommandRecord& record, Condition condition) {
    return std::any_of(record.packages.begin(), record.packages.end(), [&](const ContentEntry& package) {
      const std::vector<InstallUpdate>& updates = package.installXml->getUpdates();
      return std::any_of(updates.begin(), updates.end(), [&](const InstallUpdate& update) {
        return std::any_of(update.files.begin(), update.files.end(), condition);
      });
    });
  }
  // Whether the card has room for a map and for what is to go there as well.
  [[nodiscard]] bool cardHoldsBoth(const CommandRecord& checked, const SavedStatus& told,
                                   std::int64_t mapSize) const {
    bool hasContent = false;
    std::int64_t margin = reserveBytes;
    for (const ContentEntry& package : checked.packages) {
      const std::vector<InstallUpdate>& updates = package.installXml->getUpdates();
      hasContent = hasContent || std::any_of(updates.begin(), updates.end(), [](const InstallUpdate& update) {
                     return update.locationContent;
                   });
      margin += package.installXml->extraSpaceContent() - package.installXml->temporarySpaceContent();
    }
    return !hasContent || amount(told, u"availableSpacePostInstContentStorage") - mapSize >= margin;
  }
  void expectSameAmounts(const SavedStatus& told, const SavedStatus& found) const {
    for (const WideText& name : amountsBefore)
      EXPECT_EQ(told.attributes.at(name), found.attributes.at(name)) << toUtf8(name);
    for (const WideText& name : amountsAfterwards) {
      if (!older_) {
        EXPECT_EQ(told.attributes.at(name), found.attributes.at(name)) << toUtf8(name);
      }
    }
  }
  static void expectSamePlaces(const CommandRecord& checked, const CommandRecord& installed) {
    for (std::size_t package = 0; package < checked.packages.size(); ++package) {
      const std::vector<InstallUpdate>& left = checked.packages[package].installXml->getUpdates();
      const std::vector<InstallUpdate>& right = installed.packages[package].installXml->getUpdates();
      for (std::size_t index = 0; index < left.size(); ++index) {
        EXPECT_EQ(left[index].locationSoftware, right[index].locationSoftware);
        EXPECT_EQ(left[index].locationContent, right[index].locationContent);
      }
    }
  }
  // An older package is placed on the storage whose room gets less by it; the main one where a map makes way.
  void expectStorageTold(const SavedStatus& told, const CommandRecord& installed, bool fitsAsItIs) {
    const auto changes = [&told](const WideText& name) {
      return amount(told, u"availableSpace" + name) != amount(told, u"availableSpacePostInst" + name);
    };
    const bool onCard = installed.packages.front().installXml->getUpdates().front().locationContent;
    if (onCard) ++tally.onCard;
    if (!fitsAsItIs) {
      EXPECT_FALSE(onCard);
    } else if (changes(u"SoftwareStorage") || changes(u"ContentStorage")) {
      EXPECT_EQ(onCard, changes(u"ContentStorage"));
    }
  }

  std::mt19937 random_;
  bool older_ = false;
  bool withCard_ = true;
  std::vector<Package> packages_;
  platform::FixedVolumes volumes_{{}};
  UnsyncedFileSystem native_{files()};
  platform::VolumeFileSystem disk_{native_, volumes_};
};

// The two exceptions for located packages are counted: a ".map" file among the updates, and a card that
// hasn't the room for a map and its content as well.
TEST_F(CheckedInstallationTest, ACheckTellsWhatTheInstallationFindsForLocatedPackages) {
  for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) compare(seed, false);
  EXPECT_GT(tally.fits, 50);
  EXPECT_GT(tally.tooLarge, 50);
  EXPECT_GT(tally.movesMap, 10);
  EXPECT_GT(tally.mapForbidden, 2);
  EXPECT_GT(tally.cardTooSmallThen, 5);
}

TEST_F(CheckedInstallationTest, ACheckTellsWhatTheInstallationFindsForAnOlderPackage) {
  for (unsigned seed = 1; seed <= 400 && !HasFailure(); ++seed) compare(seed, true);
  EXPECT_GT(tally.fits, 50);
  EXPECT_GT(tally.onCard, 20);
  EXPECT_GT(tally.tooLarge, 20);
  EXPECT_GT(tally.movesMap, 5);
  EXPECT_GT(tally.mapForbidden, 0);
  EXPECT_EQ(tally.cardTooSmallThen, 0);
}

}  // namespace
}  // namespace ZelmoraTevra
