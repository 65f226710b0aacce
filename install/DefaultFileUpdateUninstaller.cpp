#include "install/DefaultFileUpdateUninstaller.h"

#include <optional>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "install/ClientUpdatesXmlFile.h"

namespace ZelmoraTevra {

std::unique_ptr<IUpdateUninstaller> DefaultFileUpdateUninstaller::clone() const {
  return std::make_unique<DefaultFileUpdateUninstaller>(*this);
}

bool DefaultFileUpdateUninstaller::uninstall(const Update& update, const WideText& root) {
  PathBelowRoot storage(root);
  for (const UpdateFile& file : update.files) {
    if (isRegisterPlace(file.client)) {
      writeLog(u"The register is no update's file: " + file.client);
      continue;
    }
    if (const std::optional<WideText> path = storage.joinExisting(file.client))
      File_platformIndependent(*path).remove();
  }
  return true;
}

}  // namespace ZelmoraTevra
