#pragma once

#include "backup/BackupDescription.h"

namespace ZelmoraTevra {

// Reads brand, platform, version, hardwareID and deviceUID from the version file below a device's main
// storage, the newer layout first. False, and the description unchanged, if neither file loads.
[[nodiscard]] bool readDeviceIdentity(const WideText& root, BackupDescription& description);

// The same for a backup that is being made: sets the date as well. 0, or 1149 after a report.
[[nodiscard]] int describeDevice(const WideText& root, BackupDescription& description);

// Whether two identities are of one device and their backups of one kind, personal or not. The software's
// version doesn't count: a device stays the same with a new one.
[[nodiscard]] bool isSameDevice(const BackupDescription& left, const BackupDescription& right);

}  // namespace ZelmoraTevra
