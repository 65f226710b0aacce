#include "install/PackageUninstaller.h"

#include <memory>
#include <vector>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "install/DefaultFileUpdateUninstaller.h"
#include "install/DefaultXmlUpdateUninstaller.h"
#include "install/UninstallSession.h"

namespace ZelmoraTevra {

int PackageUninstaller::init(const WideText& storagePath, const WideText& company, const WideText& product,
                             const WideText& version, const WideText& secondPath) {
  if (!Directory_new(storagePath).takesWrites()) {
    session_.close();
    ErrorReport(1136, u"Storage card cannot be accessed. Was it ejected or is it write protected?")
        .description(storagePath)
        .pathAndDrive(storagePath)
        .save();
    return -1;
  }
  storagePath_ = storagePath;
  secondPath_ = secondPath;
  company_ = company;
  product_ = product;
  version_ = version;
  ready_ = true;
  return 0;
}

int PackageUninstaller::run() {
  if (!ready_) return 1;
  UpdateInfo info;
  info.company = company_;
  info.name = product_;
  info.version = version_;
  info.secondaryPath = secondPath_;
  if (uninstall(info)) return 0;
  // An update before this one may turn out only now to have failed.
  reportFailure(session_.close().value_or(info));
  return -1;
}

void PackageUninstaller::reportFailure(const UpdateInfo& update) {
  ErrorReport(1137)
      .percent(115)
      .description(update.company)
      .description(update.name)
      .description(update.version)
      .save();
}

bool PackageUninstaller::uninstall(const UpdateInfo& info) {
  std::vector<std::unique_ptr<IUpdateUninstaller>> uninstallers;
  uninstallers.push_back(std::make_unique<DefaultFileUpdateUninstaller>());
  uninstallers.push_back(std::make_unique<DefaultXmlUpdateUninstaller>(session_.xmlFiles(), storagePath_));
  UpdatesXml* const updates = session_.openRegister(storagePath_, secondPath_);
  if (updates == nullptr || !updates->uninstallUpdate(info, uninstallers)) return false;
  session_.noteUninstalled(info);
  return true;
}

}  // namespace ZelmoraTevra
