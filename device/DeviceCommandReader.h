#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of "CHECK_DISK" and "REMOVE_DEVICE". False if something is missing; that has been reported.
[[nodiscard]] bool readCheckDiskCommand(const TiXmlElement& command, CommandRecord& record);
[[nodiscard]] bool readRemoveDeviceCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
