#include "userdata/CopyTrack.h"

#include <algorithm>
#include <cstdint>

#include "core/File_platformIndependent.h"
#include "core/ProgressObserver.h"

namespace ZelmoraTevra {

bool copyTrack(const WideText& source, const WideText& destination, const UserCopySettings& settings) {
  ProgressObserver::destroy();
  const std::int64_t size = std::max<std::int64_t>(File_platformIndependent(source).size(), 0);
  ProgressObserver::instance().load({{static_cast<std::uint64_t>(size), {}, {}, 0}});
  const CopyResult result = copyUserFile(source, destination, settings);
  ProgressObserver::destroy();
  return result == CopyResult::done;
}

}  // namespace ZelmoraTevra
