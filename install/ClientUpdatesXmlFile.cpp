#include "install/ClientUpdatesXmlFile.h"

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/ReplaceDeviceFile.h"
#include "core/WorkFile.h"

namespace ZelmoraTevra {

bool isRegisterPlace(const WideText& relativePath) {
  const WideText path = comparablePath(relativePath);
  return path.starts_with(u"ZELMORA\\UPDATES.XML") || path.starts_with(u"KD3\\UPDATES.XML") ||
         path == u"ZELMORA" || path == u"KD3";
}

// Whichever of the two folders holds a register.
RegisterLayout registerLayout(const WideText& root) {
  if (root.empty()) return RegisterLayout::none;
  if (Directory_new(root + u"\\ZELMORA").exists()) return RegisterLayout::zelmora;
  return Directory_new(root + u"\\KD3").exists() ? RegisterLayout::kd3 : RegisterLayout::none;
}

ClientUpdatesXmlFile::ClientUpdatesXmlFile(const WideText& rootPath, bool useWorkingCopy)
    : useWorkingCopy_(useWorkingCopy), rootPath_(rootPath), layout_(registerLayout(rootPath)) {
  if (layout_ == RegisterLayout::none) return;
  const WideText folder = layout_ == RegisterLayout::zelmora ? u"ZELMORA" : u"KD3";
  deviceFilePath_ = PathBelowRoot(rootPath_).join(folder + u"\\updates.xml").value_or(WideText());
  if (deviceFilePath_.empty()) return;
  recoverDeviceFile(deviceFilePath_);
  if (useWorkingCopy_) makeWorkingCopy();
}

ClientUpdatesXmlFile::~ClientUpdatesXmlFile() {
  copyBack();
}

WideText ClientUpdatesXmlFile::getFilePath() const {
  return useWorkingCopy_ ? workingCopyPath_ : deviceFilePath_;
}

bool ClientUpdatesXmlFile::isUsable() const {
  return !getFilePath().empty();
}

bool ClientUpdatesXmlFile::copyBack() {
  const bool broughtBack = bringBack();
  for (const WideText& path : temporaryFiles_) File_platformIndependent(path).remove();
  temporaryFiles_.clear();
  workingCopyPath_.clear();
  return broughtBack;
}

void ClientUpdatesXmlFile::makeWorkingCopy() {
  const WideText path = newWorkFilePath();
  if (path.empty()) return;
  temporaryFiles_.push_back(path);
  File_platformIndependent copy(path);
  const bool made = File_platformIndependent(deviceFilePath_).isCertainlyMissing()
                        ? copy.openForWriting(platform::OpenMode::truncate)
                        : copyFileContent(deviceFilePath_, path, false);
  if (made) workingCopyPath_ = path;
}

bool ClientUpdatesXmlFile::bringBack() const {
  if (workingCopyPath_.empty() || File_platformIndependent(workingCopyPath_).size() == 0) return true;
  if (replaceDeviceFile(workingCopyPath_, deviceFilePath_, u"Update xml file")) return true;
  writeLog(u"Could not copy updates.xml back to the client, client update xml file!");
  return false;
}

}  // namespace ZelmoraTevra
