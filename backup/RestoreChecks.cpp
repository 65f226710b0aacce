#include "backup/RestoreChecks.h"

#include <algorithm>

#include "backup/BackupFolder.h"
#include "core/PathBelowRoot.h"

namespace ZelmoraTevra {

namespace {

bool contains(const WideText& path, WideView word) {
  return path.find(word) != WideText::npos;
}

bool differs(const WideText& ofBackup, const WideText& ofDevice) {
  return !ofBackup.empty() && ofBackup != ofDevice;
}

// Of a path in which the storage's name may stand anywhere.
std::optional<Storage> storageInPath(const WideText& path) {
  if (contains(path, contentFolderName)) return Storage::card;
  if (contains(path, softwareFolderName)) return Storage::flash;
  return std::nullopt;
}

}  // namespace

bool isFullImage(const BackupDescription& backup) {
  return backup.personalBackup == u"false";
}

BackupMatch matchOf(const BackupDescription& backup, const BackupDescription& device) {
  const bool isUnknownDevice = device.brand.empty() && device.platform.empty() && device.hardwareID.empty() &&
                               device.deviceUID.empty();
  if (isUnknownDevice) return BackupMatch::fits;
  if (differs(backup.hardwareID, device.hardwareID) || differs(backup.deviceUID, device.deviceUID))
    return BackupMatch::otherDevice;
  if (!backup.hardwareID.empty() || !backup.deviceUID.empty()) return BackupMatch::fits;
  const bool isSameModel = backup.platform == device.platform && backup.brand == device.brand;
  return isSameModel ? BackupMatch::fits : BackupMatch::otherModel;
}

bool needsCard(const BackupFiles& files) {
  return std::any_of(files.begin(), files.end(),
                     [](const auto& file) { return contains(file.first, contentFolderName); });
}

bool beginsWithStorage(const WideText& path) {
  return path.starts_with(softwareFolderName) || path.starts_with(contentFolderName);
}

std::optional<StoragePlace> placeOnDevice(const WideText& path) {
  if (!beginsWithStorage(path)) return std::nullopt;
  const bool isOnFlash = path.starts_with(softwareFolderName);
  const WideView rest =
      WideView(path).substr(isOnFlash ? softwareFolderName.size() : contentFolderName.size());
  const std::size_t start = rest.find_first_not_of(u"/\\");
  // A separator must follow: a longer name is another folder.
  if (start == 0 || start == WideView::npos || !staysBelowRoot(rest.substr(start))) return std::nullopt;
  return StoragePlace{isOnFlash ? Storage::flash : Storage::card, WideText(rest.substr(start))};
}

std::optional<StorageAmounts> needOf(const BackupFiles& files, const PresentBytes& presentBytes) {
  StorageAmounts need;
  for (const auto& [path, file] : files) {
    const std::optional<Storage> storage = storageInPath(path);
    if (!storage) return std::nullopt;
    need.of(*storage) += static_cast<std::int64_t>(file.size);
    const std::size_t separator = path.find_first_of(u"/\\");
    if (separator != WideText::npos) need.of(*storage) -= presentBytes(*storage, path.substr(separator + 1));
  }
  return need;
}

std::optional<Storage> storageWithoutRoom(const StorageAmounts& need, const StorageAmounts& room,
                                          bool hasCard) {
  if (need.flash > room.flash) return Storage::flash;
  if (hasCard && need.card > room.card) return Storage::card;
  return std::nullopt;
}

}  // namespace ZelmoraTevra
