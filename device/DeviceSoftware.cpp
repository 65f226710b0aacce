#include "device/DeviceSoftware.h"

#include <exception>
#include <string>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "device/ClientVersionXmlFile.h"

namespace ZelmoraTevra {

namespace {

void logMissing(const IVersionXmlFile& file) {
  const WideText path = file.getFilePath();
  writeLog(u"Fail to find version xml at path: " +
           (path.empty() ? newerVersionFilePath(file.getRootPath()) : path));
}

void logCorrupted(const WideText& path, int errorId) {
  writeLog(u"Version xml corrupted! Error id: " + numberText(errorId) + u" Path: " + path);
}

}  // namespace

std::optional<XmlLoad> loadVersionFile(const IVersionXmlFile& file, TiXmlDocument& document) {
  const WideText path = file.getFilePath();
  const XmlLoad load = loadVersionDocument(path, document);
  if (load == XmlLoad::loaded) return load;
  if (!File_platformIndependent(path).exists()) {
    logMissing(file);
    return std::nullopt;
  }
  logCorrupted(path,
               load == XmlLoad::malformed ? document.ErrorId() : int{TiXmlBase::TIXML_ERROR_OPENING_FILE});
  return load;
}

ClientSoftware softwareIn(const TiXmlElement* root, const IVersionXmlFile& file) {
  ClientSoftware software;
  if (!file.isZelmoraLayout() && !file.isKd3Layout()) return software;
  const std::string section = file.isZelmoraLayout() ? "/config/software/" : "/config/kd3/";
  const auto value = [&](const char* name) { return lookupText(root, section + name); };
  software.brand = value("brand");
  software.platform = value("platform");
  software.setVersion(value("version"));
  software.hardwareId = value("id");
  software.gts = value("gts");
  software.deviceUid = value("productid");
  software.imei = value("IMEI");
  software.style = value("style");
  return software;
}

std::optional<ClientSoftware> readDeviceSoftware(const WideText& root) {
  const ClientVersionXmlFile file(root);
  TiXmlDocument document;
  if (loadVersionFile(file, document) != XmlLoad::loaded) return std::nullopt;
  try {
    return softwareIn(document.RootElement(), file);
  } catch (const std::exception&) {
    logCorrupted(file.getFilePath(), TiXmlBase::TIXML_NO_ERROR);
    return std::nullopt;
  }
}

}  // namespace ZelmoraTevra
