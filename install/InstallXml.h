#pragma once

#include <cstdint>
#include <vector>

#include "platform/Text.h"

class TiXmlElement;

namespace ZelmoraTevra {

// What is done with one file of an update.
enum FileFlag : std::int32_t {
  installFile = 0,
  installFileIfMissing = 1,
  installFileToo = 2,
  replaceFileIfPresent = 3,
  deleteFile = 4,
  deleteFolderIfEmpty = 7,
  deleteFolderTree = 8,
};

struct InstallFile {
  WideText local;   // path of the entry in the zip
  WideText client;  // path on the device below the storage's root
  std::int32_t updateFlag = 0;
  std::int32_t platform = 0;
  std::int64_t fileSize = 0;  // bytes
  WideText hashKey;           // MD5 in hexadecimal, either case
};

struct InstallXmlEntry {
  WideText file;  // path of the XML file on the device
  std::int32_t creationFlag = 0;
  WideText base;
  WideText condition;
  std::vector<WideText> alters;
};

struct InstallUpdate {
  WideText company;
  WideText name;
  WideText version;
  std::uint32_t update = 0;
  std::uint32_t uninstall = 0;
  std::int64_t updateSize = 0;  // bytes
  // Where the update goes; none of the three: the package is an older one, which says nothing of it.
  bool locationContent = false;
  bool locationSoftware = false;
  bool locationOther = false;
  // Bytes; written by the distributor.
  std::int64_t neededPrimary = -1;
  std::int64_t neededSecondary = -1;
  std::int64_t clusterOverhead = -1;
  std::vector<InstallFile> files;
  bool foldersAreExpanded = false;  // the files hold what the folder deletions come to; by the distributor
  std::vector<InstallXmlEntry> xmlEntries;
  WideText localSource;  // path of the package's zip; written by the install driver

  [[nodiscard]] bool hasLocation() const { return locationContent || locationSoftware || locationOther; }
};

// A package's install description, parsed: the updates that all later stages work on.
class InstallXml {
 public:
  // 0 for success. -1 for an empty text without a report, and for a bad one with a report.
  int load(WideText description);

  [[nodiscard]] bool isValid() const { return valid_; }
  [[nodiscard]] const WideText& text() const { return text_; }
  [[nodiscard]] const WideText& version() const { return version_; }
  // In document order. Never empty when valid.
  [[nodiscard]] std::vector<InstallUpdate>& getUpdates() { return updates_; }
  [[nodiscard]] bool needsMemoryCard() const { return needsMemoryCard_; }
  // Bytes to keep free on the two storages.
  [[nodiscard]] std::int64_t extraSpaceSoftware() const { return extraSpaceSoftware_; }
  [[nodiscard]] std::int64_t extraSpaceContent() const { return extraSpaceContent_; }
  // Bytes of the temporary updates, by storage.
  [[nodiscard]] std::int64_t temporarySpaceSoftware() const { return temporarySpaceSoftware_; }
  [[nodiscard]] std::int64_t temporarySpaceContent() const { return temporarySpaceContent_; }

 private:
  [[nodiscard]] bool parse();
  void readUpdate(TiXmlElement& element);

  WideText text_;
  bool valid_ = false;
  WideText version_;
  std::vector<InstallUpdate> updates_;
  bool needsMemoryCard_ = false;
  std::int64_t extraSpaceSoftware_ = 0;
  std::int64_t extraSpaceContent_ = 0;
  std::int64_t temporarySpaceSoftware_ = 0;
  std::int64_t temporarySpaceContent_ = 0;
};

}  // namespace ZelmoraTevra
