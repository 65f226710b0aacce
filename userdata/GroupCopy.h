#pragma once

#include <vector>

#include "core/CopyFile.h"
#include "core/StatusXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

struct FileToCopy {
  WideText source;
  WideText destination;
};

// Copies the files one after the other up to the first that fails or is aborted, with a list of the progress
// observer's own. Reports as copyUserFile does.
[[nodiscard]] CopyResult copyGroup(const std::vector<FileToCopy>& files, Status state);

}  // namespace ZelmoraTevra
