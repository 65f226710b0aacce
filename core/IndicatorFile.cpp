#include "core/IndicatorFile.h"

#include <optional>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"

namespace ZelmoraTevra {

namespace {

std::optional<WideText> indicatorPath(const WideText& root) {
  return PathBelowRoot(root).join(u"tevra-action.xml");
}

bool isGoneFrom(const WideText& root) {
  const std::optional<WideText> path = indicatorPath(root);
  if (!path) return false;
  File_platformIndependent file(*path);
  return file.remove() || file.isCertainlyMissing();
}

}  // namespace

bool IndicatorFile::write(const WideText& root) {
  // The device's root folder is never made here.
  if (!Directory_new(root).exists()) return false;
  const std::optional<WideText> path = indicatorPath(root);
  if (!path) return false;
  File_platformIndependent file(*path);
  if (!file.create()) return false;
  roots_.insert(root);
  const bool written =
      file.write(content_.data(), content_.size()) == static_cast<std::int64_t>(content_.size());
  return file.close() && written;
}

bool IndicatorFile::remove() {
  bool gone = !roots_.empty();
  for (const WideText& root : roots_) gone = isGoneFrom(root) && gone;
  roots_.clear();
  return gone;
}

}  // namespace ZelmoraTevra
