#include "backup/BackupIdentity.h"

#include <string>

#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "device/ClientVersionXmlFile.h"

namespace ZelmoraTevra {

namespace {

bool readVersionFile(const WideText& root, const WideText& file, const std::string& section,
                     BackupDescription& description) {
  const std::optional<WideText> path = PathBelowRoot(root).join(file);
  TiXmlDocument document;
  if (!path || loadVersionDocument(*path, document) != XmlLoad::loaded) return false;
  const auto value = [&](const char* name) {
    return lookupText(document.RootElement(), "/config/" + section + '/' + name);
  };
  description.brand = value("brand");
  description.platform = value("platform");
  description.version = value("version");
  description.hardwareID = value("id");
  description.deviceUID = value("productid");
  return true;
}

bool areSameAndGiven(const WideText& left, const WideText& right) {
  return !left.empty() && left == right;
}

bool hasNoId(const BackupDescription& identity) {
  return identity.hardwareID.empty() && identity.deviceUID.empty();
}

}  // namespace

bool readDeviceIdentity(const WideText& root, BackupDescription& description) {
  recoverVersionFile(root);
  return readVersionFile(root, u"ZELMORA\\version.xml", "software", description) ||
         readVersionFile(root, u"KD3\\version.xml", "kd3", description);
}

bool isSameDevice(const BackupDescription& left, const BackupDescription& right) {
  if (left.personalBackup != right.personalBackup) return false;
  if (areSameAndGiven(left.deviceUID, right.deviceUID)) return true;
  if (areSameAndGiven(left.hardwareID, right.hardwareID)) return true;
  return (hasNoId(left) || hasNoId(right)) && left.platform == right.platform && left.brand == right.brand;
}

}  // namespace ZelmoraTevra
