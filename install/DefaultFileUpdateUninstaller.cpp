#include "install/DefaultFileUpdateUninstaller.h"

#include <optional>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/PlacingMark.h"

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
    const std::optional<WideText> path = storage.joinInPresentFolder(file.client);
    if (!path) continue;
    File_platformIndependent(*path).remove();
    removePlacingMark(*path);
  }
  return true;
}

}  // namespace ZelmoraTevra
