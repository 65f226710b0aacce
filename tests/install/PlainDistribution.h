#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "install/InstallXml.h"
#include "install/UpdateDistributor.h"

namespace ZelmoraTevra {

// A storage as tables. Paths are below its root and joined by "\".
struct PlainStorage {
  bool named = true;
  bool present = true;
  std::int64_t free = 0;
  std::map<WideText, std::int64_t> files;
  std::set<WideText> folders;
};

struct PlainAnswer {
  int result = 0;
  int exitCode = 0;  // of the report, 0 without one
  Distribution distribution;
};

struct PlainMargins {
  std::int64_t extraSpaceSoftware = 0;
  std::int64_t extraSpaceContent = 0;
  std::int64_t temporarySpaceSoftware = 0;
  std::int64_t temporarySpaceContent = 0;
};

struct PlainOlderAnswer {
  int result = 0;
  OlderDistribution distribution;
};

// The distribution once more, step by step, slow and without a thought for hostile numbers: what the
// distributor is compared with. Changes the updates as the distributor does.
PlainAnswer plainDistribution(std::vector<InstallUpdate>& updates, const PlainStorage& primary,
                              const PlainStorage& secondary, const PlainMargins& margins);
PlainOlderAnswer plainOlderDistribution(std::vector<InstallUpdate>& updates, std::int64_t total,
                                        const PlainStorage& primary, const PlainStorage& secondary);

}  // namespace ZelmoraTevra
