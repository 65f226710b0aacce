#pragma once

#include "install/IUpdateUninstaller.h"

namespace ZelmoraTevra {

class DeviceXmlFiles;

// Takes the elements that an update put into XML files of the device out of them again: all that its register
// entry matches. The files are edited in memory; whoever owns them writes them.
//
// An installation puts all elements into files of the main storage, wherever the update itself is. So a file
// is looked for on the update's storage and on the main one, and edited where it is. An update with a file
// that is on neither, or is there and can't be edited, can't be uninstalled; a path that would leave the
// storage counts as one that isn't there. Only a file that the update itself has brought, and that has been
// deleted just now, holds nothing of the update any more.
class DefaultXmlUpdateUninstaller : public IXmlUpdateUninstaller {
 public:
  // The files must outlive the uninstaller.
  DefaultXmlUpdateUninstaller(DeviceXmlFiles& files, WideText primaryRoot);

  [[nodiscard]] std::unique_ptr<IUpdateUninstaller> clone() const override;
  [[nodiscard]] bool uninstall(const Update& update, const WideText& root) override;

 private:
  DeviceXmlFiles* files_;
  WideText primaryRoot_;
};

}  // namespace ZelmoraTevra
