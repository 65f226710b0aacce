#include "install/UpdateMeter.h"

#include <algorithm>

#include "install/PlacingMark.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t clusterBytes = 32'768;

// What a file wastes in its last cluster. One that fills its clusters exactly counts as wasting a whole one.
std::int64_t slack(const InstallFile& file) {
  return clusterBytes - file.fileSize % clusterBytes;
}

}  // namespace

bool UpdateMeter::measure(InstallUpdate& update) {
  Need need{update.updateSize, update.updateSize, 0};
  bool missesOnPrimary = false;
  bool missesOnSecondary = false;
  for (const InstallFile& file : update.files) {
    std::int64_t onPrimary = primary_.sizeOf(file.client);
    std::int64_t onSecondary = secondary_.isNamed() ? secondary_.sizeOf(file.client) : -1;
    missesOnPrimary = missesOnPrimary || onPrimary < 0;
    missesOnSecondary = missesOnSecondary || (secondary_.isNamed() && onSecondary < 0);
    completeUnfinished(file, onPrimary, onSecondary);
    if (secondary_.isNamed())
      measureOnBoth(file, onPrimary, onSecondary, need);
    else
      measureOnPrimary(file, onPrimary, need);
  }
  // On a storage that has gone every file is missing. One look for each update tells the two apart.
  if (missesOnPrimary && !primary_.isPresent()) return false;
  if (missesOnSecondary && !secondary_.isPresent()) return false;

  update.neededPrimary = need.primary.value();
  update.neededSecondary = need.secondary.value();
  update.clusterOverhead = need.overhead.value();
  return true;
}

void UpdateMeter::reclaim(const InstallUpdate& update) {
  for (const InstallFile& file : update.files) {
    if (file.updateFlag != installFile && file.updateFlag != installFileToo &&
        file.updateFlag != replaceFileIfPresent && file.updateFlag != deleteFile)
      continue;
    reclaimPrimary_ += std::max<std::int64_t>(primary_.sizeOf(file.client), 0);
    if (secondary_.isNamed()) reclaimSecondary_ += std::max<std::int64_t>(secondary_.sizeOf(file.client), 0);
  }
}

// The installer places such a file: of one with flag 1 what is there is overwritten, one with flag 3 has lost
// its copies but counts as there.
void UpdateMeter::completeUnfinished(const InstallFile& file, std::int64_t& onPrimary,
                                     std::int64_t& onSecondary) {
  const auto isMarked = [&file](StorageFiles& storage) {
    return storage.isNamed() && storage.sizeOf(placingMarkOf(file.client)) >= 0;
  };
  if (file.updateFlag == installFileIfMissing) {
    if (onPrimary >= 0 && isMarked(primary_)) {
      reclaimPrimary_ += onPrimary;
      onPrimary = -1;
    }
    if (onSecondary >= 0 && isMarked(secondary_)) {
      reclaimSecondary_ += onSecondary;
      onSecondary = -1;
    }
  } else if (file.updateFlag == replaceFileIfPresent && onPrimary < 0 && onSecondary < 0 &&
             (isMarked(primary_) || isMarked(secondary_))) {
    onPrimary = 0;
  }
}

void UpdateMeter::measureOnPrimary(const InstallFile& file, std::int64_t present, Need& need) {
  const bool exists = present >= 0;
  switch (file.updateFlag) {
    case installFile:
    case installFileToo:
      need.overhead += slack(file);
      if (exists) reclaimPrimary_ += present;
      break;
    case installFileIfMissing:
      if (exists)
        need.primary -= file.fileSize;
      else
        need.overhead += slack(file);
      break;
    case replaceFileIfPresent:
      // Unlike with two storages, the file that goes is room that comes back.
      if (exists) {
        need.overhead += slack(file);
        reclaimPrimary_ += present;
      } else {
        need.primary -= file.fileSize;
      }
      break;
    case deleteFile:
      if (exists) reclaimPrimary_ += present;
      break;
    default:
      break;
  }
}

void UpdateMeter::measureOnBoth(const InstallFile& file, std::int64_t onPrimary, std::int64_t onSecondary,
                                Need& need) {
  const bool existsOnPrimary = onPrimary >= 0;
  const bool existsOnSecondary = onSecondary >= 0;
  switch (file.updateFlag) {
    case installFile:
    case installFileToo:
    case deleteFile:
      if (file.updateFlag != deleteFile) need.overhead += slack(file);
      if (existsOnPrimary) reclaimPrimary_ += onPrimary;
      if (existsOnSecondary) reclaimSecondary_ += onSecondary;
      break;
    case installFileIfMissing:
      if (!existsOnPrimary || !existsOnSecondary) need.overhead += slack(file);
      if (existsOnPrimary) need.primary -= file.fileSize;
      if (existsOnSecondary) need.secondary -= file.fileSize;
      break;
    case replaceFileIfPresent:
      if (existsOnPrimary) need.primary -= onPrimary;
      if (existsOnSecondary) need.secondary -= onSecondary;
      if (existsOnPrimary || existsOnSecondary) {
        need.overhead += slack(file);
      } else {
        need.primary -= file.fileSize;
        need.secondary -= file.fileSize;
      }
      break;
    default:
      break;
  }
}

}  // namespace ZelmoraTevra
