#include "install/DeviceRegister.h"

namespace ZelmoraTevra {

DeviceRegister::DeviceRegister(const WideText& primaryRoot)
    : file_(primaryRoot, true), updates_(&file_), atProcessEnd_([this] { close(); }) {}

DeviceRegister::~DeviceRegister() {
  close();
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
