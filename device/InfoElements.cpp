#include "device/InfoElements.h"

#include <algorithm>

#include "core/Text.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

bool isBeyondXml(char16_t unit) {
  const bool isBlank = unit == u'\t' || unit == u'\n' || unit == u'\r';
  return (unit < u' ' && !isBlank) || unit >= 0xFFFE;
}

void addBytes(TiXmlElement& parent, const char* name, const std::string& text) {
  addElement(parent, name).InsertEndChild(TiXmlText(text));
}

void addApp(TiXmlElement& parent, const ClientApplication& app) {
  TiXmlElement& element = addElement(parent, "app");
  addTextElement(element, "name", app.name);
  addTextElement(element, "brand", app.brand);
  addTextElement(element, "version", app.version());
  addTextElement(element, "category", app.category);
}

void addContent(TiXmlElement& parent, const ClientContent& content) {
  TiXmlElement& element = addElement(parent, "content");
  addTextElement(element, "company", content.company);
  addTextElement(element, "name", content.name);
  addTextElement(element, "version", content.version());
  addTextElement(element, "category", content.category);
  addTextElement(element, "deletable", numberText(content.deletable));
}

void addMap(TiXmlElement& parent, const ClientMap& map) {
  TiXmlElement& element = addElement(parent, "map");
  addTextElement(element, "name", map.name);
  addTextElement(element, "file", map.file);
  addTextElement(element, "md5SumFirst100kb", map.md5SumFirst100kb);
  addNumberElement(element, "size", map.size);
  addTextElement(element, "deletable", numberText(map.deletable));
  addTextElement(element, "company", map.company);
  addTextElement(element, "version", map.version);
  addTextElement(element, "storageForSoftware", map.storageForSoftware);
}

}  // namespace

void addTextElement(TiXmlElement& parent, const char* name, WideView text) {
  WideText valid(text);
  std::replace_if(valid.begin(), valid.end(), isBeyondXml, u'\uFFFD');
  addBytes(parent, name, toReadableUtf8(valid));
}

void addNumberElement(TiXmlElement& parent, const char* name, std::uint64_t number) {
  addTextElement(parent, name, numberText(static_cast<std::int64_t>(number)));
}

void addFlagElement(TiXmlElement& parent, const char* name, bool flag) {
  addTextElement(parent, name, flag ? u"1" : u"0");
}

void addSpaceElement(TiXmlElement& parent, const VolumeSpace& space) {
  TiXmlElement& element = addElement(parent, "space");
  addNumberElement(element, "total", space.total);
  addNumberElement(element, "free", space.free);
}

void addMisElement(TiXmlElement& parent, const std::string& bytes) {
  std::string text = bytes;
  const auto isControl = [](char byte) { return isBeyondXml(static_cast<unsigned char>(byte)); };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  addBytes(parent, "MIS", text);
}

TiXmlElement& addSoftwareElement(TiXmlElement& parent, const RemovableDriveInfo& info,
                                 const MapSelection& selects) {
  TiXmlElement& element = addElement(parent, "software");
  addTextElement(element, "brand", info.software.brand);
  addTextElement(element, "platform", info.software.platform);
  addTextElement(element, "version", info.software.version());
  addTextElement(element, "hardwareID", info.software.hardwareId);
  addTextElement(element, "gts", info.software.gts);
  addTextElement(element, "deviceUID", info.software.deviceUid);
  addTextElement(element, "IMEI", info.software.imei);
  addTextElement(element, "style", info.software.style);
  if (!info.apps.empty()) {
    TiXmlElement& apps = addElement(element, "apps");
    for (const ClientApplication& app : info.apps)
      if (app.isValid()) addApp(apps, app);
  }
  if (!info.contents.empty()) {
    TiXmlElement& contents = addElement(element, "contents");
    for (const ClientContent& content : info.contents)
      if (content.isValid()) addContent(contents, content);
  }
  if (!info.maps.empty()) {
    TiXmlElement& maps = addElement(element, "maps");
    for (ClientMap map : info.maps)
      if (selects(map)) addMap(maps, map);
  }
  return element;
}

}  // namespace ZelmoraTevra
