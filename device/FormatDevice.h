#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

struct FormatJob {
  WideText primaryDrive = {};      // the flash, "E:" or "E:\"; on any other path no format can run
  WideText secondaryDrive = {};    // the card; empty for none
  bool keepPrimaryFormat = false;  // the drive is cleared instead
  bool keepSecondaryFormat = false;
  bool windows7 = false;   // how the system numbers the logical units of a device
  bool logsStart = false;  // the log tells which drives it is about
};

enum FormatResult : int {
  formatDone = 0,
  formatPrimaryFailed = -1,
  formatSecondaryFailed = -2,
  formatExamineFailed = -3,  // a drive doesn't tell its file system; nothing has been touched
};

// Formats the drives of a device, or clears them, one after the other. A drive with FAT32 gets it again, or
// FAT if it is too small for that; every other one gets FAT. A format that fails leaves the device as it is
// then. Nothing is reported to the front end.
[[nodiscard]] FormatResult formatDevice(const FormatJob& job);

}  // namespace ZelmoraTevra
