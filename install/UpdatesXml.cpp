#include "install/UpdatesXml.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Digest.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/ProcessEnd.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlPrinter.h"
#include "install/IUpdateUninstaller.h"
#include "platform/XmlBounds.h"

namespace ZelmoraTevra {

namespace {

// Files that a package deletes, and entries that were only added or set one value: nothing of them could be
// taken back later.
constexpr std::array unrecordedFileFlags = {4, 6, 7, 8};
constexpr std::array unrecordedCreationFlags = {1, 5};
constexpr std::int32_t wholePathFlag = 4;  // base and condition of the entry stay as they are

template <typename List>
bool contains(const List& list, std::int32_t value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

WideText companyAndName(const UpdateInfo& info) {
  return info.company + u'\0' + info.name;
}

bool hasCompanyAndName(const Update& update, const UpdateInfo& info) {
  return update.info.company == info.company && update.info.name == info.name;
}

bool areEqual(const Update& left, const Update& right) {
  const UpdateInfo& a = left.info;
  const UpdateInfo& b = right.info;
  return a.company == b.company && a.name == b.name && a.version == b.version && a.update == b.update &&
         a.uninstall == b.uninstall && left.files == right.files && left.xmlEntries == right.xmlEntries;
}

// An entry's base names a parent and an element in it. If it names one element only, the other comes from the
// condition: all of which but the value stands behind the base then.
void completeBase(UpdateXmlEntry& entry) {
  const std::size_t slash = entry.condition.rfind(u'/');
  if (entry.base.find(u'/') != WideText::npos || slash == WideText::npos) return;
  entry.base += u'/' + entry.condition.substr(0, slash);
  entry.condition.erase(0, slash + 1);
}

// Leaves of an update what the register records of it.
void reduceToRecord(Update& update) {
  std::erase_if(update.files,
                [](const UpdateFile& file) { return contains(unrecordedFileFlags, file.flag); });
  for (UpdateFile& file : update.files) file.flag = 0;
  std::erase_if(update.xmlEntries, [](const UpdateXmlEntry& entry) {
    return contains(unrecordedCreationFlags, entry.creationFlag);
  });
  for (UpdateXmlEntry& entry : update.xmlEntries) {
    if (entry.creationFlag != wholePathFlag) completeBase(entry);
  }
}

// The user may take it for the last report and pull the device: what a job has to do at its end comes first.
bool reportMissingCard() {
  runProcessEndActions();
  ErrorReport(1134, u"Storage card cannot be accessed. Was it ejected or is it write protected?").save();
  return false;
}

void writeUpdate(TiXmlElement& element, const Update& update) {
  element.SetAttribute("install_location", toUtf8(update.info.installLocation));
  addElement(element, "company", update.info.company);
  addElement(element, "name", update.info.name);
  addElement(element, "version", update.info.version);
  addElement(element, "update", numberText(update.info.update));
  addElement(element, "uninstall", numberText(update.info.uninstall));
  for (const UpdateFile& file : update.files) addElement(addElement(element, "file"), "client", file.client);
  for (const UpdateXmlEntry& entry : update.xmlEntries) {
    TiXmlElement& xmlEntry = addElement(element, "xmlentry");
    addElement(xmlEntry, "file", entry.file);
    TiXmlElement& key = addElement(xmlEntry, "key");
    key.SetAttribute("creationflag", entry.creationFlag);
    addElement(key, "base", entry.base);
    addElement(key, "condition", entry.condition);
  }
}

bool canBeReadAgain(const std::string& text) {
  return static_cast<std::int64_t>(text.size()) <= maximalXmlFileBytes &&
         isWithinXmlBounds(text, maximalXmlDepth, maximalXmlAttributes, maximalXmlMarkup);
}

// The register in the layout of the XML library. A tree of one update at a time: one of all of them takes
// many times the room of the text, and time to match where it doesn't fit into the processor's cache. The
// library's own printer would make an "A" of a text that reads "&#x41;", and break the document at one that
// reads "&#x".
std::string printUpdates(const std::vector<Update>& updates) {
  TiXmlDocument document = newXmlDocument("");
  TiXmlElement& root = addElement(document, "updates");
  const auto isValid = [](const Update& update) { return update.isValid(); };
  if (std::none_of(updates.begin(), updates.end(), isValid)) return printXml(document);

  // Of the root the printer wants to know whether anything is in it.
  addElement(root, "update");
  XmlPrinter printer(std::numeric_limits<std::size_t>::max());
  document.FirstChild()->Accept(&printer);
  printer.VisitEnter(root, nullptr);
  for (const Update& update : updates) {
    if (!update.isValid()) continue;
    TiXmlElement element("update");
    writeUpdate(element, update);
    element.Accept(&printer);
  }
  printer.VisitExit(root);
  return printer.takeText();
}

}  // namespace

UpdatesXml::UpdatesXml(IUpdatesXmlFile* file) : file_(file) {
  if (file_ != nullptr) read();
}

UpdatesXml::~UpdatesXml() {
  try {
    save();
  } catch (const std::exception&) {
    // Nothing of the file has been touched: it is written beside and renamed.
  }
}

bool UpdatesXml::save() {
  if (!dirty_) return true;
  for (Update& update : updates_) reduceToRecord(update);
  dirty_ = !write();
  return !dirty_;
}

Update UpdatesXml::findUpdate(const UpdateInfo& info) const {
  const bool hasCompany = !info.company.empty();
  return findFirst(hasCompany ? companyAndName(info) : info.name, [&info, hasCompany](const Update& update) {
    return update.info.name == info.name && (!hasCompany || update.info.company == info.company) &&
           (info.version.empty() || update.info.version == info.version);
  });
}

Update UpdatesXml::findByCompanyAndName(const UpdateInfo& info) const {
  return findFirst(companyAndName(info),
                   [&info](const Update& update) { return hasCompanyAndName(update, info); });
}

void UpdatesXml::addUpdate(Update update) {
  if (!update.isValid()) return;
  if (update.info.update == 1) removeByCompanyAndName(update.info);
  append(std::move(update));
  dirty_ = true;
}

bool UpdatesXml::removeUpdate(const Update& update) {
  return removeAll(update.info, [&update](const Update& other) { return areEqual(other, update); });
}

bool UpdatesXml::removeByCompanyAndName(const UpdateInfo& info) {
  return removeAll(info, [&info](const Update& update) { return hasCompanyAndName(update, info); });
}

std::vector<Update> UpdatesXml::getUpdates() const {
  std::vector<Update> valid;
  valid.reserve(updates_.size());
  std::copy_if(updates_.begin(), updates_.end(), std::back_inserter(valid),
               [](const Update& update) { return update.isValid(); });
  return valid;
}

void UpdatesXml::setUpdates(std::vector<Update> updates) {
  updates_.clear();
  index_.clear();
  for (Update& update : updates) append(std::move(update));
  dirty_ = true;
}

bool UpdatesXml::uninstallUpdate(const UpdateInfo& info,
                                 const std::vector<std::unique_ptr<IUpdateUninstaller>>& uninstallers) {
  const Update update = findUpdate(info);
  if (!update.isValid()) return false;
  const bool onCard = update.info.installLocation == u"storage_for_content";
  const WideText root = onCard ? info.secondaryPath : file_->getRootPath();
  // A storage that was pulled, or that lets nothing be changed, has had nothing taken off it: asked before,
  // of the card, as the main storage has been asked already, and afterwards.
  const auto isLost = [&root] { return root.empty() || !Directory_new(root).takesWrites(); };
  if (onCard && isLost()) return reportMissingCard();
  for (const std::unique_ptr<IUpdateUninstaller>& uninstaller : uninstallers) {
    if (!uninstaller->uninstall(update, root)) return false;
  }
  if (isLost()) return onCard && reportMissingCard();
  return removeUpdate(update);
}

void UpdatesXml::revert() {
  updates_.clear();
  index_.clear();
  dirty_ = false;
  read();
}

void UpdatesXml::read() {
  const WideText path = file_->getFilePath();
  TiXmlDocument document;
  loaded_ = !path.empty() && loadXml(path, document);
  if (!loaded_) {
    unreadable_ = File_platformIndependent(path).exists() && fileDigest(path).empty();
    return;
  }
  // The library takes a document with several roots.
  TiXmlElement* const root = document.FirstChildElement("updates");
  if (root == nullptr) return;
  takeElements(*root, "update", [this](const TiXmlElement& element) { readUpdate(element); });
}

void UpdatesXml::readUpdate(const TiXmlElement& element) {
  Update update;
  update.info.company = lookupText(&element, "/update/company");
  update.info.name = lookupText(&element, "/update/name");
  update.info.version = lookupText(&element, "/update/version");
  update.info.update = textToInteger(lookupUtf8(&element, "/update/update"));
  update.info.uninstall = textToInteger(lookupUtf8(&element, "/update/uninstall"));
  const WideText location = attributeText(element, "install_location");
  if (!location.empty()) update.info.installLocation = location;

  for (const TiXmlElement* file = element.FirstChildElement("file"); file != nullptr;
       file = file->NextSiblingElement("file"))
    update.files.push_back({lookupText(file, "/file/client"), 0});

  // An entry without a key is of the same kind as the one before it: the flag is not taken back to 0, which
  // would make a changed element of it.
  std::int32_t creationFlag = 0;
  for (const TiXmlElement* entry = element.FirstChildElement("xmlentry"); entry != nullptr;
       entry = entry->NextSiblingElement("xmlentry")) {
    if (const TiXmlElement* const key = entry->FirstChildElement("key"); key != nullptr)
      creationFlag = textToInteger(attributeText(*key, "creationflag"));
    update.xmlEntries.push_back({lookupText(entry, "/xmlentry/file"), creationFlag,
                                 lookupText(entry, "/xmlentry/key/base"),
                                 lookupText(entry, "/xmlentry/key/condition")});
  }
  if (update.isValid()) append(std::move(update));
}

// The document is written beside the file and renamed, so that no half document is ever brought to a device.
bool UpdatesXml::write() const {
  const WideText path = file_ != nullptr ? file_->getFilePath() : WideText();
  if (path.empty() || unreadable_) return false;
  const std::string text = printUpdates(updates_);
  if (!canBeReadAgain(text)) {
    writeLog(u"The register would be too large to be read again.");
    return false;
  }
  File_platformIndependent unfinished(path + u"_tevra_new");
  if (saveXmlText(text, unfinished.path()) && unfinished.renameTo(path)) return true;
  unfinished.remove();
  return false;
}

void UpdatesXml::append(Update update) {
  index_[update.info.name].insert(updates_.size());
  index_[companyAndName(update.info)].insert(updates_.size());
  updates_.push_back(std::move(update));
}

template <typename Condition>
Update UpdatesXml::findFirst(const WideText& key, Condition condition) const {
  const auto found = index_.find(key);
  if (found == index_.end()) return {};
  for (const std::size_t position : found->second) {
    if (condition(updates_[position])) return updates_[position];
  }
  return {};
}

template <typename Condition>
bool UpdatesXml::removeAll(const UpdateInfo& info, Condition condition) {
  const auto found = index_.find(companyAndName(info));
  if (found == index_.end()) return false;
  std::set<std::size_t>& candidates = found->second;
  std::set<std::size_t>& sameName = index_[info.name];
  const std::size_t removed = std::erase_if(candidates, [&](std::size_t position) {
    if (!condition(updates_[position])) return false;
    sameName.erase(position);
    updates_[position] = {};
    return true;
  });
  if (removed != 0) dirty_ = true;
  return removed != 0;
}

}  // namespace ZelmoraTevra
