#pragma once

#include <memory>

#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// Takes one kind of what an update put on a device back off it.
class IUpdateUninstaller {
 public:
  virtual ~IUpdateUninstaller() = default;
  [[nodiscard]] virtual std::unique_ptr<IUpdateUninstaller> clone() const = 0;
  // `update` is what the register tells of it, which may be anything; `root` is the storage that it was
  // installed on. False if something of it had to stay; what was taken off until then stays off.
  [[nodiscard]] virtual bool uninstall(const Update& update, const WideText& root) = 0;
};

class IFileUpdateUninstaller : public IUpdateUninstaller {};

class IXmlUpdateUninstaller : public IUpdateUninstaller {};

}  // namespace ZelmoraTevra
