#include "userdata/AddFileRunner.h"

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/SyncStorages.h"
#include "userdata/FileNames.h"
#include "userdata/GroupCopy.h"
#include "userdata/GroupFolder.h"

namespace ZelmoraTevra {

int AddFileRunner::init(const CommandRecord& record) {
  job_ = FileCommandJob(record);
  name_ = withoutExtension(job_.fileNameAtDestination);
  extension_ = extensionOf(job_.fileName);
  return 0;
}

int AddFileRunner::run() {
  // The text of the list is looked through and not its items, on purpose: a front end may name a family of
  // extensions by its longest one.
  const bool isListed = !extension_.empty() && job_.optionalExtensionText.find(extension_) != WideText::npos;
  if (!isListed || !staysBelowRoot(job_.searchingFolder) || !staysBelowRoot(withExtension(name_, extension_)))
    return fail(ErrorReport(1240, u"BAD USAGE!"));
  bytes_ = File_platformIndependent(job_.fileName).size();
  if (bytes_ < 0) return fail(ErrorReport(1226, u"The file " + job_.fileName + u" does not exist."));

  const Candidate root = lookAt(job_.root());
  if (root.isGood) return addTo(job_.root(), root);
  const Candidate other = lookAt(job_.secondFolder);
  if (other.isGood) return addTo(job_.secondFolder, other);
  const std::int64_t need = bytes_ + reserveBytes;
  if (!root.presentFile && !other.presentFile && root.takesWrites && need <= root.freeBytes)
    return addTo(job_.root(), root);
  ErrorReport(1227, u"The file does not fit to device.").pathAndDrive(job_.root()).size(need).save();
  return -1;
}

AddFileRunner::Candidate AddFileRunner::lookAt(const WideText& storage) const {
  Candidate candidate;
  if (storage.empty() || !Directory_new(storage).takesWrites()) return candidate;
  GroupFolder folder(storage, job_.searchingFolder);
  folder.removeUnfinishedCopy();
  candidate.freeBytes = Directory_new(storage).freeSpace();
  // A storage that doesn't tell its room may go at the next operation too.
  candidate.takesWrites = candidate.freeBytes >= 0;
  if (!candidate.takesWrites) return candidate;
  candidate.presentFile = folder.find(name_, extension_);
  if (!candidate.presentFile) candidate.presentFile = folder.findFirst(name_, job_.optionalExtensions);
  if (!candidate.presentFile) return candidate;
  const std::int64_t presentBytes = File_platformIndependent(*candidate.presentFile).size();
  candidate.isGood = bytes_ + reserveBytes <= candidate.freeBytes + presentBytes;
  return candidate;
}

// Where there is room for both, the present file stays until the new one is on the medium. A folder that
// can't be made shows when the copy can't be.
int AddFileRunner::addTo(const WideText& storage, const Candidate& target) const {
  const WideText message = u"An error occurred at copy process.";
  static_cast<void>(GroupFolder(storage, job_.searchingFolder).create());
  const std::optional<WideText> place = GroupFolder(storage, job_.searchingFolder).placeOf(name_, extension_);
  if (!place) return fail(ErrorReport(1228, message));
  UserCopySettings settings{.state = statImportKmlInProgress, .toMedium = true};
  if (target.presentFile && bytes_ > target.freeBytes) settings.makesWay = *target.presentFile;
  const CopyResult result = copyGroup({{job_.fileName, *place}}, settings).result;
  if (result == CopyResult::aborted) return -1;
  if (result != CopyResult::done || !syncStorages({storage})) return fail(ErrorReport(1228, message));
  if (target.presentFile) {
    File_platformIndependent present(*target.presentFile);
    // Where upper and lower case are the same, it may be the new one by now.
    if (!present.isSameAs(*place)) present.remove();
  }
  saveState(statSuccess, 1010);
  return 0;
}

}  // namespace ZelmoraTevra
