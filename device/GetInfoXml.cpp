#include "device/GetInfoXml.h"

#include <utility>

#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlNames.h"
#include "device/FolderResponse.h"
#include "device/ScanResponse.h"

namespace ZelmoraTevra {

GetInfoXml::GetInfoXml(std::vector<RemovableDrive> drives)
    : executableBaseName_(StatusXml::instance().executableBaseName()), drives_(std::move(drives)) {}

bool GetInfoXml::writeScan(usbDiskIdentifier identifier) const {
  TiXmlDocument document = newXmlDocument("UTF-8");
  ScanResponse response(addElement(document, programElementName(executableBaseName_)), std::move(identifier));
  for (const RemovableDrive& drive : drives_) response.add(drive);
  return save(document);
}

bool GetInfoXml::writeFolders() const {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, programElementName(executableBaseName_));
  for (const RemovableDrive& drive : drives_) addFolderResponse(root, drive);
  return save(document);
}

bool GetInfoXml::save(const TiXmlDocument& document) const {
  return writeResponse(document);
}

}  // namespace ZelmoraTevra
