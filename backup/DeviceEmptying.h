#pragma once

#include <vector>

#include "device/FormatDevice.h"

namespace ZelmoraTevra {

// False if storages can't be emptied without losing what the computer needs: the backups, the status
// documents, the job's work folder or the program. The log says what. An empty path is no storage.
[[nodiscard]] bool mayBeEmptied(const std::vector<WideText>& storages);

// Formats or clears the storages of a device. False after a report.
[[nodiscard]] bool emptyDevice(const FormatJob& job);

// Reports that a device can't be emptied. False.
bool failOnFormat();

}  // namespace ZelmoraTevra
