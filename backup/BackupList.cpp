#include "backup/BackupList.h"

#include <memory>
#include <optional>
#include <vector>

#include "backup/BackupDescription.h"
#include "backup/BackupFolder.h"
#include "backup/PathText.h"
#include "backup/PresentFiles.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlNames.h"

namespace ZelmoraTevra {

namespace {

bool hasAllFiles(const TiXmlElement& contents, const WideText& folder) {
  const TiXmlElement* const list = contents.FirstChildElement("BackupFiles");
  if (list == nullptr) return true;
  PresentFiles present(folder);
  for (const TiXmlElement* file = list->FirstChildElement("File"); file != nullptr;
       file = file->NextSiblingElement("File")) {
    const char* const text = file->Attribute("path");
    if (text == nullptr || *text == '\0') continue;
    const std::optional<WideText> path = pathOfText(text);
    if (!path || !present.has(*path)) return false;
  }
  return true;
}

// The head of the backup in a folder; null for one that can't be offered.
std::unique_ptr<TiXmlNode> headOf(const WideText& folder) {
  TiXmlDocument document;
  if (!loadXml(descriptionPath(folder, lastComponent(folder)), document, maximalDescriptionMarkup))
    return nullptr;
  const TiXmlElement* const contents = document.FirstChildElement("BackupContents");
  const TiXmlElement* const head = contents != nullptr ? contents->FirstChildElement("backup") : nullptr;
  // One head with a byte that isn't text would make the answer unreadable for all.
  if (head == nullptr || !isXmlText(printXml(*head)) || !hasAllFiles(*contents, folder)) return nullptr;
  return std::unique_ptr<TiXmlNode>(head->Clone());
}

}  // namespace

int BackupList::listBackups() {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, programElementName(StatusXml::instance().executableBaseName()));
  std::vector<WideText> folders;
  Directory_new(backupRootFolder).folders(folders, false);
  for (const WideText& folder : folders) {
    if (std::unique_ptr<TiXmlNode> head = headOf(folder)) root.LinkEndChild(head.release());
  }
  response_ = document;
  return 0;
}

int BackupList::writeBackupList() const {
  if (!response_) return 1;
  if (writeResponse(*response_)) return 0;
  ErrorReport report(1048, u"The backup xml description could not be saved!");
  if (!commandsInSharedMemory)
    report.attribute(u"FILE", toForwardSlashes(StatusXml::instance().statusFilePath()));
  report.save();
  return -1;
}

}  // namespace ZelmoraTevra
