#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "install/IndexedXmlDocument.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// The texts of an XML entry, in UTF-8. `base` is a path of element names, separated by "/", from the root
// element down. In `condition` and in each of `alters` the last component is a value, and those before it, if
// there are any, are a path below an element that the base leads to; without them the value is that of the
// element itself. Where a path leads to elements that are there, a name may carry a number, as in "map[2]",
// the third of its like; without one it is the first. Values are compared as they are read, with their blanks
// condensed.
struct XmlEdit {
  std::string base;
  std::string condition;
  std::vector<std::string> alters;
};

// An XML document and the five edits that XML entries make in it. A thousand edits in one document cost
// little more than reading and writing it once.
//
// An edit that gives false had nothing to work on, or would have made a document that is none: elements with
// names that XML doesn't have, texts with characters that it doesn't allow, or elements nested deeper than
// they are read. It has then changed nothing, `change` and `replaceOrAppend` excepted, which write those
// values that can be written. All edits give false while there is no document, and from the moment when
// looking for elements has cost more than a document of this size and this number of edits need: the entries
// may have been made for that.
class XmlEdits {
 public:
  // False if the file can't be read or isn't editable.
  bool load(const WideText& path);
  // A document of this element alone. False if that is no name.
  [[nodiscard]] bool create(const std::string& rootName);
  // Writes the document directly over the file. False also if it couldn't be loaded again; the file is then
  // as it was.
  [[nodiscard]] bool save(const WideText& path) const { return document_.save(path); }
  // Whether an edit wanted the document to be saved. One that found nothing to change may have.
  [[nodiscard]] bool isToBeSaved() const { return isToBeSaved_; }

  // Whether no more edits are made because they have cost too much.
  [[nodiscard]] bool isExhausted() const { return isExhausted_; }
  // How many elements have been looked at.
  [[nodiscard]] std::uint64_t lookCount() const { return document_.lookCount(); }

  // Adds new elements, one in the other, for all components of `condition`, below the element of `base`, of
  // which what is missing is made; and below the innermost the alters, each with elements of its own.
  bool append(const XmlEdit& edit);
  // Writes the alters in the first of the elements of `base` that meets the condition. One in which the
  // condition's path leads nowhere, or to an element without a text, ends the search. Without a match nothing
  // changes, and the result is true.
  bool change(const XmlEdit& edit);
  // As `change`; without a match as `append`, with a new element of the base's last name around the alters.
  // A base of the root alone has the alters added to the root.
  bool replaceOrAppend(const XmlEdit& edit);
  // Writes the whole of `condition` to the element of `base`, which must be there. The base may begin with a
  // "/".
  bool setValue(const XmlEdit& edit);
  // Removes the first of the elements of `base` that meets the condition. With a base of the root alone it is
  // the element that the condition's path leads to. Without a match nothing changes, and the result is true.
  bool remove(const XmlEdit& edit);

 private:
  // False if the edit isn't to be made.
  [[nodiscard]] bool beginEdit();
  [[nodiscard]] bool isRoot(const XmlPathStep& step);
  [[nodiscard]] TiXmlElement* findMatch(const XmlEdit& edit);
  [[nodiscard]] bool writeAlters(TiXmlElement& element, const XmlEdit& edit);
  [[nodiscard]] bool write(TiXmlNode& start, const XmlPath& path, const std::string& value);
  [[nodiscard]] bool addBelow(const XmlPath& base, const std::vector<std::string>& names,
                              const std::vector<std::string>& alters);

  IndexedXmlDocument document_;
  bool isLoaded_ = false;
  bool isToBeSaved_ = false;
  bool isExhausted_ = false;
  std::uint64_t allowedLooks_ = 0;
};

}  // namespace ZelmoraTevra
