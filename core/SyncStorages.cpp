#include "core/SyncStorages.h"

#include <algorithm>

#include "core/Directory_new.h"
#include "core/Globals.h"

namespace ZelmoraTevra {

bool syncStorages(const std::vector<WideText>& roots) {
  bool synced = true;
  for (auto root = roots.begin(); root != roots.end(); ++root) {
    if (root->empty()) continue;
    const Directory_new storage(*root);
    const bool isOnSyncedVolume = std::any_of(
        roots.begin(), root, [&](const WideText& other) { return storage.isOnSameVolume(other); });
    if (isOnSyncedVolume || storage.isOnSameVolume(workTempFolder)) continue;
    synced = storage.syncVolume() && synced;
  }
  return synced;
}

}  // namespace ZelmoraTevra
