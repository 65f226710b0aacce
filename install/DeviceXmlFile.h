#pragma once

#include <tinyxml.h>

#include <compare>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
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
// is wanted there; without a "/" it is the text of the element itself. `removeMatches` reads a base more
// strictly.
class DeviceXmlFile {
 public:
  // Puts an interrupted replacement of the file right first. False if the file can't be read or isn't
  // well-formed.
  [[nodiscard]] bool load(const WideText& path);
  [[nodiscard]] bool hasMatch(const WideText& base, const WideText& condition);
  // Removes the first match, if there is one, in memory.
  void removeMatch(const WideText& base, const WideText& condition);
  // Removes all matches in memory; true if there was one. Here the first name of the base must be that of the
  // root element and each name between the first one and the last must be found; an empty text matches
  // nothing.
  bool removeMatches(const WideText& base, const WideText& condition);
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
    // Against document order, so that the first one can be dropped; removed ones may still be among them.
    std::unordered_map<std::string, std::vector<TiXmlElement*>> byText;
  };

  [[nodiscard]] GroupKey lenientKey(const std::string& base, const std::string& conditionPath);
  [[nodiscard]] std::optional<GroupKey> strictKey(const std::string& base, const std::string& conditionPath);
  [[nodiscard]] Group& group(const GroupKey& key);
  [[nodiscard]] TiXmlElement* firstMatch(const WideText& base, const WideText& condition);
  void removeElement(TiXmlElement& element);

  WideText path_;
  TiXmlDocument document_;
  bool changed_ = false;
  std::map<GroupKey, Group> groups_;
  std::size_t indexed_ = 0;  // elements put into groups
  // Elements that groups may still name. No element is ever added, so that no address comes up again.
  std::unordered_set<const TiXmlElement*> removed_;
};

}  // namespace ZelmoraTevra
