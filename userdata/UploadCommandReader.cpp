#include "userdata/UploadCommandReader.h"

#include "core/CommandValues.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

bool readUploadCommand(const TiXmlElement& command, CommandRecord& record) {
  record.uploadUrl = plainValue(command, "/Command/UploadURL");
  readStorages(command, record);
  if (record.uploadUrl.empty() || record.storageCardDriveLetter.empty()) {
    ErrorReport(1041, u"Error on reading the Upload Files command's parameters!").save();
    return false;
  }
  if (const TiXmlElement* const table = command.FirstChildElement("defaultDeviceSettings7"))
    record.defaultDeviceSettings = std::make_shared<const TiXmlElement>(*table);
  return true;
}

}  // namespace ZelmoraTevra
