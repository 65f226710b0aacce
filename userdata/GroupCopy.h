#pragma once

#include <vector>

#include "platform/Text.h"
#include "userdata/FileCopy.h"

namespace ZelmoraTevra {

struct FileToCopy {
  WideText source;
  WideText destination;
};

struct GroupCopyResult {
  CopyResult result = CopyResult::done;  // of the last file that was begun
  std::size_t filesCopied = 0;
};

// Copies the files one after the other up to the first that fails or is aborted, with a list of the progress
// observer's own. Reports as copyUserFile does.
[[nodiscard]] GroupCopyResult copyGroup(const std::vector<FileToCopy>& files,
                                        const UserCopySettings& settings);

}  // namespace ZelmoraTevra
