#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// What becomes of the old file, unless it is empty.
enum class OldFile {
  keptIfDamaged,  // kept if it isn't editable XML, and so may hold what the copy hasn't
  notKept,        // the new file was made from its content: it is known to have been whole
  kept,           // the new file wasn't made from its content
};

// Replaces an XML file on a device by a copy of another file, so that at every moment the device holds one of
// the two whole. The copy is written beside the old file, under the name with "_tevra_new" behind it, and
// brought to the medium; then the old file is set aside under its name and a unique number of 20 digits, the
// copy gets the name, and only when all of that is on the medium the old file goes. On failure the old file
// is back in its place, or still set aside if the device takes nothing any more.
//
// An old file that is kept isn't removed: it stays beside for good, under its name with "_damaged" and a
// number behind it. A destination that has the content already isn't touched. A source that doesn't exist is
// a failure that changes nothing. `logName` begins the line that tells of a renaming that failed.
[[nodiscard]] bool replaceDeviceFile(const WideText& source, const WideText& destination, WideView logName,
                                     OldFile old = OldFile::keptIfDamaged);

// Puts right what a replacement that was cut off has left beside the path. If no well-formed file stands
// there, the newest well-formed one that was set aside gets the name, without any of those the copy if it is
// whole, and what stood at the path is kept as damaged. Once a well-formed file has the name, the others go.
// To be called before a device file is looked for; before many of them while a SetAsideFiles lives.
void recoverDeviceFile(const WideText& path);

// A copy without progress and abort: copyFile, true if it is done.
[[nodiscard]] bool copyFileContent(const WideText& source, const WideText& destination, bool toMedium);

}  // namespace ZelmoraTevra
