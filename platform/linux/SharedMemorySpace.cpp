#include "platform/SharedMemorySpace.h"

#include <fcntl.h>

#include <cerrno>

namespace ZelmoraTevra::platform {

bool reserveSharedMemory(boost::interprocess::mapping_handle_t object, std::uint64_t bytes) {
  // A signal interrupts it, and it tells so in its result, not in errno.
  int result = EINTR;
  while (result == EINTR) result = ::posix_fallocate(object.handle, 0, static_cast<off_t>(bytes));
  return result == 0;
}

}  // namespace ZelmoraTevra::platform
