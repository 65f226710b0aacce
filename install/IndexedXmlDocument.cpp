#include "install/IndexedXmlDocument.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "core/EditableXml.h"
#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

// Most elements have a handful of children, among which one is found at once. An index is for the others.
constexpr int walkedChildren = 64;
// Entries that look for ever new paths must not fill the memory with what they found.
constexpr std::size_t maximalSearchBytes = 128 << 20;
constexpr std::size_t bytesOfLook = 160;  // for one element at one path, the text not counted

// Texts that cost as much as a look: one that is put together, and one that is read.
constexpr std::size_t charactersOfLook = 64;
constexpr std::size_t readCharactersOfLook = 1024;

XmlPathStep parseStep(std::string_view text) {
  const std::size_t bracket = text.find('[');
  if (bracket == std::string_view::npos || text.back() != ']') return {std::string(text), std::nullopt};
  std::size_t number = 0;
  const char* const end = text.data() + text.size() - 1;
  const auto read = std::from_chars(text.data() + bracket + 1, end, number);
  if (read.ec != std::errc() || read.ptr != end) return {std::string(text), std::nullopt};
  return {std::string(text.substr(0, bracket)), number};
}

bool isPlainText(const TiXmlNode* node) {
  return node != nullptr && node->ToText() != nullptr && !node->ToText()->CDATA();
}

bool isReadAsItIs(const std::string& text) {
  if (text.empty() || text.front() == ' ' || text.back() == ' ' || text.find("  ") != std::string::npos)
    return text.empty();
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

// Two texts that come to stand side by side are one when they are read again.
void joinTexts(TiXmlNode* first, TiXmlNode* second) {
  if (!isPlainText(first) || !isPlainText(second)) return;
  first->SetValue(asReadAgain(first->ValueStr() + ' ' + second->ValueStr()));
  first->Parent()->RemoveChild(second);
}

}  // namespace

std::string asReadAgain(const std::string& text) {
  if (isReadAsItIs(text)) return text;
  TiXmlElement element("t");
  element.InsertEndChild(TiXmlText(text));
  TiXmlDocument document;
  if (!parseXml(printXml(element), document) || document.RootElement() == nullptr) return text;
  const TiXmlNode* const read = document.RootElement()->FirstChild();
  return read != nullptr ? read->ValueStr() : std::string();
}

XmlPath parseXmlPath(std::string_view text) {
  XmlPath path;
  if (text.empty()) return path;
  for (;;) {
    const std::size_t end = std::min(text.find('/'), text.size());
    path.push_back(parseStep(text.substr(0, end)));
    if (end == text.size()) return path;
    text.remove_prefix(end + 1);
  }
}

bool IndexedXmlDocument::load(const WideText& path) {
  return loadEditableXml(path, document_);
}

void IndexedXmlDocument::create(const std::string& rootName) {
  document_.Clear();
  addElement(document_, rootName);
}

bool IndexedXmlDocument::save(const WideText& path) const {
  return saveEditableXml(document_, path);
}

TiXmlElement* IndexedXmlDocument::child(TiXmlNode& parent, const XmlPathStep& step) {
  const auto indexed = children_.find(&parent);
  if (indexed != children_.end()) return pick(indexed->second, step);
  std::size_t number = step.number.value_or(0);
  int walked = 0;
  for (TiXmlNode* node = parent.FirstChild(); node != nullptr; node = node->NextSibling()) {
    ++walkedCount_;
    if (++walked > walkedChildren) return pick(childrenOf(parent), step);
    TiXmlElement* const element = node->ToElement();
    if (element != nullptr && element->ValueStr() == step.name && number-- == 0) return element;
  }
  return nullptr;
}

TiXmlNode* IndexedXmlDocument::find(TiXmlNode& start, const XmlPath& path) {
  TiXmlNode* found = &start;
  for (const XmlPathStep& step : path) {
    found = child(*found, step);
    if (found == nullptr) return nullptr;
  }
  return found;
}

TiXmlElement* IndexedXmlDocument::findByText(TiXmlNode& parent, const std::string& name,
                                             const std::string& path, const std::string& text,
                                             WithoutText childWithoutText) {
  Children& children = childrenOf(parent);
  const auto found = children.find(name);
  if (found == children.end()) return nullptr;
  LikeElements& like = found->second;
  if (like.searches == nullptr || !like.searches->byPath.contains(path)) limitSearches();
  if (like.searches == nullptr) like.searches = std::make_unique<TextSearches>();
  const auto [position, isNew] = like.searches->byPath.try_emplace(path);
  TextSearch& search = position->second;
  if (isNew) search.path = parseXmlPath(path);
  catchUp(like, search);

  const bool passesOver = childWithoutText == WithoutText::isPassedOver;
  for (;;) {
    const std::size_t end = passesOver ? like.elements.size() : search.firstWithoutText();
    const std::size_t number = search.firstWith(text);
    if (number <= end && number < like.elements.size()) return like.elements[number];
    if (end < search.texts.size() || search.texts.size() == like.elements.size()) return nullptr;
    search.texts.push_back(nullptr);
    lookAt(like, search, search.texts.size() - 1);
  }
}

std::string IndexedXmlDocument::textOf(const TiXmlElement& element) {
  const TiXmlText* const text = element.FirstChild() != nullptr ? element.FirstChild()->ToText() : nullptr;
  if (text == nullptr) return {};
  lookCount_ += text->ValueStr().size() / (text->CDATA() ? charactersOfLook : readCharactersOfLook);
  return text->CDATA() ? asReadAgain(text->ValueStr()) : text->ValueStr();
}

TiXmlElement& IndexedXmlDocument::add(TiXmlNode& parent, const std::string& name) {
  TiXmlElement& element = addElement(parent, name);
  const auto indexed = children_.find(&parent);
  if (indexed != children_.end()) enter(indexed->second, element);
  noteChange(parent);
  return element;
}

void IndexedXmlDocument::setText(TiXmlElement& element, const std::string& text) {
  while (element.FirstChild() != nullptr && element.FirstChild()->ToText() != nullptr)
    element.RemoveChild(element.FirstChild());
  const std::string kept = asReadAgain(text);
  if (!kept.empty()) {
    const TiXmlText node(kept);
    if (element.FirstChild() != nullptr)
      element.InsertBeforeChild(element.FirstChild(), node);
    else
      element.InsertEndChild(node);
  }
  noteChange(element);
}

void IndexedXmlDocument::remove(TiXmlElement& element) {
  TiXmlNode& parent = *element.Parent();
  if (LikeElements* const like = likeElementsOf(element)) {
    noteChange(element);
    like->elements[numbers_[&element]] = nullptr;
    ++like->removedCount;
  } else {
    noteChange(parent);
  }
  forgetSubtree(element);
  TiXmlNode* const before = element.PreviousSibling();
  TiXmlNode* const behind = element.NextSibling();
  parent.RemoveChild(&element);
  if (isPlainText(before)) lookCount_ += before->ValueStr().size() / charactersOfLook;
  joinTexts(before, behind);
}

std::size_t IndexedXmlDocument::TextSearch::firstWith(const std::string& text) const {
  const auto numbers = byText.find(text);
  return numbers != byText.end() && !numbers->second.empty() ? *numbers->second.begin() : none;
}

std::size_t IndexedXmlDocument::TextSearch::firstWithoutText() const {
  return std::min(firstWith({}), withoutPath.empty() ? none : *withoutPath.begin());
}

IndexedXmlDocument::Children& IndexedXmlDocument::childrenOf(TiXmlNode& parent) {
  const auto [position, isNew] = children_.try_emplace(&parent);
  if (isNew) {
    for (TiXmlNode* node = parent.FirstChild(); node != nullptr; node = node->NextSibling())
      if (TiXmlElement* const element = node->ToElement()) enter(position->second, *element);
  }
  return position->second;
}

IndexedXmlDocument::LikeElements* IndexedXmlDocument::likeElementsOf(const TiXmlElement& element) {
  const auto indexed = children_.find(element.Parent());
  return indexed != children_.end() ? &indexed->second.find(element.ValueStr())->second : nullptr;
}

TiXmlElement* IndexedXmlDocument::pick(Children& children, const XmlPathStep& step) {
  const auto found = children.find(step.name);
  if (found == children.end()) return nullptr;
  LikeElements& like = found->second;
  const std::size_t count = like.elements.size();
  std::size_t number = step.number.value_or(0);
  if (like.removedCount == 0) return number < count ? like.elements[number] : nullptr;
  while (like.first < count && like.elements[like.first] == nullptr) ++like.first;
  for (std::size_t at = like.first; at < count; ++at, ++lookCount_)
    if (like.elements[at] != nullptr && number-- == 0) return like.elements[at];
  return nullptr;
}

void IndexedXmlDocument::enter(Children& children, TiXmlElement& element) {
  std::vector<TiXmlElement*>& elements = children[element.ValueStr()].elements;
  numbers_[&element] = elements.size();
  elements.push_back(&element);
}

void IndexedXmlDocument::forgetSubtree(const TiXmlElement& element) {
  children_.erase(&element);
  numbers_.erase(&element);
  for (const TiXmlNode* node = element.FirstChild(); node != nullptr; node = node->NextSibling())
    if (node->ToElement() != nullptr) forgetSubtree(*node->ToElement());
}

void IndexedXmlDocument::noteChange(TiXmlNode& inside) {
  for (TiXmlNode* node = &inside; node->ToElement() != nullptr; node = node->Parent()) {
    LikeElements* const like = likeElementsOf(*node->ToElement());
    if (like == nullptr || like->searches == nullptr) continue;
    TextSearches& searches = *like->searches;
    const std::size_t number = numbers_[node];
    const auto [position, isFirst] = searches.lastChange.try_emplace(number);
    if (!isFirst) searches.changes.erase(position->second);
    position->second = ++searches.changeCount;
    searches.changes[position->second] = number;
  }
}

void IndexedXmlDocument::limitSearches() {
  if (searchBytes_ <= maximalSearchBytes) return;
  for (auto& [parent, children] : children_)
    for (auto& [name, like] : children) like.searches.reset();
  searchBytes_ = 0;
}

void IndexedXmlDocument::lookAt(const LikeElements& like, TextSearch& search, std::size_t number) {
  ++lookCount_;
  if (const std::string* const old = search.texts[number]) search.byText.find(*old)->second.erase(number);
  search.withoutPath.erase(number);
  search.texts[number] = nullptr;
  searchBytes_ += bytesOfLook;
  TiXmlElement* const element = like.elements[number];
  if (element == nullptr) return;
  const TiXmlNode* const found = find(*element, search.path);
  if (found == nullptr) {
    search.withoutPath.insert(number);
    return;
  }
  const auto [entry, isNew] = search.byText.try_emplace(textOf(*found->ToElement()));
  if (isNew) searchBytes_ += entry->first.size();
  entry->second.insert(number);
  search.texts[number] = &entry->first;
}

void IndexedXmlDocument::catchUp(const LikeElements& like, TextSearch& search) {
  const TextSearches& searches = *like.searches;
  for (auto change = searches.changes.upper_bound(search.knownChanges); change != searches.changes.end();
       ++change) {
    ++lookCount_;
    if (change->second < search.texts.size()) lookAt(like, search, change->second);
  }
  search.knownChanges = searches.changeCount;
}

}  // namespace ZelmoraTevra
