#include "backup/BackupIdentity.h"

#include <chrono>
#include <cstdio>
#include <string>

#include "core/ErrorReport.h"
#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "device/ClientVersionXmlFile.h"
#include "platform/Machine.h"

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

// UTC, as 2012-03-05.
WideText presentDate() {
  const std::chrono::sys_seconds now(std::chrono::seconds(platform::machine().clock->secondsSinceEpoch()));
  const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(now));
  char text[64];
  std::snprintf(text, sizeof text, "%.2i-%.2i-%.2i", static_cast<int>(date.year()),
                static_cast<int>(static_cast<unsigned>(date.month())),
                static_cast<int>(static_cast<unsigned>(date.day())));
  return toWide(text);
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

int describeDevice(const WideText& root, BackupDescription& description) {
  description.creationdate = presentDate();
  if (readDeviceIdentity(root, description)) return 0;
  ErrorReport(1149, u"The version xml could not be found in the source folder!").description(root).save();
  return 1149;
}

bool isSameDevice(const BackupDescription& left, const BackupDescription& right) {
  if (left.personalBackup != right.personalBackup) return false;
  if (areSameAndGiven(left.deviceUID, right.deviceUID)) return true;
  if (areSameAndGiven(left.hardwareID, right.hardwareID)) return true;
  return (hasNoId(left) || hasNoId(right)) && left.platform == right.platform && left.brand == right.brand;
}

}  // namespace ZelmoraTevra
