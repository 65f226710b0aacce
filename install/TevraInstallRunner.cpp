#include "install/TevraInstallRunner.h"

#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "install/IUpdateZipDownloader.h"
#include "install/PackageDownload.h"
#include "install/UpdateDistributor.h"
#include "install/UpdateZipExtractor.h"

namespace ZelmoraTevra {

int TevraInstallRunner::init(const CommandRecord& record) {
  command_ = record;
  if (!record.packages.empty()) package_ = record.packages.front();
  return 0;
}

int TevraInstallRunner::run() {
  return runTevraInstall() ? 0 : -1;
}

bool TevraInstallRunner::runTevraInstall() {
  UpdateDistributor distributor;
  if (distributor.setPaths(workTempFolder, {}) != 0) return false;
  std::int64_t free = 0;
  distributor.getFreeSpace(workTempFolder, free);
  const SaturatingInt64 needed = SaturatingInt64(static_cast<std::int64_t>(package_.fileSize)) +
                                 static_cast<std::int64_t>(package_.fileSizeUncompressed);
  if (free < needed.value()) {
    ErrorReport(1043).percent(104).pathAndDrive(userTempFolder).size(needed.value()).save();
    return false;
  }

  ProgressObserver::destroy();
  ProgressObserver::instance().load({{package_.fileSize, {}, {}, 0}});
  WideText zip = package_.url;
  if (!command_.localInstall) {
    if (!downloadPackage(package_, command_)) return false;
    zip = downloadedFilePath(package_.url);
  }
  UpdateZipExtractor extractor;
  const WideText extracted = extractor.extractFirstEntry(zip);
  if (extracted.empty()) return false;

  // A zip that the user keeps on the own disk isn't ours to delete; a download that stays is only in the way.
  if (!command_.localInstall) static_cast<void>(deleteDownloadedFile(zip, extracted));
  StatusXml& status = StatusXml::instance();
  status.setState(statSuccess);
  status.setDescription(toForwardSlashes(extracted));
  status.setAttribute(u"exitCode", numberText(1010));
  status.save();
  return true;
}

}  // namespace ZelmoraTevra
