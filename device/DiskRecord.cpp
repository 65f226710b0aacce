#include "device/DiskRecord.h"

#include <algorithm>

#include "core/Directory_new.h"
#include "device/UnitNumber.h"

namespace ZelmoraTevra {

namespace {

void takeOver(WideText& target, const WideText& value) {
  if (!value.empty()) target = value;
}

}  // namespace

bool mergeDiskRecord(std::vector<DiskRecord>& records, const DiskRecord& found, bool windows7Mode) {
  const auto isSameDevice = [&found, windows7Mode](const DiskRecord& record) {
    return windows7Mode ? areUnitsOfOneDevice(record.deviceId, found.deviceId)
                        : record.grandParentDevInst == found.grandParentDevInst;
  };
  const auto target = std::find_if(records.begin(), records.end(), isSameDevice);
  if (target == records.end()) {
    records.push_back(found);
    return true;
  }
  takeOver(target->internalDrive, found.internalDrive);
  takeOver(target->internalDeviceId, found.internalDeviceId);
  if (!found.externalDrive.empty()) {
    if (!target->externalDrive.empty() && !Directory_new(target->externalDrive + u':').exists())
      target->externalChanged = 1;
    target->externalDrive = found.externalDrive;
  }
  takeOver(target->externalDeviceId, found.externalDeviceId);
  takeOver(target->externalDriveLun0, found.externalDriveLun0);
  takeOver(target->externalDriveLun1, found.externalDriveLun1);
  // A card on unit 1 doesn't tell the unit of the device's flash.
  if (!found.internalDrive.empty() || !found.externalDriveLun0.empty()) target->lunType = found.lunType;
  target->hasExternal = std::max(target->hasExternal, found.hasExternal);
  return false;
}

}  // namespace ZelmoraTevra
