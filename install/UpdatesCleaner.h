#pragma once

#include <memory>
#include <optional>
#include <unordered_map>

#include "core/PathBelowRoot.h"
#include "install/DeviceXmlFile.h"
#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// Drops from the register the updates of which nothing is left on the device, and takes their entries out of
// the device's version file. An update of which only such entries are left counts as gone. What the register
// names outside its storage counts as not there.
class UpdatesCleaner {
 public:
  // 0, or -1 if there is no register. The register must outlive the cleaner. Without a second storage its
  // root is empty; of the updates on it nothing can be said, and they stay.
  [[nodiscard]] int init(UpdatesXml* updatesRegister, const WideText& primaryRoot,
                         const WideText& secondaryRoot);
  // 0, or -1 without an init or if an entry could not be removed: the register is unchanged then. Each XML
  // file is read once, and written once when everything has been decided.
  [[nodiscard]] int run();

 private:
  [[nodiscard]] bool stands(const Update& update);
  [[nodiscard]] bool removeEntries(const Update& update);
  // Null if the file can't be loaded.
  [[nodiscard]] DeviceXmlFile* xmlFile(const WideText& relativePath);

  UpdatesXml* register_ = nullptr;
  std::optional<PathBelowRoot> primary_;
  std::optional<PathBelowRoot> secondary_;
  std::unordered_map<WideText, std::unique_ptr<DeviceXmlFile>> xmlFiles_;  // by relative path
};

}  // namespace ZelmoraTevra
