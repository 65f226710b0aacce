#include "install/UpdateDistributor.h"

#include <algorithm>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/SaturatingInt64.h"
#include "install/FolderDeletes.h"
#include "install/UpdateMeter.h"

namespace ZelmoraTevra {

namespace {

void placeOnPrimary(InstallUpdate& update, SaturatingInt64& needPrimary) {
  needPrimary += SaturatingInt64(update.neededPrimary) + update.clusterOverhead;
  update.locationSoftware = true;
  update.locationContent = false;
  update.locationOther = false;
}

void placeOnSecondary(InstallUpdate& update, SaturatingInt64& needSecondary) {
  needSecondary += SaturatingInt64(update.neededSecondary) + update.clusterOverhead;
  update.locationSoftware = false;
  update.locationContent = true;
  update.locationOther = false;
}

}  // namespace

int UpdateDistributor::setPaths(const WideText& primary, const WideText& secondary) {
  initialized_ = !primary.empty();
  if (!initialized_) {
    ErrorReport(1045, u"The primary path provided to the update distributor is empty!").save();
    return -1;
  }
  primaryPath_ = primary;
  secondaryPath_ = secondary;
  return 0;
}

void UpdateDistributor::setRoomToCome(std::int64_t primary, std::int64_t secondary) {
  roomToComePrimary_ = primary;
  roomToComeSecondary_ = secondary;
}

void UpdateDistributor::setExtraSpace(std::int64_t software, std::int64_t content) {
  extraSpaceSoftware_ = software;
  extraSpaceContent_ = content;
}

void UpdateDistributor::setTemporarySpace(std::int64_t software, std::int64_t content) {
  temporarySpaceSoftware_ = software;
  temporarySpaceContent_ = content;
}

int UpdateDistributor::getFreeSpace(const WideText& path, std::int64_t& bytes) const {
  if (!initialized_ || path.empty()) return -1;
  const std::int64_t free = Directory_new(path).freeSpace();
  if (free < 0) return -1;
  bytes = free;
  return 0;
}

int UpdateDistributor::getRoom(const WideText& storage, std::int64_t& bytes) const {
  std::int64_t free = 0;
  if (getFreeSpace(storage, free) != 0) return -1;
  std::int64_t toCome = storage == primaryPath_ ? roomToComePrimary_ : roomToComeSecondary_;
  if (emptied_) {
    toCome = Directory_new(storage).size();
    if (toCome < 0) return -1;
  }
  bytes = (SaturatingInt64(free) + toCome).value();
  return 0;
}

int UpdateDistributor::checkTemporarySpace(const std::vector<std::int64_t>& sizes, bool& fits) const {
  SaturatingInt64 sum;
  for (const std::int64_t size : sizes) sum += size;
  std::int64_t free = 0;
  const int result = getFreeSpace(workTempFolder, free);
  fits = result == 0 && sum <= free;
  return result;
}

int UpdateDistributor::distribute(const std::vector<InstallUpdate*>& updates, Distribution& result) {
  result = Distribution();
  if (!initialized_) return 1;
  prepareFileLists(updates);
  Room room;
  if (!readRoom(room, result)) return -1;

  const bool hasSecondary = !secondaryPath_.empty();
  UpdateMeter meter(primaryPath_, secondaryPath_, emptied_);
  SaturatingInt64 needPrimary;
  SaturatingInt64 needSecondary;
  std::vector<InstallUpdate*> wherePossible;
  for (InstallUpdate* update : updates) {
    if (!meter.measure(*update)) {
      ErrorReport(1249, u"Device disconnected error!!!").save();
      return -1;
    }
    if (!update->hasLocation()) {
      ErrorReport(1046, u"!!!UNDEFINED BEHAVIOR!!!").save();
      return -1;
    }
    if (!hasSecondary)
      placeOnPrimary(*update, needPrimary);
    else if (update->locationContent)
      placeOnSecondary(*update, needSecondary);
    else if (update->locationSoftware)
      placeOnPrimary(*update, needPrimary);
    else
      wherePossible.push_back(update);
  }

  const SaturatingInt64 softwareLimit = meter.reclaimPrimary() + room.primary;
  const SaturatingInt64 contentLimit = meter.reclaimSecondary() + room.secondary;
  // What temporary updates give back may eat up the reserve, but no more than that.
  const SaturatingInt64 softwareMargin =
      SaturatingInt64(reserveBytes) + extraSpaceSoftware_ - std::min(temporarySpaceSoftware_, reserveBytes);
  const SaturatingInt64 contentMargin =
      SaturatingInt64(reserveBytes) + extraSpaceContent_ - std::min(temporarySpaceContent_, reserveBytes);
  for (InstallUpdate* update : wherePossible) {
    if (softwareMargin + update->clusterOverhead + update->neededPrimary + needPrimary < softwareLimit)
      placeOnPrimary(*update, needPrimary);
    else
      placeOnSecondary(*update, needSecondary);
  }

  const SaturatingInt64 softwareDemand = softwareMargin + needPrimary;
  const SaturatingInt64 contentDemand = contentMargin + needSecondary;
  const bool softwareFits = softwareDemand <= softwareLimit;
  const bool contentFits = contentDemand <= contentLimit;
  result.neededSoftware = (needPrimary - meter.reclaimPrimary()).value();
  if (!hasSecondary) {
    result.fits = softwareFits;
  } else {
    // A storage on which nothing is placed needn't have the reserve.
    result.fits = (softwareFits || needPrimary == 0) && (contentFits || needSecondary == 0);
    result.neededContent = (needSecondary - meter.reclaimSecondary()).value();
  }
  if (result.fits) return 0;
  result.deficitSoftware = (softwareDemand - softwareLimit).value();
  if (hasSecondary) result.deficitContent = (contentDemand - contentLimit).value();
  return 0;
}

int UpdateDistributor::distributeOlder(const std::vector<InstallUpdate*>& updates, std::int64_t total,
                                       OlderDistribution& result) {
  result = OlderDistribution();
  if (!initialized_) return 1;
  prepareFileLists(updates);
  Room room;
  if (!readRoom(room, result)) return -1;

  UpdateMeter meter(primaryPath_, secondaryPath_, emptied_);
  for (const InstallUpdate* update : updates) meter.reclaim(*update);
  const SaturatingInt64 demand = SaturatingInt64(reserveBytes) + total;
  const SaturatingInt64 softwareLimit = meter.reclaimPrimary() + room.primary;
  const SaturatingInt64 contentLimit = meter.reclaimSecondary() + room.secondary;
  if (demand <= softwareLimit) {
    result.storage = 0;
    result.neededPrimary = (SaturatingInt64(total) - meter.reclaimPrimary()).value();
  } else if (!secondaryPath_.empty() && demand <= contentLimit) {
    result.storage = 1;
    result.neededSecondary = (SaturatingInt64(total) - meter.reclaimSecondary()).value();
  } else {
    result.deficitSoftware = (demand - softwareLimit).value();
    if (room.secondary != 0) result.deficitContent = (demand - contentLimit).value();
  }
  return 0;
}

void UpdateDistributor::prepareFileLists(const std::vector<InstallUpdate*>& updates) const {
  if (!emptied_) expandFolderDeletes(updates, primaryPath_, secondaryPath_);
  dropRedundantDeletes(updates);
}

template <typename Result>
bool UpdateDistributor::readRoom(Room& room, Result& result) const {
  if (getRoom(primaryPath_, room.primary) != 0) {
    result.deficitSoftware = -1;
    result.deficitContent = -1;
    return false;
  }
  if (!secondaryPath_.empty() && getRoom(secondaryPath_, room.secondary) != 0) result.deficitContent = -1;
  return true;
}

}  // namespace ZelmoraTevra
