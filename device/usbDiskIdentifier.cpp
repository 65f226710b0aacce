#include "device/usbDiskIdentifier.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "device/DeviceEjection.h"
#include "device/UnitNumber.h"
#include "platform/Machine.h"
#include "platform/StandardOutput.h"

namespace ZelmoraTevra {

namespace {

using platform::DeviceNode;
using platform::noDeviceNode;

// Whether a drive text names a letter, in one of its three forms. No letter at all has these forms too.
bool names(const WideText& drive, const WideText& letter) {
  return drive == letter || drive == letter + u":" || drive == letter + u":\\";
}

// The walk over the device tree that fills the records.
class Walk {
 public:
  Walk(const WideText& wantedDrive, bool windows7Mode, std::vector<DiskRecord>& records)
      : wantedDrive_(wantedDrive), windows7Mode_(windows7Mode), records_(records) {}

  void run() {
    say("Disk identification start!!!!!!\n");
    DeviceNode node = tree_.root();
    if (node == noDeviceNode) return;
    std::int32_t indent = 1;
    while (node != noDeviceNode) {
      visit(node, indent);
      node = next(node, indent);
    }
    say("Disk identification ended!!!!!!\n\n\n\n\n\n");
  }

  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  // In pre-order; nothing behind the last node.
  DeviceNode next(DeviceNode node, std::int32_t& indent) {
    if (const DeviceNode child = tree_.firstChild(node); child != noDeviceNode) {
      ++indent;
      return child;
    }
    while (node != noDeviceNode) {
      if (const DeviceNode sibling = tree_.nextSibling(node); sibling != noDeviceNode) return sibling;
      node = tree_.parent(node);
      --indent;
    }
    return noDeviceNode;
  }

  void visit(DeviceNode node, std::int32_t indent) {
    const WideText drive = tree_.driveOf(node);
    if (drive.empty()) return;
    say("\n\nProcessing drive: " + toReadableUtf8(drive) + '\n');
    sayNumber("Device id: ", node);
    sayNumber("Indent: ", static_cast<std::uint32_t>(indent));
    const DeviceNode parent = tree_.parent(node);
    sayNumber("Parent id: ", parent);
    const DeviceNode grandParent = parent != noDeviceNode ? tree_.parent(parent) : noDeviceNode;
    sayNumber("Grand parent id: ", grandParent);
    // The labels of the two ids are crossed: that is how those who read this output know them.
    const WideText parentId = parent != noDeviceNode ? tree_.id(parent) : WideText();
    say("Device id str: " + toReadableUtf8(parentId) + '\n');
    const WideText nodeId = tree_.id(node);
    say("Parent id str: " + toReadableUtf8(nodeId) + '\n');

    const int unit = unitOf(parentId, nodeId);
    if (unit < 0) return;
    say("Found Zelmora! Type " + std::to_string(unit) + '\n');
    DiskRecord record{.grandParentDevInst = grandParent, .deviceId = nodeId, .lunType = unit};
    fillDrive(record, drive);
    say(mergeDiskRecord(records_, record, windows7Mode_) ? "New disk info added!\n"
                                                         : "Existing disk info added!\n");
  }

  // -1 for what isn't one of the maker's devices.
  [[nodiscard]] int unitOf(const WideText& parentId, const WideText& nodeId) const {
    const UnitNumber parent = unitNumberOf(parentId, windows7Mode_);
    const UnitNumber node = unitNumberOf(nodeId, windows7Mode_);
    for (const int unit : {0, 1})
      if (parent.type == unit || node.type == unit) return unit;
    return -1;
  }

  void fillDrive(DiskRecord& record, const WideText& drive) {
    const WideText letter = drive.substr(0, 1);
    if (isInternal(drive, letter)) {
      record.internalDrive = letter;
      record.internalDeviceId = record.deviceId;
      return;
    }
    record.externalDrive = letter;
    record.externalDeviceId = record.deviceId;
    (record.lunType == 0 ? record.externalDriveLun0 : record.externalDriveLun1) = letter;
    record.hasExternal = 1;
  }

  bool isInternal(const WideText& drive, const WideText& letter) {
    for (const WideView version : {u"/KD3/version.xml", u"/ZELMORA/version.xml"}) {
      if (!File_platformIndependent(drive + WideText(version)).exists()) continue;
      say("Found version!\n");
      return true;
    }
    const bool isWanted = names(wantedDrive_, letter);
    say(isWanted ? "internal \n" : "external !\n");
    return isWanted;
  }

  void say(const std::string& text) { text_ += text; }
  void sayNumber(const char* label, std::uint32_t number) {
    say(label + std::to_string(static_cast<std::int32_t>(number)) + '\n');
  }

  platform::DeviceTree& tree_ = *platform::machine().deviceTree;
  const WideText& wantedDrive_;
  bool windows7Mode_;
  std::vector<DiskRecord>& records_;
  std::string text_;
};

}  // namespace

usbDiskIdentifier::usbDiskIdentifier(WideText wantedDrive, bool windows7Mode) {
  Walk walk(wantedDrive, windows7Mode, records_);
  walk.run();
  platform::writeToStandardOutput(walk.text());
}

bool usbDiskIdentifier::hasExternalDisk() {
  return std::any_of(records_.begin(), records_.end(),
                     [](const DiskRecord& record) { return record.hasExternal == 1; });
}

WideText usbDiskIdentifier::internalDriveOfExternal(const WideText& driveLetter) {
  for (const DiskRecord& record : records_)
    if (record.externalDrive == driveLetter || record.externalDriveLun1 == driveLetter)
      return record.internalDrive;
  return {};
}

WideText usbDiskIdentifier::externalDriveOfInternal(const WideText& driveLetter) {
  for (const DiskRecord& record : records_)
    if (record.internalDrive == driveLetter || record.externalDriveLun0 == driveLetter)
      return record.externalDrive;
  return {};
}

int usbDiskIdentifier::classifyDrive(const WideText& drive) {
  const DiskRecord* const record = recordOf(drive);
  if (record == nullptr || record->hasExternal == 0) return 0;
  if (names(drive, record->internalDrive)) return 1;
  if (names(drive, record->externalDrive)) return 2;
  return names(drive, record->externalDriveLun0) ? 1 : 2;
}

int usbDiskIdentifier::ejectDevice(const WideText& driveLetter) {
  return ZelmoraTevra::ejectDevice(driveLetter);
}

int usbDiskIdentifier::getDriveLunType(const WideText& drive) {
  for (const DiskRecord& record : records_)
    if (names(drive, record.internalDrive) || names(drive, record.externalDriveLun0)) return record.lunType;
  return -1;
}

int usbDiskIdentifier::isExternalChanged(const WideText& drive) const {
  const DiskRecord* const record = recordOf(drive);
  return record != nullptr ? record->externalChanged : 0;
}

const DiskRecord* usbDiskIdentifier::recordOf(const WideText& drive) const {
  for (const DiskRecord& record : records_) {
    for (const WideText& letter :
         {record.internalDrive, record.externalDrive, record.externalDriveLun0, record.externalDriveLun1})
      if (names(drive, letter)) return &record;
  }
  return nullptr;
}

}  // namespace ZelmoraTevra
