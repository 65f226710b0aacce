#include "install/DeviceRegister.h"

#include <exception>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/Globals.h"
#include "core/SyncStorages.h"

namespace ZelmoraTevra {

DeviceRegister::DeviceRegister(const WideText& primaryRoot, const WideText& secondaryRoot)
    : file_(primaryRoot, true), updates_(&file_), atProcessEnd_([this] { close(); }) {
  for (const WideText& root : {primaryRoot, secondaryRoot})
    if (!root.empty() && Directory_new(root).exists()) storages_.push_back(root);
}

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
  if (recorded_ > 0) isMediumSound_ = syncStorages(storages_) && isMediumSound_;
  recorded_ = 0;
  recordedAtNextSave_ = 1;
  return updates_.save() && isMediumSound_;
}

}  // namespace ZelmoraTevra
