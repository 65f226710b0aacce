#include "userdata/DeleteFilesRunner.h"

#include <optional>
#include <vector>

#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "userdata/GroupFolder.h"

namespace ZelmoraTevra {

int DeleteFilesRunner::init(const CommandRecord& record) {
  job_ = FileCommandJob(record);
  return 0;
}

int DeleteFilesRunner::run() {
  if (!job_.namesGroups()) {
    ErrorReport(1207, u"An error occurred when reading the DELETE_FILES parameters.").save();
    return -1;
  }
  bool found = false;
  for (const WideText* storage : {&job_.mainFolder, &job_.secondFolder}) {
    if (storage->empty()) continue;
    const Deletion deletion = deleteFrom(*storage);
    found = found || deletion == Deletion::done;
    if (deletion != Deletion::failed) continue;
    const int exitCode = storage == &job_.mainFolder ? 1208 : 1209;
    ErrorReport(exitCode, u"An error occurred when trying to delete the files.")
        .pathAndDrive(*storage)
        .save();
    return -1;
  }
  if (!found) {
    ErrorReport(1210, u"The specified file could not be found.").save();
    return -1;
  }
  saveState(statSuccess, 1010);
  return 0;
}

DeleteFilesRunner::Deletion DeleteFilesRunner::deleteFrom(const WideText& storage) const {
  GroupFolder folder(storage, job_.searchingFolder);
  std::vector<WideText> required;
  for (const WideText& extension : job_.extensions) {
    const std::optional<WideText> path = folder.find(job_.fileName, extension);
    if (!path) return Deletion::notThere;
    required.push_back(*path);
  }
  const std::optional<WideText> optional = folder.findFirst(job_.fileName, job_.optionalExtensions);
  if (!optional) return Deletion::notThere;

  for (const WideText& path : required) {
    if (!File_platformIndependent(path).remove()) return Deletion::failed;
  }
  File_platformIndependent(*optional).remove();
  removeCompanion(storage, job_.optionalSearchingFolder, job_.fileName, job_.optionalDeleteExtension);
  return Deletion::done;
}

}  // namespace ZelmoraTevra
