#include "install/DeviceXmlFile.h"

#include <algorithm>
#include <utility>

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

struct Condition {
  std::string path;  // empty: the element itself
  std::string text;
};

Condition splitCondition(const WideText& condition) {
  std::string text = toUtf8(condition);
  const std::size_t slash = text.rfind('/');
  if (slash == std::string::npos) return {{}, std::move(text)};
  return {text.substr(0, slash), text.substr(slash + 1)};
}

std::string textPath(const std::string& name, const std::string& conditionPath) {
  return conditionPath.empty() ? '/' + name : '/' + name + '/' + conditionPath;
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

bool DeviceXmlFile::removeMatches(const WideText& base, const WideText& condition) {
  const Condition wanted = splitCondition(condition);
  const std::optional<GroupKey> key = strictKey(toUtf8(base), wanted.path);
  if (!key || wanted.text.empty()) return false;
  Group& found = group(*key);
  const auto elements = found.byText.find(wanted.text);
  if (elements == found.byText.end()) return false;
  // Taken out first: all of them go, and the group itself may be dropped on the way.
  const std::vector<TiXmlElement*> matches = std::move(elements->second);
  found.byText.erase(elements);
  bool removedOne = false;
  for (TiXmlElement* const element : matches) {
    if (removed_.contains(element)) continue;
    removeElement(*element);
    removedOne = true;
  }
  return removedOne;
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
  const Condition wanted = splitCondition(condition);
  Group& found = group(lenientKey(toUtf8(base), wanted.path));
  const auto elements = found.byText.find(wanted.text);
  if (elements == found.byText.end()) return nullptr;
  while (!elements->second.empty() && removed_.contains(elements->second.back())) elements->second.pop_back();
  return elements->second.empty() ? nullptr : elements->second.back();
}

DeviceXmlFile::GroupKey DeviceXmlFile::lenientKey(const std::string& base, const std::string& conditionPath) {
  const std::vector<std::string> names = splitBase(base);
  TiXmlElement* parent = document_.RootElement();
  for (std::size_t index = 1; index + 1 < names.size(); ++index) {
    if (TiXmlElement* const child = parent->FirstChildElement(names[index])) parent = child;
  }
  return {parent, names.back(), textPath(names.back(), conditionPath)};
}

std::optional<DeviceXmlFile::GroupKey> DeviceXmlFile::strictKey(const std::string& base,
                                                                const std::string& conditionPath) {
  const std::vector<std::string> names = splitBase(base);
  TiXmlElement* parent = document_.RootElement();
  if (names.front() != parent->ValueStr()) return std::nullopt;
  for (std::size_t index = 1; index + 1 < names.size() && parent != nullptr; ++index)
    parent = parent->FirstChildElement(names[index]);
  if (parent == nullptr) return std::nullopt;
  return GroupKey{parent, names.back(), textPath(names.back(), conditionPath)};
}

DeviceXmlFile::Group& DeviceXmlFile::group(const GroupKey& key) {
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
  for (auto& [text, elements] : made.byText) std::reverse(elements.begin(), elements.end());
  return made;
}

// A group is dropped if its parent goes with the element, or if the element stood inside of one of the
// group's, whose text may be another now. If the element is one of the group's own, it is passed over there.
void DeviceXmlFile::removeElement(TiXmlElement& element) {
  std::erase_if(groups_, [&element](const auto& entry) {
    const GroupKey& key = entry.first;
    const bool losesParent = isWithin(key.parent, element);
    const bool changesText = key.parent != element.Parent() && isWithin(&element, *key.parent);
    return losesParent || changesText;
  });
  removed_.insert(&element);
  element.Parent()->RemoveChild(&element);
  changed_ = true;
}

}  // namespace ZelmoraTevra
