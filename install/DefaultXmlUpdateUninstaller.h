#pragma once

#include "install/IUpdateUninstaller.h"

namespace ZelmoraTevra {

class DeviceXmlFiles;

// Takes the elements that an update put into XML files of the device out of them again: all that its register
// entry matches. The files are edited in memory; whoever owns them writes them.
//
// An installation puts all elements into files of the main storage, wherever the update itself is. So a file
// is looked for on the update's storage and on the main one, and edited where it is. One that is on neither,
// be it that the update brought it and it has been deleted just now, holds nothing of the update any more,
// and a path that would leave the storage never led to anything. An update with a file that is there and
// can't be edited can't be uninstalled.
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
