#include "userdata/StorageRoom.h"

#include "core/Directory_new.h"

namespace ZelmoraTevra {

bool hasRoomFor(const WideText& storage, std::int64_t bytes) {
  Directory_new folder(storage);
  return folder.takesWrites() && folder.freeSpace() >= bytes;
}

}  // namespace ZelmoraTevra
