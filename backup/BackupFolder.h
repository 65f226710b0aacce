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
// In a backup's folder of which not all files are there.
constexpr WideView unfinishedMarkName = u".tevra_unfinished";

// True for a name that is one folder's, and so can't lead out of the backup root, to the root itself, or into
// another backup, nor be taken for what a test for writing has left in the root.
[[nodiscard]] bool isBackupName(WideView name);
// The same for a backup that is to be made: of at most 200 bytes in UTF-8, so that there is room in a name of
// 255 for what is put behind it when the backup is set aside or its description is written. Backups that are
// there may have longer names.
[[nodiscard]] bool isNewBackupName(WideView name);

// The backup's folder below the backup root of the process.
[[nodiscard]] WideText backupFolder(const WideText& name);
// The description within a backup's folder, which bears the backup's name.
[[nodiscard]] WideText descriptionPath(const WideText& folder, const WideText& name);

// Marks a backup's folder for as long as not all files are in it, at its making and its removal. A process
// that is killed leaves the mark behind: nobody makes a backup of what such a folder holds then. A mark that
// can't be made hinders nothing.
void markUnfinished(const WideText& folder);
// True if there is none any more.
[[nodiscard]] bool removeUnfinishedMark(const WideText& folder);
[[nodiscard]] bool isMarkedUnfinished(const WideText& folder);

// Removes a backup, or what there is of it, in an order in which it is none any more from the first moment
// on. The name is that in its description's name. One whose description can't be removed stays whole,
// and of one behind a symbolic link only the link goes.
void removeBackup(const WideText& folder, const WideText& name);

// What stands behind the folder in the path of something below it, its separator first; nothing if the path
// isn't below the folder. Both separators are the same, and separators at the folder's end don't count.
[[nodiscard]] std::optional<WideText> pathBehindFolder(const WideText& path, WideView folder);

}  // namespace ZelmoraTevra
