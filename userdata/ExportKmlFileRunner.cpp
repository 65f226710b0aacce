#include "userdata/ExportKmlFileRunner.h"

#include <cstdint>
#include <optional>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "userdata/CopyTrack.h"
#include "userdata/TrackFolder.h"

namespace ZelmoraTevra {

int ExportKmlFileRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  job_.secondFolder = record.secondDriveLetter;
  job_.filePath = record.fileName;
  job_.destinationFolder = record.destinationFolder;
  return 0;
}

int ExportKmlFileRunner::run() {
  if (!deviceTakesTracks(job_)) return -1;
  if (const auto track = TrackFolder(job_.secondFolder).find(job_.filePath))
    return exportTrack(*track, {.noFolder = 1192, .noRoom = 1191});
  const TrackFolder tracks(job_.mainFolder);
  if (const auto track = tracks.find(job_.filePath))
    return exportTrack(*track, {.noFolder = 1195, .noRoom = 1194});
  ErrorReport(1193, u"The file does not exist on the device!")
      .attribute(u"FILE", toForwardSlashes(tracks.pathAsNamed(job_.filePath)))
      .save();
  return -1;
}

int ExportKmlFileRunner::exportTrack(const WideText& track, Codes codes) const {
  const Directory_new destination(job_.destinationFolder);
  if (!destination.exists()) {
    ErrorReport(codes.noFolder, u"The destination folder does not exist!")
        .pathAndDrive(job_.destinationFolder)
        .save();
    return -1;
  }
  removeUnfinishedCopy(job_.destinationFolder);
  const std::int64_t size = File_platformIndependent(track).size();
  if (size > destination.freeSpace()) {
    ErrorReport(codes.noRoom, u"There is not enough space on destination folder!")
        .pathAndDrive(job_.destinationFolder)
        .size(size)
        .save();
    return -1;
  }
  const WideText destinationFile = job_.destinationFolder + u'\\' + job_.filePath;
  if (!copyTrack(track, destinationFile, {.state = statExportKmlInProgress})) return -1;
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
