#include "install/DeviceXmlFile.h"

#include <algorithm>

#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/ReplaceDeviceFile.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t maximalIndexed = 1'000'000;  // elements, over all groups

std::vector<std::string> splitBase(const std::string& base) {
  std::vector<std::string> names;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = base.find('/', start);
    names.push_back(base.substr(start, end - start));
    if (end == std::string::npos) return names;
    start = end + 1;
  }
}

bool isWithin(const TiXmlNode* node, const TiXmlElement& element) {
  while (node != nullptr && node != &element) node = node->Parent();
  return node != nullptr;
}

}  // namespace

bool DeviceXmlFile::load(const WideText& path) {
  path_ = path;
  recoverDeviceFile(path);
  return loadXml(path, document_) && document_.RootElement() != nullptr;
}

bool DeviceXmlFile::hasMatch(const WideText& base, const WideText& condition) {
  return firstMatch(base, condition) != nullptr;
}

void DeviceXmlFile::removeMatch(const WideText& base, const WideText& condition) {
  if (TiXmlElement* const element = firstMatch(base, condition)) removeElement(*element);
}

bool DeviceXmlFile::save() {
  if (!changed_) return true;
  const WideText name = platform::machine().identifiers->newGuid();
  if (name.empty()) return false;
  File_platformIndependent copy(workTempFolder + u'\\' + name);
  const bool saved =
      saveXml(document_, copy.path()) && replaceDeviceFile(copy.path(), path_, u"Device xml file");
  copy.remove();
  changed_ = !saved;
  return saved;
}

TiXmlElement* DeviceXmlFile::firstMatch(const WideText& base, const WideText& condition) {
  const std::string narrowBase = toUtf8(base);
  const std::string narrowCondition = toUtf8(condition);
  const std::size_t slash = narrowCondition.rfind('/');
  const std::string path = slash == std::string::npos ? std::string() : narrowCondition.substr(0, slash);
  const std::string wanted = slash == std::string::npos ? narrowCondition : narrowCondition.substr(slash + 1);

  const Group& found = group(keyOf(narrowBase, path));
  const auto elements = found.byText.find(wanted);
  return elements == found.byText.end() ? nullptr : elements->second.front();
}

DeviceXmlFile::GroupKey DeviceXmlFile::keyOf(const std::string& base, const std::string& conditionPath) {
  const std::vector<std::string> names = splitBase(base);
  GroupKey key{document_.RootElement(), names.back(), '/' + names.back()};
  for (std::size_t index = 1; index + 1 < names.size(); ++index) {
    if (TiXmlElement* const child = key.parent->FirstChildElement(names[index])) key.parent = child;
  }
  if (!conditionPath.empty()) key.textPath += '/' + conditionPath;
  return key;
}

const DeviceXmlFile::Group& DeviceXmlFile::group(const GroupKey& key) {
  const auto known = groups_.find(key);
  if (known != groups_.end()) return known->second;
  // A file with ever new kinds of entries must not fill the memory with their groups.
  if (indexed_ >= maximalIndexed) {
    groups_.clear();
    indexed_ = 0;
  }
  Group& made = groups_[key];
  for (TiXmlElement* element = key.parent->FirstChildElement(key.name); element != nullptr;
       element = element->NextSiblingElement(key.name)) {
    made.byText[lookupUtf8(element, key.textPath)].push_back(element);
    ++indexed_;
  }
  return made;
}

// A group stays right if the element is one of its own, which is taken out, or has nothing to do with it. It
// is dropped if its parent goes with the element, or if the element stood inside of one of the group's, whose
// text may be another now.
void DeviceXmlFile::removeElement(TiXmlElement& element) {
  for (auto position = groups_.begin(); position != groups_.end();) {
    const auto& [key, found] = *position;
    const bool losesParent = isWithin(key.parent, element);
    const bool changesText = key.parent != element.Parent() && isWithin(&element, *key.parent);
    if (losesParent || changesText) {
      position = groups_.erase(position);
      continue;
    }
    if (key.parent == element.Parent() && key.name == element.ValueStr()) {
      auto& byText = position->second.byText;
      const auto elements = byText.find(lookupUtf8(&element, key.textPath));
      if (elements != byText.end()) {
        std::erase(elements->second, &element);
        if (elements->second.empty()) byText.erase(elements);
      }
    }
    ++position;
  }
  element.Parent()->RemoveChild(&element);
  changed_ = true;
}

}  // namespace ZelmoraTevra
