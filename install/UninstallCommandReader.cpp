#include "install/UninstallCommandReader.h"

#include "core/BackendLogger.h"
#include "core/CommandValues.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

bool readUninstallCommand(const TiXmlElement& command, CommandRecord& record) {
  const TiXmlElement* const packages = command.FirstChildElement("PackageSequence");
  if (packages == nullptr) {
    ErrorReport(1035, u"Error on reading the package sequence tag!").save();
    return false;
  }
  for (const TiXmlElement* package = packages->FirstChildElement("UninstallPackage"); package != nullptr;
       package = package->NextSiblingElement("UninstallPackage")) {
    const UninstallEntry entry{plainValue(*package, "/UninstallPackage/CompanyName"),
                               plainValue(*package, "/UninstallPackage/ProductName"),
                               plainValue(*package, "/UninstallPackage/ProductVersion")};
    if (entry.product.empty() || entry.version.empty()) {
      writeLog(u"Product name or product version empty!");
      ErrorReport(1034, u"Error on reading the uninstall package information!").save();
      return false;
    }
    record.uninstallEntries.push_back(entry);
  }
  record.storageCardDriveLetter = encodedValue(command, "/Command/StorageCardDriveLetter");
  if (record.storageCardDriveLetter.empty()) {
    ErrorReport(1036, u"Error on reading the storage card drive letter tag!").save();
    return false;
  }
  record.secondDriveLetter = encodedValue(command, "/Command/SecondDriveLetter");
  return true;
}

}  // namespace ZelmoraTevra
