#pragma once

#include <vector>

#include "device/DiskRecord.h"
#include "device/usbDiskIdentifierInterface.h"

namespace ZelmoraTevra {

// Walks the device tree once, when it is made, and pairs the flash and the storage card of each of the
// maker's devices. A device that comes or goes later isn't noticed. What the walk finds is told on standard
// output.
class usbDiskIdentifier : public usbDiskIdentifierInterface {
 public:
  // `wantedDrive` ("E", "E:" or "E:\") counts as a flash even if it holds no version file; empty for none.
  usbDiskIdentifier(WideText wantedDrive, bool windows7Mode);

  bool hasExternalDisk() override;
  WideText internalDriveOfExternal(const WideText& driveLetter) override;
  WideText externalDriveOfInternal(const WideText& driveLetter) override;
  int classifyDrive(const WideText& drive) override;
  int ejectDevice(const WideText& driveLetter) override;
  int getDriveLunType(const WideText& drive) override;
  void reserved() override {}

  // 1 if the card in the drive's device has got a new letter and the old one is gone, else 0.
  [[nodiscard]] int isExternalChanged(const WideText& drive) const;

  [[nodiscard]] const std::vector<DiskRecord>& records() const { return records_; }

 private:
  [[nodiscard]] const DiskRecord* recordOf(const WideText& drive) const;

  std::vector<DiskRecord> records_;
};

}  // namespace ZelmoraTevra
