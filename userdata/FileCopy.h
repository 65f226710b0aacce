#pragma once

#include <cstddef>

#include "core/CopyFile.h"
#include "core/StatusXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// The name under which a copy stands beside its destination until it is whole.
constexpr WideView unfinishedCopyName = u"Tevra_131284_copy";

struct UserCopySettings {
  Status state = statInvalid;  // in which the progress is told
  bool toMedium = false;       // returns when the copy is on the medium, under its name
  // A file that goes first, where there is no room for both: not before all that can be known beforehand says
  // that the copy will be made. Empty for none.
  WideText makesWay = {};
  std::size_t blockBytes = 0x40000;
};

// Copies a file between the computer and a device. Whatever fails or is aborted, and whenever the cable is
// pulled, what stood at the destination is still there until the whole copy takes its place; a copy that
// replaces a file is on the medium before. The destination's folder must exist.
//
// After each block the bytes are added to the current entry of the progress observer, whose list and position
// belong to the caller, in the state, and the front end's wish to abort is looked for.
//
// A failure is reported: 1187 where the source can't be opened, 1188 where nothing can be created at the
// destination, 1189 for all else. After an abort the observer's report of it is the last status, and the
// caller adds none of its own.
[[nodiscard]] CopyResult copyUserFile(const WideText& source, const WideText& destination,
                                      const UserCopySettings& settings);

// Removes what a copy that was cut off has left in a folder, which would take up room for good.
void removeUnfinishedCopy(const WideText& folder);
// Whether a path is that of an unfinished copy, which is no file of the user's.
[[nodiscard]] bool isUnfinishedCopy(WideView path);

}  // namespace ZelmoraTevra
