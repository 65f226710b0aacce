#include "device/ScanResponse.h"

#include <utility>

#include "core/XmlDocument.h"
#include "device/InfoElements.h"
#include "device/MetadataGuard.h"

namespace ZelmoraTevra {

namespace {

// What a drive is, as the identifier numbers it.
constexpr int loneDrive = 0;
constexpr int softwareStorage = 1;
constexpr int contentStorage = 2;

TiXmlElement& addRemovable(TiXmlElement& root, const char* type) {
  TiXmlElement& removable = addElement(root, "removable");
  removable.SetAttribute("type", type);
  return removable;
}

void addKml(TiXmlElement& removable, const RemovableDriveInfo& info) {
  addTextElement(removable, "kml", info.kml ? u"yes" : u"no");
}

// A map without a file isn't there for a front end. One whose digest wasn't asked for has an empty one.
bool isOnDisk(ClientMap& map) {
  if (map.md5SumFirst100kb.empty() || map.size == 0) return false;
  if (map.md5SumFirst100kb == digestNotNeeded) map.md5SumFirst100kb.clear();
  return true;
}

}  // namespace

ScanResponse::ScanResponse(TiXmlElement& root, usbDiskIdentifier identifier)
    : root_(root), identifier_(std::move(identifier)) {}

void ScanResponse::add(const RemovableDrive& drive) {
  const RemovableDriveInfo& info = drive.info();
  const WideText& letter = drive.primaryDrive().letter;
  const int kind = identifier_.classifyDrive(letter);
  const VolumeSpace space{info.totalSpace, info.freeSpace};

  TiXmlElement* removable = nullptr;
  TiXmlElement* disk = nullptr;
  if (kind == softwareStorage || kind == contentStorage) {
    if (group_ == nullptr || kind == softwareStorage || identifier_.isExternalChanged(letter) != 0) {
      startGroup(info);
    } else {
      groupSpace_.total += space.total;
      groupSpace_.free += space.free;
    }
    removable = group_;
    disk = &addElement(*disks_, "disk");
    disk->SetAttribute("type", kind == softwareStorage ? "storage_for_software" : "storage_for_content");
  } else {
    removable = &addRemovable(root_, "single");
    addKml(*removable, info);
  }

  const WideText driveLetter = letter.empty() ? WideText() : letter + u':';
  const std::uint32_t serial = getVolumeSerial(drive.primaryDrive().colonForm);
  addTextElement(*removable, kind == contentStorage ? "seconddriveletter" : "driveletter", driveLetter);
  const auto describe = [&](TiXmlElement& parent) {
    addTextElement(parent, "name", info.name);
    addFlagElement(parent, "writeable", info.writeable);
    addNumberElement(parent, "serialNumber", serial);
  };
  if (kind != contentStorage) describe(*removable);
  if (kind == loneDrive) addSpaceElement(*removable, space);
  if (disk != nullptr) {
    addTextElement(*disk, "driveletter", driveLetter);
    describe(*disk);
    addSpaceElement(*disk, space);
  }
  if (kind != contentStorage) addMisElement(*removable, info.mis);
  if (info.software.isValid()) addSoftware(drive, serial, *removable);

  const bool endsGroup =
      kind == contentStorage || (kind == softwareStorage && !drive.secondaryDrive().isValid());
  if (group_ != nullptr && endsGroup) addSpaceElement(*group_, groupSpace_);
}

void ScanResponse::startGroup(const RemovableDriveInfo& info) {
  groupSpace_ = {info.totalSpace, info.freeSpace};
  group_ = &addRemovable(root_, "multiple");
  disks_ = &addElement(*group_, "disks");
  addKml(*group_, info);
}

void ScanResponse::addSoftware(const RemovableDrive& drive, std::uint32_t serial, TiXmlElement& removable) {
  TiXmlElement& software = addSoftwareElement(removable, drive.info(), isOnDisk);
  keepForeignMetadataAway(drive.primaryDrive().colonForm);
  addNumberElement(software, "serialNumber", serial);
}

}  // namespace ZelmoraTevra
