#pragma once

#include <cstddef>

#include "core/CopyFile.h"
#include "core/StatusXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// The name under which a copy stands beside its destination until it is whole.
constexpr WideView unfinishedCopyName = u"Tevra_131284_copy";

// Copies a file between the computer and a device. Whatever fails or is aborted, and whenever the cable is
// pulled, what stood at the destination is still there until the whole copy takes its place. Only a volume
// that has no room for both loses the old file first; there is no half file under the name then either,
// unless the process ends in the middle. The destination's folder must exist.
//
// After each block the bytes are added to the current entry of the progress observer, whose list and position
// belong to the caller, in the given state, and the front end's wish to abort is looked for.
//
// A failure is reported: 1187 where the source can't be opened, 1188 where nothing can be created at the
// destination, 1189 for all else. After an abort the observer's report of it is the last status, and the
// caller adds none of its own.
[[nodiscard]] CopyResult copyUserFile(const WideText& source, const WideText& destination,
                                      std::size_t blockBytes, Status state);

}  // namespace ZelmoraTevra
