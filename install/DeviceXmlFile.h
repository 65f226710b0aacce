#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>

#include "install/IndexedXmlDocument.h"
#include "install/UpdatesXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// An XML file of a device, held in memory, in which the elements of XML entries are found and removed.
//
// An entry's base is a path of element names separated by "/": from the root element, which any first name
// stands for, down to a parent, where a name that isn't found is passed over, and last the name of the
// elements in question. Its condition is a path below such an element and, behind the last "/", the text that
// is wanted there; without a "/" it is the text of the element itself. A name may carry a number, as where
// elements are installed. `removeMatches` reads a base more strictly.
//
// An installation with a base of the root alone adds elements to the root although like ones are there, and
// the register then holds a base that leads into the first of these. So of an entry that may be such a one
// the other like children of the root are looked at too if the first one doesn't match.
class DeviceXmlFile {
 public:
  // Puts an interrupted replacement of the file right first. False if the file can't be read or isn't
  // well-formed.
  [[nodiscard]] bool load(const WideText& path);
  // Whether looking for elements has cost so much that no more of it is done: a register may have been made
  // for that. Then nothing more is removed, of the last entry perhaps not all that matched, and nothing can
  // be told of an entry.
  [[nodiscard]] bool isExhausted() const { return document_.lookCount() >= maximalLooks; }
  // True also if it is exhausted.
  [[nodiscard]] bool hasMatch(const UpdateXmlEntry& entry);
  // Removes the first match, if there is one, in memory.
  void removeMatch(const UpdateXmlEntry& entry);
  // Removes all matches in memory; true if there was one. Here the first name of the base must be that of the
  // root element and each name between the first one and the last must be found; an empty text matches
  // nothing.
  bool removeMatches(const UpdateXmlEntry& entry);
  // Replaces the device's file if something was removed.
  [[nodiscard]] bool save();

 private:
  static constexpr std::uint64_t maximalLooks = 2'000'000;

  // What an entry asks for, in UTF-8.
  struct Wanted {
    XmlPath parent;  // without the root
    XmlPathStep element;
    std::string path;
    std::string text;
    bool namesRoot = false;  // the base begins with the root's name
    // Of an element that may have been added to the root beside like ones; empty for all others.
    std::string pathBelowAdded;
  };

  [[nodiscard]] Wanted wantedBy(const UpdateXmlEntry& entry);
  [[nodiscard]] TiXmlElement* firstMatch(const Wanted& wanted);
  [[nodiscard]] TiXmlElement* matchBelow(TiXmlNode& parent, const Wanted& wanted);
  [[nodiscard]] TiXmlElement* matchAddedToRoot(const Wanted& wanted);
  void remove(TiXmlElement& element);

  WideText path_;
  IndexedXmlDocument document_;
  bool changed_ = false;
};

}  // namespace ZelmoraTevra
