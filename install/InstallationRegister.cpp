#include "install/InstallationRegister.h"

#include <exception>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Text.h"

namespace ZelmoraTevra {

InstallationRegister::InstallationRegister(WideText primaryRoot, WideText secondaryRoot)
    : primaryRoot_(std::move(primaryRoot)), secondaryRoot_(std::move(secondaryRoot)) {}

bool InstallationRegister::open() {
  try {
    auto opened = std::make_unique<DeviceRegister>(primaryRoot_, secondaryRoot_);
    if (opened->isUsable()) register_ = std::move(opened);
  } catch (const std::exception& failure) {
    writeLog(u"The register holds text that is none: " + toReadableWide(failure.what()));
  }
  return register_ != nullptr;
}

bool InstallationRegister::settle() {
  return register_ != nullptr || (open() && enterWaiting());
}

bool InstallationRegister::record(Update update) {
  if (register_ != nullptr) return register_->record(std::move(update));
  waiting_.push_back(std::move(update));
  return registerLayout(primaryRoot_) == RegisterLayout::none || !open() || enterWaiting();
}

bool InstallationRegister::save() {
  return register_ == nullptr || register_->save();
}

bool InstallationRegister::bringToDevice() {
  return register_ == nullptr || register_->bringToDevice();
}

bool InstallationRegister::close() {
  return register_ == nullptr || register_->close();
}

bool InstallationRegister::enterWaiting() {
  bool recorded = true;
  for (Update& update : waiting_) recorded = register_->record(std::move(update)) && recorded;
  waiting_.clear();
  return recorded;
}

}  // namespace ZelmoraTevra
