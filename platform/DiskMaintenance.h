#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/DeviceTree.h"
#include "platform/Text.h"

namespace ZelmoraTevra::platform {

enum class FormatKind { fat, fat32 };

struct DiskCheckParameters {
  bool fixErrors = false;
  bool forceDismount = false;
  bool recoverBadSectors = false;
};

// The step at which the system gave up on a disk check, in the order in which they come.
enum class DiskCheckStep {
  none,
  initialise,
  security,
  locate,
  connect,
  secureConnection,
  findDiskClass,
  findCheckMethod,
  setParameter,
  execute,
  query,
  findQueryResult,
  readQueryResult,
};

struct DiskCheckAnswer {
  DiskCheckStep failed = DiskCheckStep::none;
  WideText parameter = {};        // the name of the one that could not be set
  std::uint32_t returnValue = 0;  // of the check, if no step failed; 0 and 1 are success
};

struct DirtyAnswer {
  DiskCheckStep failed = DiskCheckStep::none;
  bool dirty = false;  // if no step failed
};

enum class DeviceClass { disk, floppy, cdrom };

// What a device of a class is reached by.
struct DeviceInterface {
  WideText path;  // to be opened
  DeviceNode node = noDeviceNode;
};

// The system's answer to the request to eject a device. Both are 0 if it was granted.
struct EjectAnswer {
  std::uint32_t result = 0;
  std::uint32_t veto = 0;  // the kind of the veto
};

// Work on disks as the system does it. Letters are upper-case drive letters; a letter that no volume has is a
// failure like any other. No operation throws.
class DiskMaintenance {
 public:
  virtual ~DiskMaintenance() = default;

  // What the system's disk checker prints about a volume, in the language that it has; it names the file
  // system. Empty if it prints nothing or can't be started.
  virtual std::string examine(char16_t letter) = 0;
  // Quick format without questions. 0 for success; everything that was on the volume is gone then.
  virtual int format(char16_t letter, FormatKind kind, const WideText& label) = 0;
  virtual DiskCheckAnswer check(char16_t letter, const DiskCheckParameters& parameters) = 0;
  // Whether the system means that the volume ought to be checked.
  virtual DirtyAnswer isDirty(char16_t letter) = 0;

  // Opens a device by its path (that of an interface, or "\\.\E:") and asks its number, which all that lies
  // on one disk have in common. Nothing if either fails.
  virtual std::optional<std::uint32_t> deviceNumber(const WideText& devicePath) = 0;
  // The system's own name of a drive's device, as "\Device\HarddiskVolume3"; empty if it has none.
  virtual WideText deviceName(char16_t letter) = 0;
  // The devices of a class that are there now.
  virtual std::vector<DeviceInterface> interfaces(DeviceClass deviceClass) = 0;
  virtual EjectAnswer requestEject(DeviceNode node) = 0;
  // The same request, with the system left to tell its user what came of it. Harmless on what is gone.
  virtual void requestEjectAndTellUser(DeviceNode node) = 0;
};

}  // namespace ZelmoraTevra::platform
