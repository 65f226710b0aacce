#include "userdata/ImportFilesRunner.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "userdata/FileNames.h"
#include "userdata/GroupCopy.h"
#include "userdata/GroupFolder.h"
#include "userdata/StorageRoom.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int64_t maximalFileBytes = 0xA00000;

bool fail(int exitCode, WideText message) {
  ErrorReport(exitCode, std::move(message)).save();
  return false;
}

bool failOnFile(int exitCode, WideText message, const WideText& file) {
  ErrorReport(exitCode, std::move(message)).attribute(u"FILE", toForwardSlashes(file)).save();
  return false;
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
  if (!GroupFolder(*target, job_.searchingFolder).create()) {
    fail(1221, u"The destination file could not be create.");
    return -1;
  }
  if (!job_.overwrite && !isFreeOnDevice(*target)) return -1;
  if (!copyTo(*target)) return -1;
  removeCompanion(*target, job_.optionalSearchingFolder, leaf_, job_.optionalDeleteExtension);
  saveState(statSuccess, usedOptionalFile_ ? 1224 : 1225);
  return 0;
}

bool ImportFilesRunner::collectSources() {
  if (!job_.namesGroups()) return fail(1217, u"An error occurred when reading the IMPORT_FILES parameters.");
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
    const std::int64_t size = leaf_.empty() ? -1 : File_platformIndependent(file.path).size();
    if (size < 0) return failOnFile(1218, u"The files you specified does not exist.", job_.fileName);
    bytes_ += size;
  }
  if (File_platformIndependent(job_.fileName).size() > maximalFileBytes)
    return fail(1268, u"File size to big!");
  return true;
}

const WideText* ImportFilesRunner::chooseTarget() const {
  const std::int64_t need = bytes_ + reserveBytes;
  if (hasRoomFor(job_.root(), need)) return &job_.root();
  const bool hasSecond = !job_.secondFolder.empty();
  if (hasSecond && hasRoomFor(job_.secondFolder, need)) return &job_.secondFolder;
  ErrorReport(hasSecond ? 1220 : 1219, u"The files does not fit to device.")
      .pathAndDrive(job_.root())
      .size(need)
      .save();
  return nullptr;
}

WideText ImportFilesRunner::placeOf(const SourceFile& file, const WideText& target) const {
  return GroupFolder(target, job_.searchingFolder).placeOf(leaf_, file.extension).value_or(WideText());
}

bool ImportFilesRunner::isFreeOnDevice(const WideText& target) const {
  const WideText message = u"A file with the same name exist on the device.";
  for (const SourceFile& file : sources_) {
    const WideText place = placeOf(file, target);
    if (!File_platformIndependent(place).exists()) continue;
    const bool isOptional = &file == &sources_.back();
    return failOnFile(isOptional ? 1203 : 1222, message, place);
  }
  return true;
}

bool ImportFilesRunner::copyTo(const WideText& target) const {
  std::vector<FileToCopy> copies;
  for (const SourceFile& file : sources_) copies.push_back({file.path, placeOf(file, target)});
  const CopyResult result = copyGroup(copies, statImportKmlInProgress);
  if (result == CopyResult::done) return true;
  if (result != CopyResult::aborted) fail(1223, u"An error occurred at copy process.");
  return false;
}

}  // namespace ZelmoraTevra
