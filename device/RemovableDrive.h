#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "device/ClientApplication.h"
#include "device/ClientContent.h"
#include "device/ClientDrive.h"
#include "device/ClientMap.h"
#include "device/ClientSoftware.h"
#include "device/IVersionXmlFile.h"

namespace ZelmoraTevra {

struct RemovableDriveInfo {
  WideText name;  // volume name; "ZELMORA" for a folder
  bool writeable = false;
  std::uint64_t totalSpace = 0;  // bytes
  std::uint64_t freeSpace = 0;   // bytes
  ClientSoftware software;
  std::vector<ClientApplication> apps;
  std::vector<ClientContent> contents;
  std::vector<ClientMap> maps;
  bool kml = false;  // the user's tracks have a folder
  std::string mis;   // the first bytes of the MIS file, as they are
};

// What is known of a connected device, or of one half of it, or of folders that stand for one, at the moment
// at which the object was made. Nothing fails: what can't be found out stays as it is by default. A text in a
// device's file that isn't UTF-8 throws the UTF-8 library's exception.
class RemovableDrive {
 public:
  // The second drive is the storage card of a pair; not valid for a lone drive.
  RemovableDrive(const ClientDrive& primaryDrive, const ClientDrive& secondaryDrive);
  // Either may be empty.
  RemovableDrive(const WideText& folderPath, const WideText& secondaryFolderPath);
  virtual ~RemovableDrive() = default;
  RemovableDrive(const RemovableDrive&) = default;
  RemovableDrive(RemovableDrive&&) = default;
  RemovableDrive& operator=(const RemovableDrive&) = default;
  RemovableDrive& operator=(RemovableDrive&&) = default;

  // Empty for drives.
  [[nodiscard]] const WideText& folderPath() const { return folderPath_; }
  [[nodiscard]] const WideText& secondaryFolderPath() const { return secondaryFolderPath_; }
  // Not valid for folders.
  [[nodiscard]] const ClientDrive& primaryDrive() const { return primaryDrive_; }
  [[nodiscard]] const ClientDrive& secondaryDrive() const { return secondaryDrive_; }
  [[nodiscard]] const RemovableDriveInfo& info() const { return info_; }

 private:
  // Upper-cased names of map files.
  using FileNames = std::unordered_set<WideText>;
  struct MapFolder;

  void scanDrive();
  void scanFolders();
  void readInventory(const WideText& root, const WideText& contentRoot);
  void scanMapFolders(const WideText& root, const WideText& secondaryRoot);
  void scanMapFolder(const WideText& folder, const FileNames& knownFiles, bool isSoftwareStorage);
  void readMis();
  [[nodiscard]] bool hasTracks() const;

  WideText folderPath_;
  WideText secondaryFolderPath_;
  ClientDrive primaryDrive_;
  ClientDrive secondaryDrive_;
  RemovableDriveInfo info_;
};

}  // namespace ZelmoraTevra
