#include "device/RemoveDeviceRunner.h"

#include "core/ErrorReport.h"
#include "device/usbDiskIdentifier.h"

namespace ZelmoraTevra {

int RemoveDeviceRunner::init(const CommandRecord& record) {
  drive_ = record.storageCardDriveLetter;
  return 0;
}

int RemoveDeviceRunner::run() {
  usbDiskIdentifier identifier({}, false);
  if (!drive_.empty() && identifier.ejectDevice(drive_) == 0) {
    saveState(statSuccess, 1010);
    return 0;
  }
  // The percent is a marker that the front end passes over.
  ErrorReport(1072,
              u"An error occurred when trying to remove the device. Please make sure it is not used by other "
              u"programs.")
      .percent(121)
      .save();
  return 0;
}

}  // namespace ZelmoraTevra
