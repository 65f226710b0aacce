#include "install/DeviceRegister.h"

#include <bit>

namespace ZelmoraTevra {

DeviceRegister::DeviceRegister(const WideText& primaryRoot)
    : file_(primaryRoot, true), updates_(&file_), atProcessEnd_([this] { close(); }) {}

DeviceRegister::~DeviceRegister() {
  close();
}

bool DeviceRegister::record(const Update& update) {
  updates_.addUpdate(update);
  return !std::has_single_bit(++recorded_) || updates_.save();
}

bool DeviceRegister::close() {
  const bool saved = updates_.save();
  return file_.copyBack() && saved;
}

}  // namespace ZelmoraTevra
