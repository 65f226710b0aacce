#include "platform/SharedMemorySpace.h"

#include <fcntl.h>

namespace ZelmoraTevra::platform {

bool reserveSharedMemory(boost::interprocess::mapping_handle_t object, std::uint64_t bytes) {
  return ::posix_fallocate(object.handle, 0, static_cast<off_t>(bytes)) == 0;
}

}  // namespace ZelmoraTevra::platform
