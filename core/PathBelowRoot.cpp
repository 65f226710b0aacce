#include "core/PathBelowRoot.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// A path of which nothing can be learned isn't missing: whoever asks next tells of it.
bool isMissing(const WideText& path) {
  platform::ErrorCode error;
  return platform::machine().files->kind(path, error) == platform::EntryKind::missing && !error;
}

bool isAsciiLetter(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

// No name that is meant to be one needs more, and each name costs questions with the whole path before it.
constexpr std::size_t maximalPathUnits = 4'096;
constexpr std::size_t maximalPathComponents = 256;

// A FAT takes no dots and blanks at the end of a name: a name with them is the one without.
WideView asDeviceTakesIt(WideView name) {
  return name.substr(0, name.find_last_not_of(u". ") + 1);
}

// The path without its "." components, its separators as they are.
WideText withoutDots(WideView path) {
  WideText plain;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find_first_of(u"/\\"), path.size());
    const WideView withSeparator = path.substr(0, end + 1);
    if (path.substr(0, end) != u".") plain += withSeparator;
    path.remove_prefix(withSeparator.size());
  }
  return plain;
}

}  // namespace

bool staysBelowRoot(WideView path) {
  if (path.empty() || path.size() > maximalPathUnits || path.find(u'\0') != WideView::npos) return false;
  if (path.front() == u'/' || path.front() == u'\\') return false;
  if (path.size() >= 2 && isAsciiLetter(path[0]) && path[1] == u':') return false;
  const std::vector<WideText> components = split(toForwardSlashes(WideText(path)), u'/');
  if (components.size() > maximalPathComponents) return false;
  bool namesSomething = false;
  for (const WideText& name : components) {
    if (name == u".." || (name != u"." && !name.empty() && asDeviceTakesIt(name).empty())) return false;
    namesSomething = namesSomething || !asDeviceTakesIt(name).empty();
  }
  return namesSomething;
}

bool isLinkAt(const WideText& path) {
  platform::ErrorCode error;
  return platform::machine().files->isLink(path, error);
}

WideText comparablePath(WideView path) {
  WideText comparable;
  for (const WideText& component : split(toForwardSlashes(WideText(path)), u'/')) {
    const WideView name = asDeviceTakesIt(component);
    if (name.empty()) continue;
    if (!comparable.empty()) comparable += u'\\';
    comparable += name;
  }
  return toUpperAscii(std::move(comparable));
}

PathBelowRoot::PathBelowRoot(WideText root) : root_(std::move(root)) {}

std::optional<WideText> PathBelowRoot::join(const WideText& relativePath) {
  std::optional<WideText> path = joinInFolder(relativePath);
  if (path && isLinkAt(*path)) path.reset();
  return path;
}

std::optional<WideText> PathBelowRoot::joinInPresentFolder(const WideText& relativePath) {
  std::optional<WideText> path = joinInFolder(relativePath);
  if (path && (lastFolderIs_ == Folder::missing || isLinkAt(*path))) path.reset();
  return path;
}

std::optional<WideText> PathBelowRoot::joinExisting(const WideText& relativePath) {
  std::optional<WideText> path = joinInFolder(relativePath);
  if (path && (isMissing(*path) || isLinkAt(*path))) path.reset();
  return path;
}

std::optional<WideText> PathBelowRoot::joinInFolder(const WideText& relativePath) {
  if (root_.empty() || !staysBelowRoot(relativePath)) return std::nullopt;
  const WideText path = withoutDots(relativePath);
  const WideText folder = parentFolder(path);
  if (lastFolder_ != folder) {
    lastFolderIs_ = lookAt(folder);
    lastFolder_ = folder;
  }
  if (lastFolderIs_ == Folder::behindLink) return std::nullopt;
  return root_ + u'\\' + path;
}

PathBelowRoot::Folder PathBelowRoot::lookAt(const WideText& relativeFolder) const {
  WideText path = root_;
  for (const WideText& name : split(toForwardSlashes(relativeFolder), u'/')) {
    if (name.empty()) continue;
    path += u'\\' + name;
    if (isLinkAt(path)) return Folder::behindLink;
    // Below a folder that isn't there is no link either, however long the path goes on.
    if (isMissing(path)) return Folder::missing;
  }
  return Folder::plain;
}

}  // namespace ZelmoraTevra
