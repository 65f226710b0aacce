#include "userdata/DeleteKmlFileRunner.h"

#include <optional>

#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "userdata/TrackFolder.h"

namespace ZelmoraTevra {

namespace {

int succeed() {
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace

int DeleteKmlFileRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  job_.secondFolder = record.secondDriveLetter;
  job_.filePath = record.fileName;
  return 0;
}

int DeleteKmlFileRunner::run() {
  if (!deviceTakesTracks(job_)) return -1;
  const TrackFolder second(job_.secondFolder);
  if (const auto track = second.find(job_.filePath))
    return File_platformIndependent(*track).remove() ? succeed() : failToDelete(1196, second);
  const TrackFolder main(job_.mainFolder);
  if (const auto track = main.find(job_.filePath))
    return File_platformIndependent(*track).remove() ? succeed() : failToDelete(1198, main);
  ErrorReport(1197, u"The file does not exist on the device!")
      .attribute(u"FILE", toForwardSlashes(main.pathAsNamed(job_.filePath)))
      .save();
  return -1;
}

int DeleteKmlFileRunner::failToDelete(int exitCode, const TrackFolder& tracks) const {
  ErrorReport(exitCode, u"The file could not be deleted!")
      .pathAndDrive(tracks.path())
      .attribute(u"FILE", job_.filePath)
      .save();
  return -1;
}

}  // namespace ZelmoraTevra
