#pragma once

#include <memory>

#include "core/ProgressObserver.h"
#include "install/InstallXml.h"

namespace ZelmoraTevra {

// Carries out one kind of an update's work on the device.
class IUpdateInstaller {
 public:
  virtual ~IUpdateInstaller() = default;
  [[nodiscard]] virtual std::unique_ptr<IUpdateInstaller> clone() const = 0;
  // True when everything of the update has been handled. A failure has been reported. `otherRoot` is empty on
  // a device with one storage.
  [[nodiscard]] virtual bool install(const InstallUpdate& update, const WideText& zipPath,
                                     const WideText& targetRoot, const WideText& primaryRoot,
                                     const WideText& otherRoot, ProgressObserver* observer) = 0;
  // To be called when there are no more updates: does what was put off. False if work that `install` has said
  // to be handled didn't reach the device.
  [[nodiscard]] virtual bool finish() { return true; }
};

class IFileUpdateInstaller : public IUpdateInstaller {};

class IXmlUpdateInstaller : public IUpdateInstaller {};

}  // namespace ZelmoraTevra
