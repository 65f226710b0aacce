#include "device/ClientInventoryReader.h"

#include <optional>
#include <utility>

#include "core/EditableXml.h"
#include "core/File_platformIndependent.h"
#include "core/ReplaceDeviceFile.h"
#include "core/WorkFile.h"
#include "core/XmlDocument.h"
#include "device/ClientVersionXmlFile.h"
#include "device/DeviceSoftware.h"
#include "device/InstalledUpdates.h"

namespace ZelmoraTevra {

namespace {

// A node that isn't an element, as a comment, has no children.
WideText childText(const TiXmlNode& node, const char* name) {
  const TiXmlElement* const child = node.FirstChildElement(name);
  const char* const text = child != nullptr ? child->GetText() : nullptr;
  return text != nullptr ? toWide(text) : WideText();
}

}  // namespace

ClientInventoryReader::ClientInventoryReader(const IVersionXmlFile& versionFile, IUpdatesXmlFile& updatesFile,
                                             WideText contentRoot)
    : versionFile_(versionFile), updatesFile_(updatesFile), contentRoot_(std::move(contentRoot)) {
  read();
}

void ClientInventoryReader::read() {
  TiXmlDocument document;
  const std::optional<XmlLoad> load = loadVersionFile(versionFile_, document);
  if (!load) return;
  // What the parser kept of a damaged file is saved, not believed.
  const TiXmlElement* const root = load == XmlLoad::loaded ? document.RootElement() : nullptr;

  const UpdatesXml updatesRegister(&updatesFile_);
  const InstalledUpdates updates(updatesRegister);
  readSoftware(root);
  if (!software_.brand.empty() && !software_.platform.empty()) backUpVersionFile(versionFile_);
  readApps(root);
  readContents(root, updates);
  readMaps(root, updates);
  // What was kept may look sound and hold half. Where a backup waits, the next connection restores that.
  if (load == XmlLoad::malformed && !mayHaveSoundBackup(versionFile_.getRootPath()))
    saveWhatWasKept(document);
}

void ClientInventoryReader::readSoftware(const TiXmlElement* root) {
  software_ = softwareIn(root, versionFile_);
  if (software_.gts.empty()) software_.gts = readUserSettingsDate(versionFile_);
}

void ClientInventoryReader::readApps(const TiXmlElement* root) {
  const TiXmlElement* const apps = findElement(root, "/config/apps");
  if (apps == nullptr) return;
  for (const TiXmlNode* node = apps->FirstChild(); node != nullptr; node = node->NextSibling()) {
    ClientApplication app;
    app.name = childText(*node, "name");
    app.brand = childText(*node, "brand");
    app.setVersion(childText(*node, "version"));
    app.category = toWide(node->ValueStr());
    apps_.push_back(std::move(app));
  }
}

void ClientInventoryReader::readContents(const TiXmlElement* root, const InstalledUpdates& updates) {
  const TiXmlElement* const contents = findElement(root, "/config/content");
  if (contents == nullptr) return;
  for (const TiXmlNode* node = contents->FirstChild(); node != nullptr; node = node->NextSibling()) {
    ClientContent content;
    content.company = childText(*node, "company");
    content.name = childText(*node, "name");
    // The register has the version as the file has it, which may not be in normal form.
    const WideText version = childText(*node, "version");
    content.setVersion(version);
    content.category = toWide(node->ValueStr());
    if (const Update* const update = updates.find(content.company, content.name, version))
      content.deletable = update->info.uninstall;
    contents_.push_back(std::move(content));
  }
}

void ClientInventoryReader::readMaps(const TiXmlElement* root, const InstalledUpdates& updates) {
  if (root == nullptr) return;
  InstalledMapFiles files(versionFile_.getRootPath(), contentRoot_);
  for (const TiXmlElement* element = root->FirstChildElement("map"); element != nullptr;
       element = element->NextSiblingElement("map")) {
    ClientMap map;
    map.name = childText(*element, "name");
    map.company = childText(*element, "company");
    map.version = childText(*element, "version");
    if (const Update* const update = updates.find(map.company, map.name, map.version)) {
      map.deletable = update->info.uninstall;
      files.describe(*update, map);
    }
    maps_.push_back(std::move(map));
  }
}

void ClientInventoryReader::saveWhatWasKept(const TiXmlDocument& document) const {
  const WideText path = newWorkFilePath();
  if (path.empty()) return;
  File_platformIndependent copy(path);
  if (saveEditableXml(document, copy.path()))
    static_cast<void>(replaceDeviceFile(copy.path(), versionFile_.getFilePath(), u"Version xml file"));
  copy.remove();
}

}  // namespace ZelmoraTevra
