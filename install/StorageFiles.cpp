#include "install/StorageFiles.h"

#include <optional>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"

namespace ZelmoraTevra {

bool StorageFiles::isPresent() const {
  return isNamed() && Directory_new(paths_.root()).exists();
}

std::int64_t StorageFiles::sizeOf(const WideText& client) {
  if (emptied_) return -1;
  const std::optional<WideText> path = paths_.joinInPresentFolder(client);
  return path ? File_platformIndependent(*path).size() : -1;
}

}  // namespace ZelmoraTevra
