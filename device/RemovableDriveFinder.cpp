#include "device/RemovableDriveFinder.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/Directory_new.h"
#include "device/VolumeQueries.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

std::vector<ClientDrive> removableDrives() {
  WideText letters;
  for (const platform::Volume& volume : platform::machine().volumes->volumes()) {
    if (volume.letter != 0 && volume.type == platform::DriveType::removable) letters += volume.letter;
  }
  std::sort(letters.begin(), letters.end());
  std::vector<ClientDrive> drives;
  for (const char16_t letter : letters) {
    ClientDrive drive{WideView(&letter, 1)};
    if (volumeInformation(drive.rootForm)) drives.push_back(std::move(drive));
  }
  return drives;
}

std::vector<RemovableDrive> RemovableDriveFinder::findDrives() {
  std::vector<RemovableDrive> paired;
  std::vector<RemovableDrive> lone;
  for (const ClientDrive& drive : removableDrives()) {
    if (opensPair(drive)) {
      paired.emplace_back(drive, ClientDrive(identifier_.externalDriveOfInternal(drive.letter)));
    } else {
      lone.emplace_back(drive, ClientDrive());
    }
  }

  std::vector<RemovableDrive> drives;
  for (RemovableDrive& pair : paired) {
    const WideText card = pair.secondaryDrive().letter;
    drives.push_back(std::move(pair));
    const auto found = std::find_if(lone.begin(), lone.end(), [&card](const RemovableDrive& drive) {
      return drive.primaryDrive().letter == card;
    });
    if (found == lone.end()) continue;
    drives.push_back(std::move(*found));
    lone.erase(found);
  }
  std::move(lone.begin(), lone.end(), std::back_inserter(drives));
  return drives;
}

bool RemovableDriveFinder::opensPair(const ClientDrive& drive) {
  if (!identifier_.hasExternalDisk() || identifier_.classifyDrive(drive.colonForm) != 1) return false;
  return Directory_new(identifier_.externalDriveOfInternal(drive.letter) + u':').takesWrites();
}

}  // namespace ZelmoraTevra
