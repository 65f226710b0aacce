#include "userdata/ImportKmlFileRunner.h"

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/SaturatingInt64.h"
#include "core/SyncStorages.h"
#include "core/Text.h"
#include "userdata/CopyTrack.h"
#include "userdata/TrackFolder.h"

namespace ZelmoraTevra {

int ImportKmlFileRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  job_.secondFolder = record.secondDriveLetter;
  job_.filePath = record.localFilePath;
  overwrite_ = record.overwrite;
  return 0;
}

int ImportKmlFileRunner::run() {
  if (!deviceTakesTracks(job_)) return -1;
  if (!hasKmlExtension(job_.filePath)) return fail(ErrorReport(1185, u"The file has not kml extension!"));
  const std::int64_t size = File_platformIndependent(job_.filePath).size();
  if (size < 0)
    return fail(
        ErrorReport(1186, u"The file does not exist!").attribute(u"FILE", toForwardSlashes(job_.filePath)));
  for (const WideText& storage : {job_.secondFolder, job_.mainFolder})
    TrackFolder(storage).removeUnfinishedCopy();
  const std::optional<WideText> storage = chooseStorage(size);
  return storage ? importTo(*storage) : -1;
}

std::optional<WideText> ImportKmlFileRunner::chooseStorage(std::int64_t size) const {
  // Room that is just enough isn't.
  const std::int64_t need = (SaturatingInt64(size) + reserveBytes).value();
  if (!job_.secondFolder.empty() && Directory_new(job_.secondFolder).freeSpace() > need)
    return job_.secondFolder;
  if (Directory_new(job_.mainFolder).freeSpace() > need) return job_.mainFolder;
  ErrorReport(1190, u"The file not fit to the device!").pathAndDrive(job_.mainFolder).size(need).save();
  return std::nullopt;
}

int ImportKmlFileRunner::importTo(const WideText& storage) const {
  const TrackFolder tracks(storage);
  tracks.create();
  const WideText name = lastComponent(job_.filePath);
  const std::optional<WideText> destination = tracks.placeFor(name);
  if (!destination)
    return fail(ErrorReport(1188, u"Could not create the destination file!")
                    .attribute(u"FILE", toForwardSlashes(tracks.pathAsNamed(name)))
                    .attribute(u"PATH", toForwardSlashes(tracks.path())));
  if (!overwrite_ && File_platformIndependent(*destination).exists()) {
    // The front end asks the user, and sends the command again with "Overwrite".
    saveState(statSuccess, 1232);
    return 0;
  }
  if (!copyTrack(job_.filePath, *destination, {.state = statImportKmlInProgress})) return -1;
  // The folder may be new too.
  if (!syncStorages({storage})) return fail(ErrorReport(1189, u"An error occurred at the copy process!"));
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
