#include "device/DeviceSettings.h"

#include "core/ErrorReport.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

int readTable(const TiXmlElement* table, std::vector<SettingsFile>& files, std::vector<WideText>& folders) {
  if (table == nullptr) {
    // Not the document that was read: the front end knows the fault by this text.
    ErrorReport(1148, u"res/xml/BackupSettings.xml").save();
    return -1;
  }
  const TiXmlElement* const fileList = table->FirstChildElement("files");
  for (const TiXmlElement* file = fileList != nullptr ? fileList->FirstChildElement("file") : nullptr;
       file != nullptr; file = file->NextSiblingElement("file")) {
    const bool tells = file->Attribute("doNotDelete") != nullptr;
    files.push_back({lookupText(file, "/file"), tells ? attributeText(*file, "doNotDelete") : u"0"});
  }
  const TiXmlElement* const folderList = table->FirstChildElement("folders");
  for (const TiXmlElement* folder = folderList != nullptr ? folderList->FirstChildElement("folder") : nullptr;
       folder != nullptr; folder = folder->NextSiblingElement("folder"))
    folders.push_back(lookupText(folder, "/folder"));
  return 0;
}

const TiXmlElement* findSpecialTable(const TiXmlElement& root, const ClientSoftware& software) {
  const std::string brand = toUtf8(software.brand);
  const std::string platform = toUtf8(software.platform);
  const auto is = [](const TiXmlElement& table, const char* name, const std::string& value) {
    const char* const attribute = table.Attribute(name);
    return attribute != nullptr && value == attribute;
  };
  const TiXmlElement* table = root.FirstChildElement("specialDeviceSettings");
  while (table != nullptr && !(is(*table, "brand", brand) && is(*table, "platform", platform)))
    table = table->NextSiblingElement("specialDeviceSettings");
  return table;
}

bool hasDefaultTable(const ClientSoftware& software) {
  const char16_t generation = software.version().front();
  return generation == u'6' || generation == u'7';
}

}  // namespace

int readDeviceSettings(const WideText& file, const std::string& rootName, const ClientSoftware& software,
                       std::vector<SettingsFile>& files, std::vector<WideText>& folders,
                       const TiXmlElement* inlineTable) {
  if (inlineTable != nullptr) return readTable(inlineTable, files, folders);
  TiXmlDocument document;
  if (!loadXml(file, document)) {
    ErrorReport(1151, file).save();
    return -1;
  }
  if (const TiXmlElement* const root = document.FirstChildElement(rootName)) {
    if (const TiXmlElement* const table = findSpecialTable(*root, software))
      return readTable(table, files, folders);
    if (hasDefaultTable(software))
      return readTable(root->FirstChildElement("defaultDeviceSettings7"), files, folders);
  }
  ErrorReport(1150, file).save();
  return -1;
}

}  // namespace ZelmoraTevra
