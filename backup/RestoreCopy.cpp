#include "backup/RestoreCopy.h"

#include <optional>
#include <utility>
#include <vector>

#include "backup/RestoreChecks.h"
#include "core/ErrorReport.h"
#include "core/ProgressObserver.h"
#include "core/SyncStorages.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t blockBytes = 0x100000;

int failOnDestination(const WideText& destination, const RestoreTarget& target) {
  return fail(ErrorReport(1093, u"The destination file could not be create!")
                  .attribute(u"FILE", toForwardSlashes(destination))
                  .attribute(u"DRIVE", target.drive()));
}

int failOnCopy(const WideText& source) {
  return fail(ErrorReport(1094, u"An error occurred at the copy process!")
                  .attribute(u"FILE", toForwardSlashes(source)));
}

}  // namespace

int failOnSource(const WideText& backupFolder) {
  return fail(ErrorReport(1092, u"The source file could not be open!").pathAndDrive(backupFolder));
}

int failOnPlace(const WideText& backupFolder) {
  return fail(ErrorReport(1085, u"The backup xml is not valid!").pathAndDrive(backupFolder));
}

RestoreCopy::RestoreCopy(const WideText& backupFolder, const WideText& flashFolder,
                         const WideText& cardFolder)
    : backupFolder_(backupFolder),
      flashFolder_(flashFolder),
      cardFolder_(cardFolder),
      sources_(backupFolder),
      flash_(flashFolder, backupFolder),
      card_(cardFolder, backupFolder) {}

int RestoreCopy::run(const BackupFiles& files) {
  ProgressObserver& observer = ProgressObserver::instance();
  std::vector<ProgressEntry> entries;
  entries.reserve(files.size());
  for (const auto& [path, file] : files) entries.push_back({file.size, {}, {}});
  observer.load(std::move(entries));

  std::uint32_t index = 0;
  for (const auto& [path, file] : files) {
    observer.setPosition(index++);
    if (restore(file) != 0) return -1;
    // Nobody is shown the texts of a file that is done.
    observer.setTexts({}, {});
  }
  // The user pulls the cable as soon as success is told.
  if (syncStorages({flashFolder_, cardFolder_})) return 0;
  return failOnCopy(backupFolder_);
}

int RestoreCopy::restore(const BackupFileEntry& file) {
  const std::optional<StoragePlace> place = placeOnDevice(file.path);
  if (!place) return failOnPlace(backupFolder_);
  if (place->storage == Storage::flash) return restore(file, place->relativePath, flash_);
  if (cardFolder_.empty())
    return fail(ErrorReport(1084, u"This backup require that the card should be inserted!"));
  return restore(file, place->relativePath, card_);
}

int RestoreCopy::restore(const BackupFileEntry& file, const WideText& relativePath, RestoreTarget& target) {
  const std::optional<WideText> destination = target.makePlace(relativePath);
  const WideText told = target.textOf(relativePath);
  const WideText source = backupFolder_ + u'/' + file.path;
  ProgressObserver::instance().setTexts(source, told);
  if (!sources_.has(file.path)) return failOnSource(backupFolder_);
  if (!destination) return failOnDestination(told, target);
  switch (copyFile(source, *destination, {.blockBytes = blockBytes, .state = statRestoreInProgress})) {
    case CopyResult::done:
      return 0;
    case CopyResult::cannotOpenSource:
      return failOnSource(backupFolder_);
    case CopyResult::cannotCreateDestination:
      return failOnDestination(told, target);
    case CopyResult::failed:
      return failOnCopy(source);
    case CopyResult::aborted:
      break;
  }
  ProgressObserver::instance().reportAbort({});
  return -1;
}

}  // namespace ZelmoraTevra
