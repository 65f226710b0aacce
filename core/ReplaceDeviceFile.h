#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Replaces a file on a device by a copy of another one so that at every moment the device holds one of the
// two whole: the old file is set aside under its name and a unique number, the copy is written under a name
// of its own, brought to the medium and renamed, and only then the old file goes. On failure the old file is
// back in its place, if the device still takes it. A source that doesn't exist is a failure that changes
// nothing. `logName` begins the line that tells of a renaming that failed.
[[nodiscard]] bool replaceDeviceFile(const WideText& source, const WideText& destination, WideView logName);

// Brings back a file that a replacement, cut off in the middle, left under its set-aside name: if no file
// stands at the path, the newest set-aside one is renamed to it. Half-written copies that were never renamed
// are removed.
void recoverDeviceFile(const WideText& path);

// Copies a file's content, in blocks; the destination is created or emptied. With `toMedium` it returns when
// the copy is on the medium. A failed copy may leave a part.
[[nodiscard]] bool copyFileContent(const WideText& source, const WideText& destination, bool toMedium);

}  // namespace ZelmoraTevra
