#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "backup/BackupDescription.h"
#include "core/SaturatingInt64.h"

namespace ZelmoraTevra {

// What can be told from a backup's description and the device's, before anything on the device is touched.

enum class Storage { flash, card };

// One value for each storage of a device.
struct StorageAmounts {
  SaturatingInt64 flash;  // bytes
  SaturatingInt64 card;

  [[nodiscard]] SaturatingInt64& of(Storage storage) { return storage == Storage::flash ? flash : card; }
};

// True for a backup for which the device is formatted. Any other one is laid over what is there.
[[nodiscard]] bool isFullImage(const BackupDescription& backup);

enum class BackupMatch {
  fits,
  otherDevice,  // an identifier differs
  otherModel,   // the backup has no identifier, and brand or platform differs
};
// Whether a backup belongs to a device. Each identifier that the backup has must be the device's; the version
// of the software doesn't count. A device about which nothing is known takes any backup.
[[nodiscard]] BackupMatch matchOf(const BackupDescription& backup, const BackupDescription& device);

// Whether there are files for the card.
[[nodiscard]] bool needsCard(const BackupFiles& files);

// Where a file of a backup belongs on the device.
struct StoragePlace {
  Storage storage;
  WideText relativePath;  // below the storage's root, which it doesn't leave
};
// Nothing for a path that begins with neither storage's folder or names no file below it.
[[nodiscard]] std::optional<StoragePlace> placeOnDevice(const WideText& path);
// Whether a path begins with the name of a storage's folder, whatever follows.
[[nodiscard]] bool beginsWithStorage(const WideText& path);

// Gives the size in bytes of what stands at a path below a storage and will be overwritten; 0 for nothing.
using PresentBytes = std::function<std::int64_t(Storage storage, const WideText& relativePath)>;
// What the files take from either storage, less what is present. Nothing if a path holds the name of neither
// storage's folder. The name may stand anywhere in the path here.
[[nodiscard]] std::optional<StorageAmounts> needOf(const BackupFiles& files,
                                                   const PresentBytes& presentBytes);

// The first storage that has less room than is needed; an exact fit is none. The card counts only if there is
// one.
[[nodiscard]] std::optional<Storage> storageWithoutRoom(const StorageAmounts& need,
                                                        const StorageAmounts& room, bool hasCard);

}  // namespace ZelmoraTevra
