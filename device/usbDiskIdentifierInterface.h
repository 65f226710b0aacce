#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// What is known of the maker's devices that are connected: which drive is the flash of a device and which its
// storage card. A drive letter is the letter alone ("E"); a drive text may also be "E:" or "E:\".
class usbDiskIdentifierInterface {
 public:
  virtual ~usbDiskIdentifierInterface() = default;

  // Whether any device has a storage card.
  virtual bool hasExternalDisk() = 0;
  // The flash to a card's letter, and the card to a flash's letter; empty if there is none.
  virtual WideText internalDriveOfExternal(const WideText& driveLetter) = 0;
  virtual WideText externalDriveOfInternal(const WideText& driveLetter) = 0;
  // 0: a lone drive, or none of the maker's; 1: the software storage of a pair; 2: its content storage.
  virtual int classifyDrive(const WideText& drive) = 0;
  // Asks the system to let the drive's device go. 0 for success, -1 for failure.
  virtual int ejectDevice(const WideText& driveLetter) = 0;
  // The number of the logical unit that the drive is, 0 or 1; -1 for a drive that isn't known.
  virtual int getDriveLunType(const WideText& drive) = 0;
  // Does nothing.
  virtual void reserved() = 0;
};

}  // namespace ZelmoraTevra
