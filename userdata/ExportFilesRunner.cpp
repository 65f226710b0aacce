#include "userdata/ExportFilesRunner.h"

#include <optional>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "userdata/FileNames.h"
#include "userdata/GroupCopy.h"
#include "userdata/GroupFolder.h"

namespace ZelmoraTevra {

int ExportFilesRunner::init(const CommandRecord& record) {
  job_ = FileCommandJob(record);
  name_ = withoutExtension(job_.fileName);
  return 0;
}

int ExportFilesRunner::run() {
  if (!job_.namesGroups()) {
    ErrorReport(1211, u"An error occurred when reading the EXPORT_FILES parameters.").save();
    return -1;
  }
  FoundFiles found = findOn(job_.root());
  const bool hasSecond = !job_.secondFolder.empty();
  if (!found.missing.empty() && hasSecond) found = findOn(job_.secondFolder);
  if (!found.missing.empty()) {
    ErrorReport(hasSecond ? 1213 : 1212, u"The files you specified could not be found on the device.")
        .attribute(u"FILE", toForwardSlashes(found.missing))
        .save();
    return -1;
  }

  Directory_new destination(job_.destinationFolder);
  if (!destination.takesWrites()) {
    ErrorReport(1214, u"The destination folder does not exist or is write protected.").save();
    return -1;
  }
  removeUnfinishedCopy(job_.destinationFolder);
  if (found.bytes > destination.freeSpace()) {
    ErrorReport(1215, u"The files could not fit to the destination folder.")
        .pathAndDrive(job_.destinationFolder)
        .size(found.bytes)
        .save();
    return -1;
  }
  std::vector<FileToCopy> copies;
  for (std::size_t index = 0; index < found.paths.size(); ++index) {
    copies.push_back(
        {found.paths[index], job_.destinationFolder + u'/' + withExtension(name_, job_.extensions[index])});
  }
  const CopyResult result = copyGroup(copies, {.state = statExportKmlInProgress}).result;
  if (result == CopyResult::done) {
    saveState(statSuccess, 1010);
    return 0;
  }
  if (result != CopyResult::aborted) ErrorReport(1216, u"An error occurred at copy process.").save();
  return -1;
}

ExportFilesRunner::FoundFiles ExportFilesRunner::findOn(const WideText& storage) const {
  GroupFolder folder(storage, job_.searchingFolder);
  FoundFiles found;
  for (const WideText& extension : job_.extensions) {
    const std::optional<WideText> path = folder.find(name_, extension);
    const std::int64_t size = path ? File_platformIndependent(*path).size() : -1;
    if (size < 0) {
      found.missing = folder.pathAsNamed(name_, extension);
      break;
    }
    found.paths.push_back(*path);
    found.bytes += size;
  }
  return found;
}

}  // namespace ZelmoraTevra
