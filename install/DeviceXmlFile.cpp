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

  auto group = groups_.find({narrowBase, path});
  if (group == groups_.end())
    group = groups_.emplace(std::pair(narrowBase, path), makeGroup(narrowBase, path)).first;
  const auto elements = group->second.byText.find(wanted);
  return elements == group->second.byText.end() ? nullptr : elements->second.front();
}

DeviceXmlFile::Group DeviceXmlFile::makeGroup(const std::string& base, const std::string& conditionPath) {
  const std::vector<std::string> names = splitBase(base);
  Group group;
  group.parent = document_.RootElement();
  for (std::size_t index = 1; index + 1 < names.size(); ++index) {
    if (TiXmlElement* const child = group.parent->FirstChildElement(names[index])) group.parent = child;
  }
  group.name = names.back();
  group.textPath = '/' + group.name;
  if (!conditionPath.empty()) group.textPath += '/' + conditionPath;
  for (TiXmlElement* element = group.parent->FirstChildElement(group.name); element != nullptr;
       element = element->NextSiblingElement(group.name))
    group.byText[lookupUtf8(element, group.textPath)].push_back(element);
  return group;
}

// The other groups stay right: a group changes only if the element is one of its own or holds its parent.
void DeviceXmlFile::removeElement(TiXmlElement& element) {
  for (auto position = groups_.begin(); position != groups_.end();) {
    Group& group = position->second;
    if (isWithin(group.parent, element)) {
      position = groups_.erase(position);
      continue;
    }
    if (group.parent == element.Parent() && group.name == element.ValueStr()) {
      const auto elements = group.byText.find(lookupUtf8(&element, group.textPath));
      std::erase(elements->second, &element);
      if (elements->second.empty()) group.byText.erase(elements);
    }
    ++position;
  }
  element.Parent()->RemoveChild(&element);
  changed_ = true;
}

}  // namespace ZelmoraTevra
