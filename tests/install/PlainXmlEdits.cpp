#include "tests/install/PlainXmlEdits.h"

#include <tinyxml.h>

#include <cstdlib>
#include <vector>

#include "core/XmlDocument.h"
#include "core/XmlNames.h"

namespace ZelmoraTevra {

namespace {

using Names = std::vector<std::string>;

Names pieces(const std::string& text) {
  Names found{""};
  for (const char c : text) {
    if (c == '/')
      found.emplace_back();
    else
      found.back() += c;
  }
  return found;
}

std::string valueOf(const std::string& text) {
  return pieces(text).back();
}

// Without the last piece.
Names pathOf(const std::string& text) {
  Names names = pieces(text);
  names.pop_back();
  // "/x" has an empty path, as "x" has.
  if (names == Names{""}) names.clear();
  return names;
}

bool hasNumber(const std::string& name) {
  const std::size_t bracket = name.find('[');
  if (bracket == std::string::npos || name.back() != ']' || name.size() < bracket + 3) return false;
  for (std::size_t i = bracket + 1; i + 1 < name.size(); ++i)
    if (name[i] < '0' || name[i] > '9') return false;
  return true;
}

TiXmlElement* childOf(TiXmlNode* parent, const std::string& step) {
  const bool numbered = hasNumber(step);
  const std::string name = numbered ? step.substr(0, step.find('[')) : step;
  std::uint64_t left = numbered ? std::strtoull(step.c_str() + step.find('[') + 1, nullptr, 10) : 0;
  for (TiXmlElement* e = parent->FirstChildElement(); e != nullptr; e = e->NextSiblingElement())
    if (e->ValueStr() == name && left-- == 0) return e;
  return nullptr;
}

TiXmlNode* at(TiXmlNode* start, const Names& path) {
  for (const std::string& step : path) {
    if (start != nullptr) start = childOf(start, step);
  }
  return start;
}

std::string condensed(const std::string& text) {
  if (text.find_first_not_of(" \n") == std::string::npos) return "";
  std::string found;
  for (const char c : text)
    if (c != ' ' || (!found.empty() && found.back() != ' ')) found += c;
  if (found.ends_with(' ')) found.pop_back();
  return found;
}

std::string readText(const TiXmlNode* element) {
  const char* text = element->ToElement()->GetText();
  return condensed(text != nullptr ? text : "");
}

std::string comparedValueOf(const std::string& condition) {
  return condensed(valueOf(condition));
}

void writeText(TiXmlNode* element, const std::string& text) {
  while (element->FirstChild() != nullptr && element->FirstChild()->ToText() != nullptr)
    element->RemoveChild(element->FirstChild());
  if (text.empty()) return;
  if (element->FirstChild() == nullptr)
    element->LinkEndChild(new TiXmlText(text));
  else
    element->InsertBeforeChild(element->FirstChild(), TiXmlText(text));
}

bool write(TiXmlNode* start, const Names& path, const std::string& value) {
  TiXmlNode* const element = isXmlText(value) ? at(start, path) : nullptr;
  if (element == nullptr) return false;
  writeText(element, value);
  return true;
}

TiXmlElement* make(TiXmlNode* parent, const std::string& name) {
  return parent->LinkEndChild(new TiXmlElement(name))->ToElement();
}

class Edit {
 public:
  Edit(TiXmlDocument& document, const XmlEdit& edit)
      : document_(document), root_(*document.RootElement()), edit_(edit), base_(pieces(edit.base)) {}

  bool toBeSaved = false;

  bool append() { return addBelow(base_, pieces(edit_.condition)); }

  bool change() {
    toBeSaved = true;
    TiXmlNode* const instance = match();
    return instance == nullptr || writeAlters(instance);
  }

  bool replaceOrAppend() {
    if (match() != nullptr) return change();
    if (base_.size() == 1) return addBelow(base_, {});
    Names parent = base_;
    parent.pop_back();
    return addBelow(parent, {base_.back()});
  }

  bool setValue() {
    if (base_.size() > 1 && base_.front().empty()) base_.erase(base_.begin());
    return toBeSaved = write(&document_, base_, edit_.condition);
  }

  bool remove() {
    TiXmlNode* found = nullptr;
    const Names path = pathOf(edit_.condition);
    if (base_.size() == 1) {
      TiXmlNode* const element = at(&root_, path);
      if (!path.empty() && element != nullptr && readText(element) == comparedValueOf(edit_.condition))
        found = element;
    } else {
      if (childOf(&document_, base_.front()) != &root_) return false;
      Names above = base_;
      above.pop_back();
      TiXmlNode* const parent = at(&document_, above);
      for (TiXmlElement* e = parent != nullptr ? parent->FirstChildElement() : nullptr;
           e != nullptr && found == nullptr; e = e->NextSiblingElement()) {
        if (e->ValueStr() != base_.back()) continue;
        const TiXmlNode* const element = at(e, path);
        if (element != nullptr && readText(element) == comparedValueOf(edit_.condition)) found = e;
      }
    }
    if (found == nullptr) return true;
    found->Parent()->RemoveChild(found);
    return toBeSaved = true;
  }

 private:
  // Reads instance 0, 1, 2, ... until one has the value or nothing can be read in one.
  TiXmlNode* match() {
    for (int n = 0;; ++n) {
      Names instance = base_;
      instance.back() += '[' + std::to_string(n) + ']';
      TiXmlNode* const element = at(&document_, instance);
      const TiXmlNode* const place = at(element, pathOf(edit_.condition));
      if (place == nullptr) return nullptr;
      if (readText(place) == comparedValueOf(edit_.condition)) return element;
      if (readText(place).empty()) return nullptr;
    }
  }

  bool writeAlters(TiXmlNode* instance) {
    bool all = true;
    for (const std::string& alter : edit_.alters)
      if (!write(instance, pathOf(alter), valueOf(alter))) all = false;
    return all;
  }

  bool addBelow(const Names& path, const Names& names) {
    if (childOf(&document_, path.front()) != &root_) return false;
    // On a copy first, for all or nothing.
    const TiXmlDocument before = document_;
    TiXmlNode* inner = document_.RootElement();
    bool valid = true;
    const auto makeIn = [&valid](TiXmlNode* parent, const std::string& name) {
      valid = valid && isXmlName(name);
      return make(parent, name);
    };
    for (std::size_t i = 1; i < path.size(); ++i) {
      TiXmlNode* const next = childOf(inner, path[i]);
      inner = next != nullptr ? next : makeIn(inner, path[i]);
    }
    for (const std::string& name : names) inner = makeIn(inner, name);
    for (const std::string& alter : edit_.alters) {
      Names chain = pieces(alter);
      chain.pop_back();
      TiXmlNode* element = inner;
      for (const std::string& name : chain) element = makeIn(element, name);
      valid = valid && isXmlText(valueOf(alter));
      writeText(element, valueOf(alter));
    }
    if (!valid) document_ = before;
    return toBeSaved = valid;
  }

  TiXmlDocument& document_;
  TiXmlElement& root_;
  const XmlEdit& edit_;
  Names base_;
};

bool apply(Edit& edit, std::int32_t creationFlag) {
  switch (creationFlag) {
    case 1:
      return edit.append();
    case 3:
      return edit.replaceOrAppend();
    case 5:
      return edit.setValue();
    case 6:
      return edit.remove();
    default:
      return edit.change();
  }
}

}  // namespace

PlainEdit plainEdit(const std::string& text, std::int32_t creationFlag, const XmlEdit& entry) {
  TiXmlDocument document;
  if (!parseXml(text, document) || document.RootElement() == nullptr) return {text, false};
  Edit edit(document, entry);
  const bool result = apply(edit, creationFlag);
  return {edit.toBeSaved ? printXml(document) : text, result};
}

std::string readAndPrinted(const std::string& text) {
  TiXmlDocument document;
  return parseXml(text, document) ? printXml(document) : text;
}

}  // namespace ZelmoraTevra
