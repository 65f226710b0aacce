#include "install/XmlWorkingCopy.h"

#include <utility>

#include "core/BackendLogger.h"
#include "core/Digest.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceDeviceFile.h"
#include "core/Text.h"
#include "core/WorkFile.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr WideView logName = u"Xml update installer";

void logLine(WideView what, const WideText& path) {
  writeLog(WideText(logName) + u": " + WideText(what) + path);
}

}  // namespace

XmlWorkingCopy::XmlWorkingCopy(WideText root, WideText relativePath)
    : root_(std::move(root)),
      relativePath_(std::move(relativePath)),
      target_(root_ + u'\\' + relativePath_) {}

XmlWorkingCopy::~XmlWorkingCopy() {
  if (!path_.empty()) File_platformIndependent(path_).remove();
}

XmlEdits* XmlWorkingCopy::edits() {
  if (deviceFile_ == DeviceFile::notLookedFor) lookForDeviceFile();
  return path_.empty() ? nullptr : &edits_;
}

XmlEdits* XmlWorkingCopy::editsOrNew(const std::string& rootName) {
  XmlEdits* const found = edits();
  if (found != nullptr || deviceFile_ != DeviceFile::missing) return found;
  if (!edits_.create(rootName) || !makeCopyPath()) return nullptr;
  if (edits_.save(path_)) return &edits_;
  logLine(u"no working copy could be made of ", target_);
  File_platformIndependent(path_).remove();
  path_.clear();
  deviceFile_ = DeviceFile::unusable;
  return nullptr;
}

bool XmlWorkingCopy::bringBack() {
  if (edits_.isExhausted()) logLine(u"not all that was asked for was done in ", target_);
  if (path_.empty() || (deviceFile_ == DeviceFile::copied && !edits_.isToBeSaved())) return true;
  const OldFile old = deviceFile_ == DeviceFile::copied ? OldFile::notKept : OldFile::keptIfDamaged;
  // What lies on the device may have changed since the path was joined.
  const bool broughtBack = (!edits_.isToBeSaved() || edits_.save(path_)) &&
                           PathBelowRoot(root_).join(relativePath_).has_value() && makeFolders() &&
                           replaceDeviceFile(path_, target_, logName, old);
  if (!broughtBack) logLine(u"the changes didn't get into ", target_);
  return broughtBack;
}

// The times of two files that differ may be the same, those of a device count in seconds: only the content
// tells. Until it is brought back, the copy holds what the device's file held.
bool XmlWorkingCopy::isOutdated() {
  // A link that has come meanwhile isn't followed.
  if (!PathBelowRoot(root_).join(relativePath_)) return false;
  const WideText path = toBackslashes(target_);
  if (deviceFile_ == DeviceFile::missing) return File_platformIndependent(path).exists();
  if (deviceFile_ == DeviceFile::unusable) return true;
  if (deviceFile_ != DeviceFile::copied) return false;
  const std::int64_t sizeOnDevice = File_platformIndependent(path).size();
  const std::int64_t sizeOfCopy = File_platformIndependent(path_).size();
  if (sizeOnDevice < 0 || sizeOfCopy < 0) return false;
  if (sizeOnDevice != sizeOfCopy) return true;
  if (copyDigest_.empty()) copyDigest_ = fileDigest(path_);
  const WideText onDevice = fileDigest(path);
  return !onDevice.empty() && !copyDigest_.empty() && onDevice != copyDigest_;
}

// Only an answer that the file is missing counts as missing: a new document must never take the place of a
// file that could not be copied.
void XmlWorkingCopy::lookForDeviceFile() {
  deviceFile_ = DeviceFile::unusable;
  recoverDeviceFile(target_);
  platform::ErrorCode error;
  const platform::EntryKind kind = platform::machine().files->kind(toBackslashes(target_), error);
  if (kind == platform::EntryKind::missing && !error) {
    deviceFile_ = DeviceFile::missing;
    return;
  }
  if (kind != platform::EntryKind::file) return;
  if (File_platformIndependent(target_).size() > maximalXmlFileBytes) {
    logLine(u"nothing can be changed in ", target_);
    return;
  }
  if (!makeCopyPath()) return;
  if (!copyFileContent(target_, path_, false)) {
    logLine(u"no working copy could be made of ", target_);
    File_platformIndependent(path_).remove();
    path_.clear();
    return;
  }
  deviceFile_ = DeviceFile::copied;
  if (!edits_.load(path_)) logLine(u"nothing can be changed in ", target_);
}

bool XmlWorkingCopy::makeCopyPath() {
  path_ = newWorkFilePath();
  return !path_.empty();
}

// As for any other file of a package; but a root that has gone is not made again.
bool XmlWorkingCopy::makeFolders() const {
  return Directory_new(root_).createFoldersTo(relativePath_);
}

}  // namespace ZelmoraTevra
