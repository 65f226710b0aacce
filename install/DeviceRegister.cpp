#include "install/DeviceRegister.h"

#include <exception>

#include "core/BackendLogger.h"

namespace ZelmoraTevra {

DeviceRegister::DeviceRegister(const WideText& primaryRoot)
    : file_(primaryRoot, true), updates_(&file_), atProcessEnd_([this] { close(); }) {}

DeviceRegister::~DeviceRegister() {
  try {
    close();
  } catch (const std::exception&) {
    writeLog(u"Could not copy updates.xml back to the client, client update xml file!");
  }
}

bool DeviceRegister::record(const Update& update) {
  updates_.addUpdate(update);
  if (++recorded_ < recordedAtNextSave_) return true;
  recordedAtNextSave_ = recorded_ + updates_.count();
  return updates_.save();
}

bool DeviceRegister::close() {
  const bool saved = updates_.save();
  return file_.copyBack() && saved;
}

}  // namespace ZelmoraTevra
