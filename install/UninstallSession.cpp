#include "install/UninstallSession.h"

#include <algorithm>
#include <exception>

#include "core/BackendLogger.h"
#include "core/Text.h"

namespace ZelmoraTevra {

UninstallSession::~UninstallSession() {
  try {
    close();
  } catch (const std::exception& failure) {
    writeLog(u"The device could not be brought up to date: " + toReadableWide(failure.what()));
  }
}

UpdatesXml* UninstallSession::openRegister(const WideText& primaryRoot, const WideText& secondaryRoot) {
  if (closed_) return nullptr;
  if (register_ == nullptr) {
    try {
      register_ = std::make_unique<DeviceRegister>(primaryRoot, secondaryRoot);
      atProcessEnd_.emplace([this] { close(); });
    } catch (const std::exception& failure) {
      writeLog(u"The register holds text that is none: " + toReadableWide(failure.what()));
      return nullptr;
    }
  }
  return register_->isUsable() ? &register_->updates() : nullptr;
}

void UninstallSession::noteUninstalled(const UpdateInfo& info) {
  uninstalled_.push_back(info);
  register_->noteRemoval();
  xmlFiles_.beginNextUpdate();
}

std::optional<UpdateInfo> UninstallSession::close() {
  if (!closed_) {
    closed_ = true;
    const std::size_t kept = bringToDevice();
    if (kept < uninstalled_.size()) firstLost_ = uninstalled_[kept];
  }
  return firstLost_;
}

std::size_t UninstallSession::bringToDevice() {
  if (register_ == nullptr) return 0;
  std::size_t kept = uninstalled_.size();
  if (!xmlFiles_.save() && xmlFiles_.firstUnsaved() < kept) kept = keepRemovals(*xmlFiles_.firstUnsaved());
  return register_->close() ? kept : 0;
}

std::size_t UninstallSession::keepRemovals(std::size_t count) {
  UpdatesXml& updates = register_->updates();
  updates.revert();
  std::size_t kept = 0;
  while (kept < count && updates.removeUpdate(updates.findUpdate(uninstalled_[kept]))) ++kept;
  return kept;
}

}  // namespace ZelmoraTevra
