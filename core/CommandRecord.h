#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/Text.h"

class TiXmlElement;

namespace ZelmoraTevra {

class IndicatorFile;
class InstallXml;

// One package of a "PackageSequence".
struct ContentEntry {
  std::uint64_t fileSize = 0;              // bytes of the zip
  std::uint64_t fileSizeUncompressed = 0;  // bytes
  WideText md5;
  WideText sha1;
  WideText url;  // with a local installation the path of the zip
  WideText name;
  WideText description;
  WideText id;
  std::shared_ptr<InstallXml> installXml;  // the install description; null where the command carries none
};

// An update that is to be taken off a device.
struct UninstallEntry {
  WideText company;  // may be empty: whoever made it
  WideText product;
  WideText version;
};

// One command of a job, with the same fields for all commands; each uses its subset.
struct CommandRecord {
  WideText commandName;

  std::vector<ContentEntry> packages;
  std::vector<UninstallEntry> uninstallEntries;
  WideText proxyHost;
  WideText proxyPort;
  WideText proxyUser;
  WideText proxyPassword;

  WideText storageCardDriveLetter;  // root of the device's main storage; in "GET_INFO" a folder, or empty
  WideText secondDriveLetter;       // root of the second one; empty if there is none
  bool disableFormatFirst = false;  // the storage is cleared where it would be formatted
  bool disableFormatSecond = false;

  WideText backupName;
  WideText oldFolder;  // what is to be moved from there
  WideText newFolder;  // to there

  // What a "file" is to the commands for the user's files, and which one is meant.
  WideText extensions;          // required ones, separated by ";"
  WideText optionalExtensions;  // one of them is required, separated by ";"
  WideText searchingFolder;     // below a storage
  WideText optionalSearchingFolder;
  WideText optionalDeleteExtension;
  WideText fileName;  // on the device, or the path of the file that is brought to it
  WideText fileNameAtDestination;
  WideText defaultFileToCopy;  // a path on the computer
  WideText destinationFolder;  // on the computer
  WideText localFilePath;      // of the track that is imported
  WideText contacts;           // an XML text
  WideText uploadUrl;
  bool mainIsDefaultTarget = false;
  bool overwrite = false;

  // Set when the commands run, and the same for all of a job; null where the front end wants none.
  std::shared_ptr<IndicatorFile> indicatorFile;
  // What the command itself says in place of the uploader's settings for all devices; null without it.
  std::shared_ptr<const TiXmlElement> defaultDeviceSettings;

  bool localInstall = false;
  bool checkHashFile = false;
  bool notRunMoveMap = false;
  bool forceDismount = false;
  bool fixErrors = false;
  bool recoverBadSectors = false;
  bool windows7 = false;         // how the system numbers the logical units of a device
  bool computeMapsInfo = false;  // the digests of maps are wanted
};

}  // namespace ZelmoraTevra
