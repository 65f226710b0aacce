#include <gmock/gmock.h>

#include <array>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "backup/RestoreChecks.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

BackupFiles filesOf(const std::vector<std::pair<WideText, std::int64_t>>& sizes) {
  BackupFiles files;
  for (const auto& [path, size] : sizes) files[path] = {path, static_cast<std::uint64_t>(size)};
  return files;
}

TEST(RestoreChecksTest, OnlyExactlyFalseIsAFullImage) {
  for (const auto& [text, isFull] : {std::pair<const char16_t*, bool>{u"false", true},
                                     {u"true", false},
                                     {u"", false},
                                     {u"FALSE", false},
                                     {u"0", false}}) {
    BackupDescription backup;
    backup.personalBackup = text;
    EXPECT_EQ(isFullImage(backup), isFull) << toUtf8(text);
  }
}

struct MatchRow {
  const char* what;
  // hardwareID, deviceUID, brand, platform
  std::array<const char16_t*, 4> backup;
  std::array<const char16_t*, 4> device;
  BackupMatch match;
};

BackupDescription descriptionOf(const std::array<const char16_t*, 4>& fields) {
  BackupDescription description;
  description.hardwareID = fields[0];
  description.deviceUID = fields[1];
  description.brand = fields[2];
  description.platform = fields[3];
  return description;
}

TEST(RestoreChecksTest, ABackupMatchesByItsIdentifiersOrElseByItsModel) {
  using enum BackupMatch;
  const MatchRow rows[] = {
      {"an unknown device takes any backup", {u"H", u"U", u"B", u"P"}, {u"", u"", u"", u""}, fits},
      {"an unknown device takes one without anything", {u"", u"", u"", u""}, {u"", u"", u"", u""}, fits},
      {"both are the same", {u"H", u"U", u"B", u"P"}, {u"H", u"U", u"B", u"P"}, fits},
      {"hardware differs", {u"H", u"U", u"B", u"P"}, {u"X", u"U", u"B", u"P"}, otherDevice},
      {"unit differs", {u"H", u"U", u"B", u"P"}, {u"H", u"X", u"B", u"P"}, otherDevice},
      {"both differ", {u"H", u"U", u"B", u"P"}, {u"X", u"X", u"B", u"P"}, otherDevice},
      {"hardware alone decides", {u"H", u"", u"B", u"P"}, {u"H", u"U", u"B", u"P"}, fits},
      {"hardware alone decides against", {u"H", u"", u"B", u"P"}, {u"X", u"U", u"B", u"P"}, otherDevice},
      {"unit alone decides", {u"", u"U", u"B", u"P"}, {u"H", u"U", u"B", u"P"}, fits},
      {"unit alone decides against", {u"", u"U", u"B", u"P"}, {u"H", u"X", u"B", u"P"}, otherDevice},
      {"an identifier excuses another model", {u"H", u"", u"B", u"P"}, {u"H", u"", u"X", u"X"}, fits},
      {"the device lacks hardware", {u"H", u"U", u"B", u"P"}, {u"", u"U", u"B", u"P"}, otherDevice},
      {"the device lacks the unit", {u"H", u"U", u"B", u"P"}, {u"H", u"", u"B", u"P"}, otherDevice},
      {"only the model of the device is known", {u"H", u"", u"B", u"P"}, {u"", u"", u"B", u"P"}, otherDevice},
      {"without identifiers the model counts", {u"", u"", u"B", u"P"}, {u"H", u"U", u"B", u"P"}, fits},
      {"without identifiers, other brand", {u"", u"", u"B", u"P"}, {u"H", u"U", u"X", u"P"}, otherModel},
      {"without identifiers, other platform", {u"", u"", u"B", u"P"}, {u"H", u"U", u"B", u"X"}, otherModel},
      {"a backup without anything", {u"", u"", u"", u""}, {u"", u"", u"B", u"P"}, otherModel},
      {"upper and lower case differ", {u"h", u"", u"B", u"P"}, {u"H", u"", u"B", u"P"}, otherDevice},
  };
  for (const MatchRow& row : rows)
    EXPECT_EQ(matchOf(descriptionOf(row.backup), descriptionOf(row.device)), row.match) << row.what;
}

TEST(RestoreChecksTest, TheVersionOfTheSoftwareIsNotCompared) {
  BackupDescription backup = descriptionOf({u"", u"", u"B", u"P"});
  BackupDescription device = backup;
  backup.version = u"1";
  device.version = u"2";
  EXPECT_EQ(matchOf(backup, device), BackupMatch::fits);
  // Nor does it make a device a known one.
  BackupDescription unknown;
  unknown.version = u"2";
  EXPECT_EQ(matchOf(backup, unknown), BackupMatch::fits);
}

TEST(RestoreChecksTest, OneFileForTheCardNeedsIt) {
  EXPECT_FALSE(needsCard({}));
  EXPECT_FALSE(needsCard(filesOf({{u"storage_for_software\\a", 1}})));
  EXPECT_TRUE(needsCard(filesOf({{u"storage_for_content\\a", 0}, {u"storage_for_software\\a", 1}})));
  EXPECT_TRUE(needsCard(filesOf({{u"storage_for_software\\storage_for_content", 0}})));
  EXPECT_FALSE(needsCard(filesOf({{u"STORAGE_FOR_CONTENT\\a", 0}})));
}

TEST(RestoreChecksTest, AFileHasItsPlaceBehindTheNameOfItsStorage) {
  struct Row {
    const char16_t* path;
    std::optional<std::pair<Storage, WideText>> place;
  };
  const auto flash = [](const char16_t* path) { return std::pair(Storage::flash, WideText(path)); };
  const auto card = [](const char16_t* path) { return std::pair(Storage::card, WideText(path)); };
  const Row rows[] = {
      {u"storage_for_software\\a\\b", flash(u"a\\b")},
      {u"storage_for_software/a/b", flash(u"a/b")},
      {u"storage_for_software\\\\a", flash(u"a")},
      {u"storage_for_content\\a", card(u"a")},
      {u"storage_for_software\\storage_for_content\\a", flash(u"storage_for_content\\a")},
      {u"storage_for_content\\storage_for_software", card(u"storage_for_software")},
      {u"x\\storage_for_software\\a", std::nullopt},
      {u"storage_for_software", std::nullopt},
      {u"storage_for_software\\", std::nullopt},
      {u"storage_for_softwareX\\a", std::nullopt},
      {u"storage_for_software.\\a", std::nullopt},
      {u"storage_for_software\\C:\\a", std::nullopt},
      {u"storage_for_software\\C:a", std::nullopt},
      {u"storage_for_software\\..\\a", std::nullopt},
      {u"storage_for_software\\a\\..\\..\\b", std::nullopt},
      {u"Storage_for_software\\a", std::nullopt},
      {u"", std::nullopt},
  };
  for (const Row& row : rows) {
    const std::optional<StoragePlace> place = placeOnDevice(row.path);
    ASSERT_EQ(place.has_value(), row.place.has_value()) << toUtf8(row.path);
    if (!place) continue;
    EXPECT_EQ(place->storage, row.place->first) << toUtf8(row.path);
    EXPECT_EQ(place->relativePath, row.place->second) << toUtf8(row.path);
  }
}

std::int64_t nothingPresent(Storage, const WideText&) {
  return 0;
}

TEST(RestoreChecksTest, TheNeedIsTheSumForEachStorage) {
  struct Row {
    const char* what;
    std::vector<std::pair<WideText, std::int64_t>> files;
    std::optional<std::pair<std::int64_t, std::int64_t>> need;
  };
  const Row rows[] = {
      {"nothing", {}, std::pair(0, 0)},
      {"flash alone", {{u"storage_for_software\\a", 3}, {u"storage_for_software\\b", 4}}, std::pair(7, 0)},
      {"both", {{u"storage_for_software\\a", 3}, {u"storage_for_content\\b", 4}}, std::pair(3, 4)},
      {"the name anywhere", {{u"x\\storage_for_software\\a", 3}}, std::pair(3, 0)},
      {"the card's name goes before", {{u"storage_for_software\\storage_for_content", 3}}, std::pair(0, 3)},
      {"neither name", {{u"storage_for_software\\a", 3}, {u"x\\a", 0}}, std::nullopt},
      {"the sum stays in the range",
       {{u"storage_for_software\\a", highest}, {u"storage_for_software\\b", highest}},
       std::pair(highest, 0)},
  };
  for (const Row& row : rows) {
    std::optional<StorageAmounts> need = needOf(filesOf(row.files), nothingPresent);
    ASSERT_EQ(need.has_value(), row.need.has_value()) << row.what;
    if (!need) continue;
    EXPECT_EQ(need->flash.value(), row.need->first) << row.what;
    EXPECT_EQ(need->card.value(), row.need->second) << row.what;
  }
}

TEST(RestoreChecksTest, WhatIsPresentIsLookedForBehindTheFirstSeparatorAndTakenOff) {
  std::vector<std::pair<Storage, WideText>> asked;
  const auto present = [&asked](Storage storage, const WideText& path) -> std::int64_t {
    asked.emplace_back(storage, path);
    return 10;
  };
  const std::optional<StorageAmounts> need = needOf(filesOf({{u"storage_for_content/a\\b", 25},
                                                             {u"storage_for_software\\a", 4},
                                                             {u"x/storage_for_software/c", 5}}),
                                                    present);
  ASSERT_TRUE(need);
  EXPECT_EQ(need->flash.value(), -11);
  EXPECT_EQ(need->card.value(), 15);
  EXPECT_THAT(asked, testing::ElementsAre(std::pair(Storage::card, WideText(u"a\\b")),
                                          std::pair(Storage::flash, WideText(u"a")),
                                          std::pair(Storage::flash, WideText(u"storage_for_software/c"))));
}

TEST(RestoreChecksTest, TheFirstStorageWithLessRoomThanIsNeededIsTold) {
  struct Row {
    const char* what;
    StorageAmounts need;
    StorageAmounts room;
    bool hasCard;
    std::optional<Storage> full;
  };
  const Row rows[] = {
      {"exact fit", {5, 7}, {5, 7}, true, std::nullopt},
      {"one byte more on the flash", {6, 7}, {5, 7}, true, Storage::flash},
      {"one byte more on the card", {5, 8}, {5, 7}, true, Storage::card},
      {"the flash goes first", {6, 8}, {5, 7}, true, Storage::flash},
      {"without a card its need doesn't count", {5, 8}, {5, 0}, false, std::nullopt},
      {"nothing into nothing", {0, 0}, {0, 0}, true, std::nullopt},
      {"less than nothing", {-3, 0}, {0, 0}, true, std::nullopt},
      {"a storage that tells no room", {0, 0}, {-1, 0}, true, Storage::flash},
      {"the ends of the range", {highest, highest}, {highest, highest - 1}, true, Storage::card},
  };
  for (const Row& row : rows)
    EXPECT_EQ(storageWithoutRoom(row.need, row.room, row.hasCard), row.full) << row.what;
}

}  // namespace

}  // namespace ZelmoraTevra
