#include "install/XmlEdits.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/XmlDocument.h"
#include "core/XmlNames.h"

namespace ZelmoraTevra {

namespace {

// What may be looked at: enough for a few searches through the whole document, and for what each edit
// changes.
constexpr std::uint64_t looksOfAnyDocument = 2'000'000;
constexpr std::uint64_t looksOfElement = 8;
constexpr std::uint64_t looksOfEdit = 64;

std::uint64_t elementCount(const TiXmlNode& parent) {
  std::uint64_t count = 0;
  for (const TiXmlElement* child = parent.FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement())
    count += 1 + elementCount(*child);
  return count;
}

struct PathAndValue {
  std::string path;
  std::string value;
};

PathAndValue splitAtLastSlash(const std::string& text) {
  const std::size_t slash = text.rfind('/');
  if (slash == std::string::npos) return {std::string(), text};
  return {text.substr(0, slash), text.substr(slash + 1)};
}

std::vector<std::string> componentsOf(std::string_view text) {
  std::vector<std::string> components;
  for (;;) {
    const std::size_t end = std::min(text.find('/'), text.size());
    components.emplace_back(text.substr(0, end));
    if (end == text.size()) return components;
    text.remove_prefix(end + 1);
  }
}

// New elements, one in the other, and the text of the innermost.
struct NewElements {
  std::vector<std::string> names;
  std::string text;
};

NewElements elementsOf(const std::string& alter) {
  NewElements elements{componentsOf(alter), {}};
  elements.text = std::move(elements.names.back());
  elements.names.pop_back();
  return elements;
}

bool areXmlNames(const std::vector<std::string>& names) {
  return std::all_of(names.begin(), names.end(), [](const std::string& name) { return isXmlName(name); });
}

// The root's level is 1.
std::size_t levelOf(const TiXmlNode& element) {
  std::size_t level = 0;
  for (const TiXmlNode* node = &element; node->ToElement() != nullptr; node = node->Parent()) ++level;
  return level;
}

}  // namespace

bool XmlEdits::load(const WideText& path) {
  isLoaded_ = document_.load(path);
  if (isLoaded_) allowedLooks_ = looksOfAnyDocument + looksOfElement * elementCount(document_.root());
  return isLoaded_;
}

bool XmlEdits::create(const std::string& rootName) {
  if (!isXmlName(rootName)) return false;
  document_.create(rootName);
  isLoaded_ = true;
  allowedLooks_ = looksOfAnyDocument;
  return true;
}

bool XmlEdits::append(const XmlEdit& edit) {
  return beginEdit() && addBelow(parseXmlPath(edit.base), componentsOf(edit.condition), edit.alters);
}

bool XmlEdits::change(const XmlEdit& edit) {
  if (!beginEdit()) return false;
  isToBeSaved_ = true;
  TiXmlElement* const element = findMatch(edit);
  return element == nullptr || writeAlters(*element, edit);
}

bool XmlEdits::replaceOrAppend(const XmlEdit& edit) {
  if (!beginEdit()) return false;
  if (TiXmlElement* const element = findMatch(edit)) {
    isToBeSaved_ = true;
    return writeAlters(*element, edit);
  }
  XmlPath base = parseXmlPath(edit.base);
  if (base.size() < 2) return addBelow(base, {}, edit.alters);
  const XmlPathStep last = std::move(base.back());
  base.pop_back();
  return !last.number && addBelow(base, {last.name}, edit.alters);
}

// The base is a whole path of its own here, which may begin with a "/".
bool XmlEdits::setValue(const XmlEdit& edit) {
  const bool beginsWithSlash = edit.base.starts_with('/');
  const XmlPath base = parseXmlPath(std::string_view(edit.base).substr(beginsWithSlash ? 1 : 0));
  if (!beginEdit() || !write(document_.document(), base, edit.condition)) return false;
  isToBeSaved_ = true;
  return true;
}

bool XmlEdits::remove(const XmlEdit& edit) {
  if (!beginEdit()) return false;
  const auto [path, value] = splitAtLastSlash(edit.condition);
  XmlPath base = parseXmlPath(edit.base);
  TiXmlNode* match = nullptr;
  if (base.size() < 2) {
    match = path.empty() ? nullptr : document_.find(document_.root(), parseXmlPath(path));
    if (match != nullptr && document_.textOf(*match->ToElement()) != asReadAgain(value)) match = nullptr;
  } else {
    if (!isRoot(base.front())) return false;
    const XmlPathStep last = std::move(base.back());
    base.pop_back();
    TiXmlNode* const parent = document_.find(document_.document(), base);
    if (parent != nullptr && !last.number)
      match = document_.findByText(*parent, last.name, path, asReadAgain(value),
                                   IndexedXmlDocument::WithoutText::isPassedOver);
  }
  if (match == nullptr) return true;
  document_.remove(*match->ToElement());
  isToBeSaved_ = true;
  return true;
}

bool XmlEdits::beginEdit() {
  allowedLooks_ += looksOfEdit;
  if (document_.lookCount() > allowedLooks_) isExhausted_ = true;
  return isLoaded_ && !isExhausted_;
}

bool XmlEdits::isRoot(const XmlPathStep& step) {
  return step.name == document_.root().ValueStr() && step.number.value_or(0) == 0;
}

TiXmlElement* XmlEdits::findMatch(const XmlEdit& edit) {
  XmlPath base = parseXmlPath(edit.base);
  if (base.empty() || base.back().number) return nullptr;
  const std::string name = std::move(base.back().name);
  base.pop_back();
  TiXmlNode* const parent = document_.find(document_.document(), base);
  if (parent == nullptr) return nullptr;
  const auto [path, value] = splitAtLastSlash(edit.condition);
  return document_.findByText(*parent, name, path, asReadAgain(value),
                              IndexedXmlDocument::WithoutText::endsTheSearch);
}

bool XmlEdits::writeAlters(TiXmlElement& element, const XmlEdit& edit) {
  bool written = true;
  for (const std::string& alter : edit.alters) {
    const auto [path, value] = splitAtLastSlash(alter);
    written = write(element, parseXmlPath(path), value) && written;
  }
  return written;
}

bool XmlEdits::write(TiXmlNode& start, const XmlPath& path, const std::string& value) {
  TiXmlNode* const found = isXmlText(value) ? document_.find(start, path) : nullptr;
  if (found == nullptr || found->ToElement() == nullptr) return false;
  document_.setText(*found->ToElement(), value);
  return true;
}

// Looks at all of it before the first element is made.
bool XmlEdits::addBelow(const XmlPath& base, const std::vector<std::string>& names,
                        const std::vector<std::string>& alters) {
  if (base.empty() || !isRoot(base.front())) return false;
  TiXmlNode* inner = &document_.root();
  auto missing = base.begin() + 1;
  for (; missing != base.end(); ++missing) {
    TiXmlNode* const next = document_.child(*inner, *missing);
    if (next == nullptr) break;
    inner = next;
  }
  std::vector<std::string> newNames;
  for (; missing != base.end(); ++missing) {
    if (missing->number) return false;
    newNames.push_back(missing->name);
  }
  newNames.insert(newNames.end(), names.begin(), names.end());
  if (!areXmlNames(newNames)) return false;

  std::vector<NewElements> contents;
  std::size_t contentLevels = 0;
  for (const std::string& alter : alters) {
    contents.push_back(elementsOf(alter));
    if (!areXmlNames(contents.back().names) || !isXmlText(contents.back().text)) return false;
    contentLevels = std::max(contentLevels, contents.back().names.size());
  }
  if (levelOf(*inner) + newNames.size() + contentLevels > maximalXmlDepth) return false;

  for (const std::string& name : newNames) inner = &document_.add(*inner, name);
  for (const auto& [contentNames, text] : contents) {
    TiXmlElement* element = inner->ToElement();
    for (const std::string& name : contentNames) element = &document_.add(*element, name);
    document_.setText(*element, text);
  }
  isToBeSaved_ = true;
  return true;
}

}  // namespace ZelmoraTevra
