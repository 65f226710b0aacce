#pragma once

#include <tinyxml.h>

#include <compare>
#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// An XML file of a device, held in memory, in which the elements of XML entries are found and removed. All
// look-ups with the same base and the same path in the condition together cost one walk over the elements.
//
// An entry's base is a path of element names separated by "/": from the root element, which any first name
// stands for, down to a parent, where a name that isn't found is passed over, and last the name of the
// elements in question. Its condition is a path below such an element and, behind the last "/", the text that
// is wanted there; without a "/" it is the text of the element itself.
class DeviceXmlFile {
 public:
  // Puts an interrupted replacement of the file right first. False if the file can't be read or isn't
  // well-formed.
  [[nodiscard]] bool load(const WideText& path);
  [[nodiscard]] bool hasMatch(const WideText& base, const WideText& condition);
  // Removes the first match, if there is one, in memory.
  void removeMatch(const WideText& base, const WideText& condition);
  // Replaces the device's file if something was removed.
  [[nodiscard]] bool save();

 private:
  // Which elements are looked at, and where below them.
  struct GroupKey {
    TiXmlElement* parent;
    std::string name;
    std::string textPath;
    friend auto operator<=>(const GroupKey&, const GroupKey&) = default;
  };

  // The elements that a base and a condition's path lead to, by the text that stands there.
  struct Group {
    std::unordered_map<std::string, std::vector<TiXmlElement*>> byText;  // in document order
  };

  [[nodiscard]] GroupKey keyOf(const std::string& base, const std::string& conditionPath);
  [[nodiscard]] const Group& group(const GroupKey& key);
  [[nodiscard]] TiXmlElement* firstMatch(const WideText& base, const WideText& condition);
  void removeElement(TiXmlElement& element);

  WideText path_;
  TiXmlDocument document_;
  bool changed_ = false;
  std::map<GroupKey, Group> groups_;
  std::size_t indexed_ = 0;  // elements put into groups
};

}  // namespace ZelmoraTevra
