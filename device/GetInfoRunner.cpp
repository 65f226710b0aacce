#include "device/GetInfoRunner.h"

#include "core/CommandValues.h"
#include "core/Directory_new.h"
#include "device/ClientVersionXmlFile.h"
#include "device/GetInfoXml.h"
#include "device/InstalledMapFiles.h"
#include "device/RemovableDriveFinder.h"

namespace ZelmoraTevra {

namespace {

WideText folderIfThere(const WideText& path) {
  return Directory_new(path).exists() ? path : WideText();
}

bool answerForDrives(bool windows7Mode) {
  for (const ClientDrive& drive : removableDrives()) recoverVersionFile(drive.colonForm);
  usbDiskIdentifier identifier({}, windows7Mode);
  return GetInfoXml(RemovableDriveFinder(identifier).findDrives()).writeScan(identifier);
}

bool answerForFolders(const WideText& folder, const WideText& secondaryFolder) {
  return GetInfoXml({RemovableDrive(folder, secondaryFolder)}).writeFolders();
}

}  // namespace

bool readGetInfoCommand(const TiXmlElement& command, CommandRecord& record) {
  record.storageCardDriveLetter = plainValue(command, "/Command/FolderPath");
  record.secondDriveLetter = plainValue(command, "/Command/SecondaryFolderPath");
  record.windows7 = isNonZeroAttribute(command, "windows7");
  record.computeMapsInfo = isNonZeroAttribute(command, "computeMapsInfo");
  return true;
}

int GetInfoRunner::init(const CommandRecord& record) {
  // Without a first folder the second isn't looked at.
  const bool namesFolder = !record.storageCardDriveLetter.empty();
  folder_ = folderIfThere(record.storageCardDriveLetter);
  secondaryFolder_ = namesFolder ? folderIfThere(record.secondDriveLetter) : WideText();
  windows7Mode_ = record.windows7;
  computeMapsInfo = record.computeMapsInfo;
  return 0;
}

int GetInfoRunner::run() {
  const bool scans = folder_.empty() && secondaryFolder_.empty();
  return (scans ? answerForDrives(windows7Mode_) : answerForFolders(folder_, secondaryFolder_)) ? 0 : -1;
}

}  // namespace ZelmoraTevra
