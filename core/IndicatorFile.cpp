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

}  // namespace

bool writeIndicatorFile(const WideText& root, std::string_view content) {
  // The device's root folder is never made here.
  if (!Directory_new(root).exists()) return false;
  const std::optional<WideText> path = indicatorPath(root);
  if (!path) return false;
  File_platformIndependent file(*path);
  if (!file.create()) return false;
  const bool written =
      file.write(content.data(), content.size()) == static_cast<std::int64_t>(content.size());
  return file.close() && written;
}

bool removeIndicatorFile(const WideText& root) {
  const std::optional<WideText> path = indicatorPath(root);
  if (!path) return false;
  File_platformIndependent(*path).remove();
  return true;
}

}  // namespace ZelmoraTevra
