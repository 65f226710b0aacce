#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// The disks that are to be checked. An empty drive is none.
struct DiskCheckJob {
  WideText primaryDrive = {};
  WideText secondaryDrive = {};
  bool fixErrors = false;  // else the system is only asked whether it holds the volume for damaged
  bool forceDismount = false;
  bool recoverBadSectors = false;
};

// 0 if all is well, 6 if the primary failed, 7 if the secondary failed, 8 if both did. Why is in the log.
[[nodiscard]] int checkDisk(const DiskCheckJob& job);

}  // namespace ZelmoraTevra
