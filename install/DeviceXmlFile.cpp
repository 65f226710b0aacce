#include "install/DeviceXmlFile.h"

#include <utility>

#include "core/File_platformIndependent.h"
#include "core/ReplaceDeviceFile.h"
#include "core/Text.h"
#include "core/WorkFile.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int32_t addingFlag = 3;  // the one registered kind of entry that adds elements

}  // namespace

bool DeviceXmlFile::load(const WideText& path) {
  path_ = path;
  recoverDeviceFile(path);
  return document_.load(path);
}

bool DeviceXmlFile::hasMatch(const UpdateXmlEntry& entry) {
  return isExhausted() || firstMatch(wantedBy(entry)) != nullptr;
}

void DeviceXmlFile::removeMatch(const UpdateXmlEntry& entry) {
  if (isExhausted()) return;
  if (TiXmlElement* const element = firstMatch(wantedBy(entry))) remove(*element);
}

bool DeviceXmlFile::removeMatches(const UpdateXmlEntry& entry) {
  const Wanted wanted = wantedBy(entry);
  if (!wanted.namesRoot || wanted.text.empty()) return false;
  bool removedOne = false;
  TiXmlNode* const parent = document_.find(document_.root(), wanted.parent);
  while (parent != nullptr && !isExhausted()) {
    TiXmlElement* const element = matchBelow(*parent, wanted);
    if (element == nullptr) break;
    remove(*element);
    removedOne = true;
    // The one that has its number now was never meant.
    if (wanted.element.number) break;
  }
  if (removedOne) return true;
  while (!isExhausted()) {
    TiXmlElement* const element = matchAddedToRoot(wanted);
    if (element == nullptr) break;
    remove(*element);
    removedOne = true;
  }
  return removedOne;
}

bool DeviceXmlFile::save() {
  if (!changed_) return true;
  const WideText path = newWorkFilePath();
  if (path.empty()) return false;
  File_platformIndependent copy(path);
  const bool saved = document_.save(copy.path()) && replaceDeviceFile(copy.path(), path_, u"Device xml file");
  copy.remove();
  changed_ = !saved;
  return saved;
}

DeviceXmlFile::Wanted DeviceXmlFile::wantedBy(const UpdateXmlEntry& entry) {
  Wanted wanted;
  wanted.text = toUtf8(entry.condition);
  const std::size_t slash = wanted.text.rfind('/');
  if (slash != std::string::npos) {
    wanted.path = wanted.text.substr(0, slash);
    wanted.text.erase(0, slash + 1);
  }
  wanted.text = asReadAgain(wanted.text);
  const std::string base = toUtf8(entry.base);
  wanted.parent = parseXmlPath(base);
  if (wanted.parent.empty()) return wanted;
  wanted.element = wanted.parent.back();
  const XmlPathStep& first = wanted.parent.front();
  wanted.namesRoot = first.name == document_.root().ValueStr() && first.number.value_or(0) == 0;
  wanted.parent.pop_back();
  if (!wanted.parent.empty()) wanted.parent.erase(wanted.parent.begin());
  if (wanted.namesRoot && entry.creationFlag == addingFlag && slash == std::string::npos &&
      !wanted.parent.empty() && !wanted.parent.front().number)
    wanted.pathBelowAdded = base.substr(base.find('/', base.find('/') + 1) + 1);
  return wanted;
}

TiXmlElement* DeviceXmlFile::firstMatch(const Wanted& wanted) {
  TiXmlNode* parent = &document_.root();
  for (const XmlPathStep& step : wanted.parent)
    if (TiXmlElement* const child = document_.child(*parent, step)) parent = child;
  TiXmlElement* const element = matchBelow(*parent, wanted);
  return element != nullptr ? element : matchAddedToRoot(wanted);
}

TiXmlElement* DeviceXmlFile::matchBelow(TiXmlNode& parent, const Wanted& wanted) {
  if (!wanted.element.number)
    return document_.findByText(parent, wanted.element.name, wanted.path, wanted.text,
                                IndexedXmlDocument::WithoutText::isPassedOver);
  TiXmlElement* const element = document_.child(parent, wanted.element);
  TiXmlNode* const found = element != nullptr ? document_.find(*element, parseXmlPath(wanted.path)) : nullptr;
  return found != nullptr && document_.textOf(*found->ToElement()) == wanted.text ? element : nullptr;
}

TiXmlElement* DeviceXmlFile::matchAddedToRoot(const Wanted& wanted) {
  if (wanted.pathBelowAdded.empty() || wanted.text.empty()) return nullptr;
  TiXmlElement* const child =
      document_.findByText(document_.root(), wanted.parent.front().name, wanted.pathBelowAdded, wanted.text,
                           IndexedXmlDocument::WithoutText::isPassedOver);
  return child != nullptr ? document_.find(*child, parseXmlPath(wanted.pathBelowAdded))->ToElement()
                          : nullptr;
}

void DeviceXmlFile::remove(TiXmlElement& element) {
  document_.remove(element);
  changed_ = true;
}

}  // namespace ZelmoraTevra
