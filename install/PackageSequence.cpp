#include "install/PackageSequence.h"

#include "install/IUpdateZipDownloader.h"

namespace ZelmoraTevra {

void PackageSequence::add(const ContentEntry& package, bool localInstall) {
  InstallXml& description = *package.installXml;
  extraSpaceSoftware_ += description.extraSpaceSoftware();
  extraSpaceContent_ += description.extraSpaceContent();
  temporarySpaceSoftware_ += description.temporarySpaceSoftware();
  temporarySpaceContent_ += description.temporarySpaceContent();

  const WideText zip = localInstall ? package.url : downloadedFilePath(package.url);
  for (InstallUpdate& update : description.getUpdates()) {
    update.localSource = zip;
    updateSize_ += update.updateSize;
    updates_.push_back(&update);
  }
}

int PackageSequence::distribute(UpdateDistributor& distributor, Distribution& result) const {
  distributor.setExtraSpace(extraSpaceSoftware_.value(), extraSpaceContent_.value());
  distributor.setTemporarySpace(temporarySpaceSoftware_.value(), temporarySpaceContent_.value());
  return distributor.distribute(updates_, result);
}

int PackageSequence::distributeWhole(UpdateDistributor& distributor, Distribution& result) const {
  OlderDistribution whole;
  const int distributed = distributor.distributeOlder(updates_, updateSize_.value(), whole);
  result = {.fits = whole.storage >= 0,
            .deficitSoftware = whole.deficitSoftware,
            .deficitContent = whole.deficitContent,
            .neededSoftware = whole.neededPrimary,
            .neededContent = whole.neededSecondary};
  if (distributed != 0) return distributed;
  for (InstallUpdate* update : updates_) {
    update->locationSoftware = whole.storage == 0;
    update->locationContent = whole.storage == 1;
  }
  return 0;
}

bool namesLocations(const ContentEntry& package) {
  return package.installXml->getUpdates().front().hasLocation();
}

}  // namespace ZelmoraTevra
