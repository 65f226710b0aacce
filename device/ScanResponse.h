#pragma once

#include "device/RemovableDrive.h"
#include "device/VolumeQueries.h"
#include "device/usbDiskIdentifier.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Writes the drives that were found on the computer, one after the other, into the root of a response. A
// drive that opens a group ("removable" of the type "multiple") is followed by the drives that belong to it,
// so the order of the drives counts.
class ScanResponse {
 public:
  ScanResponse(TiXmlElement& root, usbDiskIdentifier identifier);

  // Also marks the drive so that a host of another system leaves it alone, if it has software.
  void add(const RemovableDrive& drive);

 private:
  void startGroup(const RemovableDriveInfo& info);
  void addSoftware(const RemovableDrive& drive, std::uint32_t serial, TiXmlElement& removable);

  TiXmlElement& root_;
  usbDiskIdentifier identifier_;
  // Of the last pair; a lone drive behind it leaves them as they are.
  TiXmlElement* group_ = nullptr;
  TiXmlElement* disks_ = nullptr;
  VolumeSpace groupSpace_;
};

}  // namespace ZelmoraTevra
