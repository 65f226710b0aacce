#include "install/CheckSizeRunner.h"

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/MoveMap.h"
#include "install/PackageDownload.h"

namespace ZelmoraTevra {

namespace {

struct AnswerCodes {
  int fits;
  NotEnoughSpaceCodes notEnoughSpace;
};

constexpr AnswerCodes locatedAnswers = {.fits = 1159,
                                        .notEnoughSpace = {.software = 1042, .content = 1270, .both = 1271}};
constexpr AnswerCodes olderAnswers = {.fits = 1160,
                                      .notEnoughSpace = {.software = 1044, .content = 1280, .both = 1281}};

bool exists(const WideText& root) {
  return Directory_new(root).exists();
}

}  // namespace

int CheckSizeRunner::init(const CommandRecord& record) {
  command_ = record;
  return 0;
}

int CheckSizeRunner::run() {
  const WideText& primary = command_.storageCardDriveLetter;
  const WideText& secondary = command_.secondDriveLetter;
  if (!storagesExist()) return -1;
  UpdateDistributor distributor;
  if (distributor.setPaths(primary, secondary) != 0) return -1;
  // An installation takes this away before it looks for room.
  distributor.setRoomToCome(moveMapFolderBytes(primary), moveMapFolderBytes(secondary));
  if (!downloadsFit(distributor)) return -1;

  collectUpdates();
  Distribution distribution;
  const int result = namesLocations_ ? sequence_.distribute(distributor, distribution)
                                     : sequence_.distributeWhole(distributor, distribution);
  if (result != 0) return -1;
  SpaceFigures figures = spaceFigures(distribution);
  distributor.getRoom(primary, figures.availableSoftware);
  distributor.getRoom(secondary, figures.availableContent);

  const AnswerCodes& codes = namesLocations_ ? locatedAnswers : olderAnswers;
  const bool fits = distribution.fits || canMoveMap(figures);
  // The search for a map may read whole ones, and has been cut off then.
  if (*StatusXml::instance().abortRequested()) {
    saveState(statAbort, 1020);
    return -1;
  }
  if (fits)
    reportFits(figures, codes.fits);
  else
    reportNotEnoughSpace(figures, codes.notEnoughSpace, primary, secondary, SpaceAfterwards::told);
  return 0;
}

bool CheckSizeRunner::storagesExist() const {
  const WideText& primary = command_.storageCardDriveLetter;
  const WideText& secondary = command_.secondDriveLetter;
  if (!primary.empty() && !exists(primary)) {
    ErrorReport(1066).save();
    return false;
  }
  if (!secondary.empty() && !exists(secondary)) {
    ErrorReport(1156, u"Storage card drive does not exists!").pathAndDrive(secondary).save();
    return false;
  }
  return true;
}

// A work folder of which nothing can be learned takes no download either.
bool CheckSizeRunner::downloadsFit(const UpdateDistributor& distributor) const {
  bool fits = false;
  if (distributor.checkTemporarySpace({downloadSize(command_.packages)}, fits) == 0 && fits) return true;
  ErrorReport(1016,
              u"The selected components would not fit to your temporary folder. Please delete files that are "
              u"no longer needed or select less components and then try again.")
      .pathAndDrive(userTempFolder)
      .save();
  return false;
}

void CheckSizeRunner::collectUpdates() {
  for (const ContentEntry& package : command_.packages) {
    if (package.installXml == nullptr || !package.installXml->isValid()) continue;
    sequence_.add(package, command_.localInstall);
    // As an installation tells them apart: by the first update.
    namesLocations_ = namesLocations_ || namesLocations(package);
  }
}

// Whether an installation could make the room that lacks on the main storage by moving a map to the card.
bool CheckSizeRunner::canMoveMap(const SpaceFigures& figures) const {
  if (command_.notRunMoveMap || command_.secondDriveLetter.empty() || figures.missingSoftware <= 0 ||
      figures.missingSoftware >= figures.availableContent)
    return false;
  writeLog(u"START CHECKING IF MOVE MAP CAN BE APPLY");
  MoveMap moveMap;
  moveMap.initialise(command_.storageCardDriveLetter, command_.secondDriveLetter, figures.missingSoftware);
  const WideText map = moveMap.findOptimalMap();
  writeLog(map.empty() ? u"MOVE MAP DOES NOT APPLY" : u"MOVE MAP CAN BE PERFORM. MAP: " + map);
  moveMap.reset();
  return !map.empty();
}

}  // namespace ZelmoraTevra
