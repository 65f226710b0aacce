#include "backup/BackupToMove.h"

#include <algorithm>
#include <limits>

#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

// Without what an entry of a list may have between its names and needn't.
WideText plainPath(const WideText& path) {
  WideText plain;
  for (const WideText& name : split(toForwardSlashes(path), u'/')) {
    if (name.empty() || name == u".") continue;
    if (!plain.empty()) plain += u'\\';
    plain += name;
  }
  return plain;
}

}  // namespace

void BackupToMove::add(const BackupFileEntry& file) {
  const WideText path = plainPath(file.path);
  files[path] = {path, file.size};
}

std::uint64_t BackupToMove::totalSize() const {
  std::uint64_t sum = 0;
  for (const auto& [path, file] : files)
    sum += std::min(file.size, std::numeric_limits<std::uint64_t>::max() - sum);
  return sum;
}

}  // namespace ZelmoraTevra
