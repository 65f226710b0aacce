#include "core/PathBelowRoot.h"

#include <algorithm>
#include <utility>

#include "core/Text.h"
#include "platform/DrivePath.h"
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

// Takes the first component off a path, and the separator behind it.
WideView takeComponent(WideView& path) {
  const auto end =
      static_cast<std::size_t>(std::find_if(path.begin(), path.end(), platform::isSeparator) - path.begin());
  const WideView component = path.substr(0, end);
  path.remove_prefix(std::min(end + 1, path.size()));
  return component;
}

// The path without its "." components, its separators as they are.
WideText withoutDots(WideView path) {
  WideText plain;
  plain.reserve(path.size());
  while (!path.empty()) {
    const WideView rest = path;
    if (takeComponent(path) != u".") plain += rest.substr(0, rest.size() - path.size());
  }
  return plain;
}

}  // namespace

bool staysBelowRoot(WideView path) {
  if (path.empty() || path.size() > maximalPathUnits || path.find(u'\0') != WideView::npos) return false;
  if (platform::isSeparator(path.front())) return false;
  if (path.size() >= 2 && isAsciiLetter(path[0]) && path[1] == u':') return false;
  bool namesSomething = false;
  for (std::size_t components = 1; !path.empty(); ++components) {
    if (components > maximalPathComponents) return false;
    const WideView name = takeComponent(path);
    const bool isName = !asDeviceTakesIt(name).empty();
    // What is left is "..", and what a device takes for it or for nothing.
    if (!isName && !name.empty() && name != u".") return false;
    namesSomething = namesSomething || isName;
  }
  return namesSomething;
}

bool isLinkAt(const WideText& path) {
  platform::ErrorCode error;
  return platform::machine().files->isLink(path, error);
}

WideText comparablePath(WideView path) {
  WideText comparable;
  comparable.reserve(path.size());
  while (!path.empty()) {
    const WideView name = asDeviceTakesIt(takeComponent(path));
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
  for (WideView rest = relativeFolder; !rest.empty();) {
    const WideView name = takeComponent(rest);
    if (name.empty()) continue;
    path += u'\\';
    path += name;
    if (isLinkAt(path)) return Folder::behindLink;
    // Below a folder that isn't there is no link either, however long the path goes on.
    if (isMissing(path)) return Folder::missing;
  }
  return Folder::plain;
}

}  // namespace ZelmoraTevra
