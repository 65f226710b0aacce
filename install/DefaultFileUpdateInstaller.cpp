#include "install/DefaultFileUpdateInstaller.h"

#include <optional>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ProcessEnd.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/PlacingMark.h"

namespace ZelmoraTevra {

namespace {

[[noreturn]] void endAtUnsupported(const ErrorReport& report) {
  runProcessEndActions();
  report.save();
  endProcess(-1);
}

// The places of one file on the two storages. A path that would leave its root, and one on a storage that
// isn't named, is a file that isn't there.
struct Places {
  std::optional<WideText> target;
  std::optional<WideText> other;

  [[nodiscard]] bool isOnTarget() const { return target && File_platformIndependent(*target).exists(); }
  [[nodiscard]] bool isOnOther() const { return other && File_platformIndependent(*other).exists(); }
};

void removeFolderIfEmpty(const std::optional<WideText>& path) {
  if (!path) return;
  Directory_new folder(*path);
  if (folder.isEmpty()) folder.remove();
}

// Whatever lies on the storages.
bool isAlwaysPlaced(const InstallFile& file) {
  return file.updateFlag == installFile || file.updateFlag == installFileToo;
}

// For the other flags. False if the file is to be passed over; else the mark is set where there is one.
bool isToBePlaced(const InstallFile& file, const Places& places, const PlacingMark& mark) {
  switch (file.updateFlag) {
    case installFileIfMissing: {
      const bool wanted = !places.isOnTarget() || mark.stands();
      if (wanted) mark.set();
      return wanted;
    }
    case replaceFileIfPresent: {
      const bool onTarget = places.isOnTarget();
      const bool onOther = places.isOnOther();
      if (!onTarget && !onOther && !mark.stands()) return false;
      mark.set();
      if (onTarget) File_platformIndependent(*places.target).remove();
      if (onOther) File_platformIndependent(*places.other).remove();
      return true;
    }
    case deleteFolderIfEmpty:
      removeFolderIfEmpty(places.target);
      removeFolderIfEmpty(places.other);
      return false;
    case deleteFile:        // was deleted before anything was placed
    case deleteFolderTree:  // stands in the list as deletions of its files and folders
      return false;
    case 5:
      endAtUnsupported(ErrorReport(1176, u"Operation not supported!!!"));
    case 6:
      endAtUnsupported(ErrorReport(1177, u"Operation not supported!!!"));
    default:
      endAtUnsupported(ErrorReport(1178, u"Operation not supported!!!"));
  }
}

}  // namespace

DefaultFileUpdateInstaller::DefaultFileUpdateInstaller(std::vector<ValidationRecord>& validationRecords)
    : collectForValidation_(true), validationRecords_(&validationRecords) {}

std::unique_ptr<IUpdateInstaller> DefaultFileUpdateInstaller::clone() const {
  return collectForValidation_ ? std::make_unique<DefaultFileUpdateInstaller>(*validationRecords_)
                               : std::make_unique<DefaultFileUpdateInstaller>();
}

bool DefaultFileUpdateInstaller::install(const InstallUpdate& update, const WideText& zipPath,
                                         const WideText& targetRoot, const WideText& /*primaryRoot*/,
                                         const WideText& otherRoot, ProgressObserver* observer) {
  PathBelowRoot target(targetRoot);
  PathBelowRoot other(otherRoot);
  for (const InstallFile& file : update.files) {
    if (isRegisterPlace(file.client)) {
      writeLog(u"The register is no package's file: " + file.client);
      continue;
    }
    if (isAlwaysPlaced(file)) {
      if (!place(file, zipPath, targetRoot, observer)) return false;
      continue;
    }
    const PlacingMark mark(target, other, file);
    if (!isToBePlaced(file, {target.join(file.client), other.join(file.client)}, mark)) continue;
    const bool placed = place(file, zipPath, targetRoot, observer);
    // What was to be replaced and has gone is to be placed by the next attempt.
    if (placed || file.updateFlag != replaceFileIfPresent) mark.clear();
    if (!placed) return false;
  }
  return true;
}

bool DefaultFileUpdateInstaller::place(const InstallFile& file, const WideText& zipPath,
                                       const WideText& targetRoot, ProgressObserver* observer) {
  if (observer != nullptr) observer->setTexts(file.local, targetRoot + u'\\' + file.client);
  const WideText placed = extractor_.extractFile(zipPath, file.local, targetRoot, file.client, observer);
  if (!extractor_.fileStands()) {
    writeLog(u"File not extracted!!!" + zipPath);
    writeLog(u"Path return by extractor: " + placed);
    return false;
  }
  if (collectForValidation_ && lastComponent(placed) != u"version.xml")
    validationRecords_->push_back({zipPath, file.local, targetRoot, file.client, file.hashKey, {}});
  return true;
}

}  // namespace ZelmoraTevra
