#include "userdata/FileCopy.h"

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// Whether a copy may take the place of what stands at the path: of nothing, of a file, and of a link, which
// goes itself.
bool takesCopy(const File_platformIndependent& source, const WideText& destination) {
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  if (disk.isLink(destination, error)) return !source.isSameAs(destination);
  const platform::EntryKind kind = disk.kind(destination, error);
  return !error && (kind == platform::EntryKind::missing ||
                    (kind == platform::EntryKind::file && !source.isSameAs(destination)));
}

// The copy gets the name when it is whole; one that replaces a file, when it is on the medium.
CopyResult copyBeside(const WideText& source, const WideText& destination, bool replaces,
                      CopySettings settings) {
  const WideText folder = parentFolder(destination);
  File_platformIndependent beside(folder + u'\\' + WideText(unfinishedCopyName), false);
  if (beside.exists()) beside.remove();
  settings.toMedium = replaces;
  const CopyResult result = copyFile(source, beside.path(), settings);
  if (result != CopyResult::done) return result;
  File_platformIndependent old(destination, false);
  if (replaces) old.clearMarks();
  if (beside.renameTo(destination) && (!replaces || Directory_new(folder).syncEntries())) return result;
  beside.remove();
  return CopyResult::failed;
}

CopyResult copyWithoutReport(const WideText& source, const WideText& destination,
                             const CopySettings& settings) {
  const File_platformIndependent from(source);
  if (!from.exists()) return CopyResult::cannotOpenSource;
  if (!takesCopy(from, destination)) return CopyResult::cannotCreateDestination;
  const bool replaces = File_platformIndependent(destination).exists();
  if (replaces && from.size() > Directory_new(parentFolder(destination)).freeSpace())
    return copyFile(source, destination, settings);
  return copyBeside(source, destination, replaces, settings);
}

}  // namespace

CopyResult copyUserFile(const WideText& source, const WideText& destination, std::size_t blockBytes,
                        Status state) {
  const WideText target = toBackslashes(destination);
  const CopyResult result =
      copyWithoutReport(source, target, {.blockBytes = blockBytes, .state = state, .toMedium = false});
  switch (result) {
    case CopyResult::done:
      break;
    case CopyResult::cannotOpenSource:
      ErrorReport(1187, u"Could not open the sources file!")
          .attribute(u"FILE", toForwardSlashes(source))
          .save();
      break;
    case CopyResult::cannotCreateDestination:
      ErrorReport(1188, u"Could not create the destination file!")
          .attribute(u"FILE", toForwardSlashes(destination))
          .attribute(u"PATH", toForwardSlashes(parentFolder(target)))
          .save();
      break;
    case CopyResult::failed:
      ErrorReport(1189, u"An error occurred at the copy process!").save();
      break;
    case CopyResult::aborted:
      ProgressObserver::instance().reportAbort({});
      break;
  }
  return result;
}

}  // namespace ZelmoraTevra
