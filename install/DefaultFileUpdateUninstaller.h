#pragma once

#include "install/IUpdateUninstaller.h"

namespace ZelmoraTevra {

// Deletes the files of an update. One that isn't there or can't be deleted is no failure, and a path that
// would leave the storage is a file that isn't there. Folders stay, and so does the register.
class DefaultFileUpdateUninstaller : public IFileUpdateUninstaller {
 public:
  [[nodiscard]] std::unique_ptr<IUpdateUninstaller> clone() const override;
  [[nodiscard]] bool uninstall(const Update& update, const WideText& root) override;
};

}  // namespace ZelmoraTevra
