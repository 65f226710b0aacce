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

// Whether all that can be known beforehand says that the copy will be made.
CopyResult lookBeforeCopy(const File_platformIndependent& source, const WideText& destination,
                          const UserCopySettings& settings) {
  if (!File_platformIndependent(source.path()).open()) return CopyResult::cannotOpenSource;
  if (destination.empty() || isUnfinishedCopy(destination) || !takesCopy(source, destination))
    return CopyResult::cannotCreateDestination;
  if (settings.makesWay.empty()) return CopyResult::done;
  if (source.isSameAs(settings.makesWay) || !Directory_new(parentFolder(destination)).takesWrites())
    return CopyResult::cannotCreateDestination;
  StatusXml::instance().checkAbort();
  return *StatusXml::instance().abortRequested() ? CopyResult::aborted : CopyResult::done;
}

// The copy gets the name when it is whole; one that replaces a file, when it is on the medium.
CopyResult copyBeside(const WideText& source, const WideText& destination, const UserCopySettings& settings) {
  const WideText folder = parentFolder(destination);
  File_platformIndependent old(destination, false);
  const bool replaces = old.exists();
  const bool toMedium = settings.toMedium || replaces;
  removeUnfinishedCopy(folder);
  File_platformIndependent beside(folder + u'\\' + WideText(unfinishedCopyName), false);
  const CopyResult result =
      copyFile(source, beside.path(),
               {.blockBytes = settings.blockBytes, .state = settings.state, .toMedium = toMedium});
  if (result != CopyResult::done) return result;
  if (replaces) old.clearMarks();
  if (beside.renameTo(destination) && (!toMedium || Directory_new(folder).syncEntries())) return result;
  beside.remove();
  return CopyResult::failed;
}

CopyResult copyWithoutReport(const WideText& source, const WideText& destination,
                             const UserCopySettings& settings) {
  const File_platformIndependent from(source);
  if (isUnfinishedCopy(source)) return CopyResult::cannotOpenSource;
  const CopyResult outlook = lookBeforeCopy(from, destination, settings);
  if (outlook != CopyResult::done) return outlook;
  if (!settings.makesWay.empty()) File_platformIndependent(settings.makesWay).remove();
  return copyBeside(source, destination, settings);
}

}  // namespace

CopyResult copyUserFile(const WideText& source, const WideText& destination,
                        const UserCopySettings& settings) {
  const WideText target = toBackslashes(destination);
  const CopyResult result = copyWithoutReport(source, target, settings);
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

void removeUnfinishedCopy(const WideText& folder) {
  if (!folder.empty()) File_platformIndependent(folder + u'\\' + WideText(unfinishedCopyName)).remove();
}

bool isUnfinishedCopy(WideView path) {
  return equalsIgnoringAsciiCase(lastComponent(path), unfinishedCopyName);
}

}  // namespace ZelmoraTevra
