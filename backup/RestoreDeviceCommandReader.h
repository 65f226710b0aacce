#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Reads the parameters of "RESTORE_DEVICE" and "CHECK_SIZE_RESTORE_DEVICE", told apart by the record's name.
// False if something is missing or an install description can't be read; it has been reported, except for a
// description that is empty. A content's "index" is read as its second checksum.
[[nodiscard]] bool readRestoreDeviceCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
