#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of "UPLOAD_FILES". False if something is missing; that has been reported.
[[nodiscard]] bool readUploadCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
