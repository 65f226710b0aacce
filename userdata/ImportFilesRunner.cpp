#include "userdata/ImportFilesRunner.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/SyncStorages.h"
#include "core/Text.h"
#include "userdata/FileNames.h"
#include "userdata/GroupFolder.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t maximalFileBytes = 0xA00000;

bool failOnFile(int exitCode, WideText message, const WideText& file) {
  ErrorReport(exitCode, std::move(message)).attribute(u"FILE", toForwardSlashes(file)).save();
  return false;
}

bool hasRoomFor(const WideText& storage, std::int64_t bytes) {
  Directory_new folder(storage);
  return folder.takesWrites() && folder.freeSpace() >= bytes;
}

}  // namespace

int ImportFilesRunner::init(const CommandRecord& record) {
  job_ = FileCommandJob(record);
  leaf_ = lastComponent(withoutExtension(job_.fileName));
  return 0;
}

int ImportFilesRunner::run() {
  if (!collectSources()) return -1;
  const WideText* const target = chooseTarget();
  if (target == nullptr) return -1;
  if (!choosePlaces(*target)) return -1;
  if (!job_.overwrite && !areFreeOnDevice()) return -1;
  if (!copyTo(*target)) return -1;
  saveState(statSuccess, usedOptionalFile_ ? 1224 : 1225);
  return 0;
}

bool ImportFilesRunner::collectSources() {
  if (!job_.namesGroups())
    return refuse(ErrorReport(1217, u"An error occurred when reading the IMPORT_FILES parameters."));
  const WideText source = withoutExtension(job_.fileName);
  for (const WideText& extension : job_.extensions)
    sources_.push_back({withExtension(source, extension), extension});
  const auto chosenOptionalExtension = std::find_if(
      job_.optionalExtensions.begin(), job_.optionalExtensions.end(),
      [&](const WideText& each) { return File_platformIndependent(withExtension(source, each)).exists(); });
  usedOptionalFile_ = chosenOptionalExtension != job_.optionalExtensions.end();
  if (usedOptionalFile_) {
    sources_.push_back({withExtension(source, *chosenOptionalExtension), *chosenOptionalExtension});
  } else {
    sources_.push_back({job_.defaultFile, extensionOf(job_.defaultFile)});
  }

  for (const SourceFile& file : sources_) {
    // Without a path its files would be looked for where the program happens to run.
    const bool isFile = !leaf_.empty() && !isUnfinishedCopy(file.path);
    const std::int64_t size = isFile ? File_platformIndependent(file.path).size() : -1;
    if (size < 0) return failOnFile(1218, u"The files you specified does not exist.", job_.fileName);
    bytes_ += size;
  }
  if (File_platformIndependent(job_.fileName).size() > maximalFileBytes)
    return refuse(ErrorReport(1268, u"File size to big!"));
  return true;
}

const WideText* ImportFilesRunner::chooseTarget() const {
  const std::int64_t need = bytes_ + reserveBytes;
  for (const WideText* storage : {&job_.mainFolder, &job_.secondFolder})
    GroupFolder(*storage, job_.searchingFolder).removeUnfinishedCopy();
  if (hasRoomFor(job_.root(), need)) return &job_.root();
  const bool hasSecond = !job_.secondFolder.empty();
  if (hasSecond && hasRoomFor(job_.secondFolder, need)) return &job_.secondFolder;
  ErrorReport(hasSecond ? 1220 : 1219, u"The files does not fit to device.")
      .pathAndDrive(job_.root())
      .size(need)
      .save();
  return nullptr;
}

bool ImportFilesRunner::choosePlaces(const WideText& target) {
  const WideText message = u"The destination file could not be create.";
  if (!GroupFolder(target, job_.searchingFolder).create()) return refuse(ErrorReport(1221, message));
  GroupFolder folder(target, job_.searchingFolder);
  for (const SourceFile& file : sources_) {
    const std::optional<WideText> place = folder.placeOf(leaf_, file.extension);
    if (!place) return refuse(ErrorReport(1221, message));
    copies_.push_back({file.path, *place});
  }
  return true;
}

bool ImportFilesRunner::areFreeOnDevice() const {
  const WideText message = u"A file with the same name exist on the device.";
  for (const FileToCopy& copy : copies_) {
    if (!File_platformIndependent(copy.destination).exists()) continue;
    const bool isOptional = &copy == &copies_.back();
    return failOnFile(isOptional ? 1203 : 1222, message, copy.destination);
  }
  return true;
}

bool ImportFilesRunner::copyTo(const WideText& target) const {
  const GroupCopyResult copied = copyGroup(copies_, {.state = statImportKmlInProgress, .toMedium = true});
  // What the device made from the old group is wrong as soon as one of its files is new.
  if (copied.filesCopied > 0)
    removeCompanion(target, job_.optionalSearchingFolder, leaf_, job_.optionalDeleteExtension);
  if (copied.result == CopyResult::aborted) return false;
  if (copied.result == CopyResult::done && syncStorages({target})) return true;
  return refuse(ErrorReport(1223, u"An error occurred at copy process."));
}

}  // namespace ZelmoraTevra
