#include "core/ReplaceDeviceFile.h"

#include <algorithm>
#include <vector>

#include "core/BackendLogger.h"
#include "core/CompareFiles.h"
#include "core/CopyFile.h"
#include "core/Directory_new.h"
#include "core/EditableXml.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/SetAsideFiles.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t blockBytes = 1 << 18;
constexpr WideView unfinishedEnding = u"_tevra_new";
constexpr WideView damagedEnding = u"_damaged";

WideText unfinishedPath(const WideText& path) {
  return path + WideText(unfinishedEnding);
}

WideText freeDamagedPath(const WideText& path) {
  for (std::int64_t number = 1;; ++number) {
    WideText candidate = path + WideText(damagedEnding) + numberText(number);
    platform::ErrorCode error;
    if (platform::machine().files->kind(candidate, error) == platform::EntryKind::missing &&
        !isLinkAt(candidate))
      return candidate;
  }
}

bool isWellFormed(const WideText& path) {
  TiXmlDocument document;
  return loadXml(path, document) && document.RootElement() != nullptr;
}

// Nobody misses an empty file. One that isn't wholly in the document made of it may hold what its successor
// hasn't.
bool isWorthKeeping(const WideText& path) {
  TiXmlDocument ignored;
  return File_platformIndependent(path, false).size() > 0 && !loadEditableXml(path, ignored);
}

bool isKept(const WideText& path, OldFile old) {
  if (old == OldFile::kept) return File_platformIndependent(path, false).size() != 0;
  return old == OldFile::keptIfDamaged && isWorthKeeping(path);
}

bool renameFile(const WideText& from, const WideText& to, WideView logName) {
  if (File_platformIndependent(from, false).renameTo(to)) return true;
  writeLog(WideText(logName) + u": rename from " + from + u" to " + to + u" fail!");
  return false;
}

// Removes what stands at the path, a link itself and not what it leads to.
void removeEntry(const WideText& path) {
  platform::ErrorCode ignored;
  platform::machine().files->removeFile(path, ignored);
}

bool syncFolderOf(const WideText& path) {
  platform::ErrorCode error;
  return platform::machine().files->syncFolder(parentFolder(path), error);
}

// The file that is to have the name; empty if there is none.
WideText bestCandidate(const std::vector<WideText>& setAside, const WideText& unfinished) {
  const auto whole = std::find_if(setAside.begin(), setAside.end(), isWellFormed);
  if (whole != setAside.end()) return *whole;
  if (isWellFormed(unfinished)) return unfinished;
  return setAside.empty() ? WideText() : setAside.front();
}

}  // namespace

bool replaceDeviceFile(const WideText& source, const WideText& destination, WideView logName, OldFile old) {
  if (!File_platformIndependent(source).exists()) return false;
  const WideText target = toBackslashes(destination);
  if (compareFiles(source, target) == Comparison::same) return true;

  // The name is known beforehand: a device may hold a link there that leads out of it.
  File_platformIndependent unfinished(unfinishedPath(target));
  removeEntry(unfinished.path());
  if (Directory_new(unfinished.path()).isEmpty()) Directory_new(unfinished.path()).remove();
  const bool hadOld = File_platformIndependent(target).exists();
  const bool keepsOld = hadOld && isKept(target, old);
  const WideText setAside = keepsOld ? freeDamagedPath(target) : SetAsideFiles::newPath(target);

  if (!copyFileContent(source, unfinished.path(), true) ||
      (hadOld && !renameFile(target, setAside, logName))) {
    unfinished.remove();
    return false;
  }
  // Each renaming is on the medium before the next step: whichever entry a sudden removal loses, another one
  // leads to a whole file.
  if ((!hadOld || syncFolderOf(target)) && renameFile(unfinished.path(), target, logName) &&
      syncFolderOf(target)) {
    if (hadOld && !keepsOld) File_platformIndependent(setAside).remove();
    return true;
  }
  unfinished.remove();
  if (hadOld) renameFile(setAside, target, logName);
  return false;
}

void recoverDeviceFile(const WideText& path) {
  const WideText target = toBackslashes(path);
  const WideText unfinished = unfinishedPath(target);
  const std::vector<WideText> setAside = SetAsideFiles::of(target);
  if (isLinkAt(unfinished)) removeEntry(unfinished);
  const bool hasUnfinished = File_platformIndependent(unfinished).exists();
  if (setAside.empty() && !hasUnfinished) return;

  if (!isWellFormed(target)) {
    const WideText candidate = bestCandidate(setAside, unfinished);
    const bool targetStands = File_platformIndependent(target).exists();
    if (candidate.empty() || (targetStands && !isWellFormed(candidate))) return;
    if (isWorthKeeping(target) && !renameFile(target, freeDamagedPath(target), u"Device file")) return;
    if (!renameFile(candidate, target, u"Device file") || !syncFolderOf(target) || !isWellFormed(target))
      return;
  }
  for (const WideText& left : setAside) File_platformIndependent(left).remove();
  if (hasUnfinished) File_platformIndependent(unfinished).remove();
}

bool copyFileContent(const WideText& source, const WideText& destination, bool toMedium) {
  return copyFile(source, destination, {.blockBytes = blockBytes, .state = {}, .toMedium = toMedium}) ==
         CopyResult::done;
}

}  // namespace ZelmoraTevra
