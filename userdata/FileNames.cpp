#include "userdata/FileNames.h"

#include <unordered_set>
#include <utility>

#include "core/PathBelowRoot.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

// A folder may have a dot in its name too.
std::size_t lastDotOfName(WideView path) {
  const std::size_t dot = path.rfind(u'.');
  const std::size_t separator = path.find_last_of(u"/\\");
  return dot != WideView::npos && separator != WideView::npos && dot < separator ? WideView::npos : dot;
}

}  // namespace

std::vector<WideText> splitExtensions(WideView list) {
  std::vector<WideText> extensions;
  std::unordered_set<WideText> known;
  for (WideText& item : split(list, u';')) {
    if (!item.empty() && known.insert(item).second) extensions.push_back(std::move(item));
  }
  return extensions;
}

bool isExtension(const WideText& text) {
  return text.find_first_of(u"/\\") == WideText::npos && staysBelowRoot(u"x." + text);
}

WideText withoutExtension(WideView path) {
  return WideText(path.substr(0, lastDotOfName(path)));
}

WideText extensionOf(WideView path) {
  const std::size_t dot = lastDotOfName(path);
  return dot == WideView::npos ? WideText() : WideText(path.substr(dot + 1));
}

WideText withExtension(const WideText& path, const WideText& extension) {
  return extension.empty() ? path : path + u'.' + extension;
}

}  // namespace ZelmoraTevra
