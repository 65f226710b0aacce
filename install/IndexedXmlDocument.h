#pragma once

#include <tinyxml.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

// "name", the first element of that name, or "name[2]", the third one.
struct XmlPathStep {
  std::string name;
  std::optional<std::size_t> number;  // from 0
};

using XmlPath = std::vector<XmlPathStep>;

// The steps between the slashes; none for an empty text. A step without a name leads to no element.
[[nodiscard]] XmlPath parseXmlPath(std::string_view text);

// The text as it is read when it has been printed, with its blanks condensed.
[[nodiscard]] std::string asReadAgain(const std::string& text);

// An XML document in memory that is changed in many places. What is looked for more than once is indexed, and
// the index is kept right under the changes: a look-up costs about the same however many like elements there
// are.
//
// At any moment the document is as it would be if it were saved and loaded again: texts that are put in or
// come to stand side by side get the form in which they will be read.
class IndexedXmlDocument {
 public:
  // False if the file can't be read or isn't editable. Nothing else may be called then.
  [[nodiscard]] bool load(const WideText& path);
  // A document of this element alone. The name must be one.
  void create(const std::string& rootName);
  // Writes the document directly over the file. False also if it couldn't be loaded again; the file is then
  // as it was.
  [[nodiscard]] bool save(const WideText& path) const;

  [[nodiscard]] TiXmlDocument& document() { return document_; }
  [[nodiscard]] TiXmlElement& root() { return *document_.RootElement(); }

  // Null if there is none.
  [[nodiscard]] TiXmlElement* child(TiXmlNode& parent, const XmlPathStep& step);
  // Below `start`, each step to a child of the element before; `start` for a path without steps.
  [[nodiscard]] TiXmlNode* find(TiXmlNode& start, const XmlPath& path);

  enum class WithoutText { endsTheSearch, isPassedOver };
  // The first of the like children of `parent` below which the path leads to an element with the text; an
  // empty path leads to the child itself. The last argument says what becomes of a child below which the path
  // leads nowhere or to an element without a text; one that is without is found all the same if the text is
  // empty. The text has the form of asReadAgain. Null if there is none.
  [[nodiscard]] TiXmlElement* findByText(TiXmlNode& parent, const std::string& name, const std::string& path,
                                         const std::string& text, WithoutText childWithoutText);
  // How many elements have been looked at so far, with other work that may grow as the square of the document
  // in the same measure: who looks for what a hostile file names stops in time.
  [[nodiscard]] std::uint64_t lookCount() const { return lookCount_ + walkedCount_ / stepsOfLook; }
  // What stands first in the element if that is text, else empty. In the form of asReadAgain, which a CDATA
  // section needn't have in the document. Reading a long text counts as looks.
  [[nodiscard]] std::string textOf(const TiXmlElement& element);

  // A new element behind all other children. The name must be one.
  TiXmlElement& add(TiXmlNode& parent, const std::string& name);
  // The element begins with this text instead of the one it began with. All characters must be allowed.
  void setText(TiXmlElement& element, const std::string& text);
  void remove(TiXmlElement& element);

 private:
  // What is known of the texts at one path below the like elements, by their numbers.
  struct TextSearch {
    XmlPath path;
    std::vector<const std::string*> texts;  // of those looked at so far; null: there is no such element
    std::unordered_map<std::string, std::set<std::size_t>> byText;
    std::set<std::size_t> withoutPath;
    std::uint64_t knownChanges = 0;

    static constexpr std::size_t none = SIZE_MAX;
    // Of those looked at so far, by their numbers; `none` if there is none.
    [[nodiscard]] std::size_t firstWith(const std::string& text) const;
    [[nodiscard]] std::size_t firstWithoutText() const;
  };

  struct TextSearches {
    std::map<std::string, TextSearch> byPath;
    // Which elements changed, and each one's last change; changes are counted.
    std::map<std::uint64_t, std::size_t> changes;
    std::unordered_map<std::size_t, std::uint64_t> lastChange;
    std::uint64_t changeCount = 0;
  };

  // The children of one parent that have the same name. An element's number is its place here, which it
  // keeps, so that the order of numbers is that of the document.
  struct LikeElements {
    std::vector<TiXmlElement*> elements;  // null: removed
    std::size_t removedCount = 0;
    std::size_t first = 0;  // none before it is left
    std::unique_ptr<TextSearches> searches;
  };

  using Children = std::unordered_map<std::string, LikeElements>;

  [[nodiscard]] Children& childrenOf(TiXmlNode& parent);
  // Null if the children of the element's parent aren't indexed.
  [[nodiscard]] LikeElements* likeElementsOf(const TiXmlElement& element);
  [[nodiscard]] TiXmlElement* pick(Children& children, const XmlPathStep& step);
  void enter(Children& children, TiXmlElement& element);
  void forgetSubtree(const TiXmlElement& element);
  // The element or something in it has changed, or in an element around it.
  void noteChange(TiXmlNode& inside);
  // Makes room for a new search if those that are there have taken too much.
  void limitSearches();
  void lookAt(const LikeElements& like, TextSearch& search, std::size_t number);
  void catchUp(const LikeElements& like, TextSearch& search);

  TiXmlDocument document_;
  std::unordered_map<const TiXmlNode*, Children> children_;
  std::unordered_map<const TiXmlNode*, std::size_t> numbers_;  // of the elements in children_
  std::size_t searchBytes_ = 0;                                // about what the searches take
  static constexpr std::uint64_t stepsOfLook = 64;             // from one child to the next
  std::uint64_t lookCount_ = 0;
  std::uint64_t walkedCount_ = 0;
};

}  // namespace ZelmoraTevra
