#pragma once

#include <optional>

#include "platform/Text.h"

namespace ZelmoraTevra {

// What a backup looks like on the computer's disk:
//
//   <root>/<name>/<name>.xml             its description
//   <root>/<name>/storage_for_software/  the tree of the device's main storage
//   <root>/<name>/storage_for_content/   that of the card, if there was one
constexpr WideView softwareFolderName = u"storage_for_software";
constexpr WideView contentFolderName = u"storage_for_content";

// True for a name that is one folder's, and so can't lead out of the backup root, to the root itself, or into
// another backup.
[[nodiscard]] bool isBackupName(WideView name);

// The backup's folder below the backup root of the process.
[[nodiscard]] WideText backupFolder(const WideText& name);
// The description within a backup's folder, which bears the backup's name.
[[nodiscard]] WideText descriptionPath(const WideText& folder, const WideText& name);

// What stands behind the folder in the path of something below it, its separator first; nothing if the path
// isn't below the folder. Both separators are the same, and separators at the folder's end don't count.
[[nodiscard]] std::optional<WideText> pathBehindFolder(const WideText& path, WideView folder);

}  // namespace ZelmoraTevra
