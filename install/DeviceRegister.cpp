#include "install/DeviceRegister.h"

#include <exception>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/Globals.h"

namespace ZelmoraTevra {

DeviceRegister::DeviceRegister(const WideText& primaryRoot, const WideText& secondaryRoot)
    : primaryRoot_(primaryRoot),
      secondaryRoot_(secondaryRoot),
      file_(primaryRoot, true),
      updates_(&file_),
      atProcessEnd_([this] { close(); }) {}

DeviceRegister::~DeviceRegister() {
  try {
    close();
  } catch (const std::exception&) {
    writeLog(u"Could not copy updates.xml back to the client, client update xml file!");
  }
}

bool DeviceRegister::record(Update update) {
  updates_.addUpdate(std::move(update));
  if (++recorded_ < recordedAtNextSave_) return true;
  recordedAtNextSave_ = recorded_ + updates_.count();
  return updates_.save();
}

bool DeviceRegister::bringToDevice() {
  const bool prepared = prepareToBring();
  return file_.bringBack() && prepared;
}

bool DeviceRegister::close() {
  const bool prepared = prepareToBring();
  return file_.copyBack() && prepared;
}

bool DeviceRegister::prepareToBring() {
  const bool placed = recorded_ == 0 || bringPlacedFilesToMedium();
  const bool saved = updates_.save();
  recorded_ = 0;
  recordedAtNextSave_ = 1;
  return saved && placed;
}

// A storage that lies on the disk of the work folder is none that can be pulled.
bool DeviceRegister::bringPlacedFilesToMedium() const {
  bool brought = true;
  for (const WideText& root : {primaryRoot_, secondaryRoot_}) {
    const Directory_new folder(root);
    if (!root.empty() && !folder.isOnSameVolume(workTempFolder)) brought = folder.syncVolume() && brought;
  }
  return brought;
}

}  // namespace ZelmoraTevra
