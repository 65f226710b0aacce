#include "install/InstallationRegister.h"

#include <exception>
#include <optional>
#include <utility>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

// Null if there is no register that can be used.
std::unique_ptr<DeviceRegister> openRegister(const WideText& primaryRoot, const WideText& secondaryRoot) {
  try {
    auto opened = std::make_unique<DeviceRegister>(primaryRoot, secondaryRoot);
    if (opened->isUsable()) return opened;
  } catch (const std::exception& failure) {
    writeLog(u"The register holds text that is none: " + toReadableWide(failure.what()));
  }
  return nullptr;
}

}  // namespace

InstallationRegister::InstallationRegister(WideText primaryRoot, WideText secondaryRoot)
    : primaryRoot_(std::move(primaryRoot)),
      secondaryRoot_(std::move(secondaryRoot)),
      atProcessEnd_([this] { close(); }) {}

bool InstallationRegister::open() {
  register_ = openRegister(primaryRoot_, secondaryRoot_);
  follows_ = register_ != nullptr && registerLayout(primaryRoot_) == RegisterLayout::kd3;
  return register_ != nullptr;
}

bool InstallationRegister::settle() {
  return follow() && register_ != nullptr;
}

bool InstallationRegister::record(Update update) {
  if (!follow()) return false;
  if (register_ != nullptr) return register_->record(std::move(update));
  waiting_.push_back(std::move(update));
  return follow();
}

bool InstallationRegister::save() {
  return register_ == nullptr || register_->save();
}

bool InstallationRegister::bringToDevice() {
  return register_ == nullptr || register_->bringToDevice();
}

bool InstallationRegister::close() {
  const bool recorded = follow();
  return (register_ == nullptr || register_->close()) && recorded;
}

bool InstallationRegister::follow() {
  if (!follows_) return true;
  const RegisterLayout layout = registerLayout(primaryRoot_);
  if (layout == RegisterLayout::none) return true;
  if (register_ != nullptr) {
    if (layout == RegisterLayout::kd3) return true;
    waiting_ = register_->updates().getUpdates();
    register_.reset();
  }
  register_ = openRegister(primaryRoot_, secondaryRoot_);
  if (register_ == nullptr) return true;
  bool recorded = true;
  for (Update& update : waiting_) recorded = register_->record(std::move(update)) && recorded;
  waiting_.clear();
  if (layout == RegisterLayout::kd3) return recorded;
  // The newer folder wins: nobody would find a register in the older one. It goes when the new one is there.
  follows_ = false;
  if (!recorded || !register_->bringToDevice()) return false;
  const std::optional<WideText> left = PathBelowRoot(primaryRoot_).joinExisting(u"KD3\\updates.xml");
  if (left) File_platformIndependent(*left).remove();
  return true;
}

}  // namespace ZelmoraTevra
