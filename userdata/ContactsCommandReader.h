#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parameters of the commands for contacts, by the record's `commandName`. False if something is missing;
// that has been reported.
[[nodiscard]] bool readContactsCommand(const TiXmlElement& command, CommandRecord& record);

}  // namespace ZelmoraTevra
