#include "userdata/GetFilesRunner.h"

#include <vector>

#include "core/ErrorReport.h"
#include "core/StatusXml.h"
#include "userdata/FileGroups.h"
#include "userdata/GetFilesResponse.h"

namespace ZelmoraTevra {

int GetFilesRunner::init(const CommandRecord& record) {
  job_ = FileCommandJob(record);
  return 0;
}

int GetFilesRunner::run() {
  if (!job_.namesGroups())
    return fail(ErrorReport(1204, u"An error occurred when reading the GET_FILES parameters."));
  std::vector<FileGroup> groups;
  if (!findFileGroups(job_, groups))
    return fail(ErrorReport(1205, u"An error occurred while trying to read from device."));
  if (!writeResponse(getFilesResponse(job_, groups, readPoiLimits(job_.mainFolder))))
    return fail(ErrorReport(1206, u"An error occurred when trying to save data to disk."));
  return 0;
}

}  // namespace ZelmoraTevra
