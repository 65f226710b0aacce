#pragma once

#include <cstddef>
#include <cstdint>
#include <map>

#include "platform/Text.h"

class TiXmlDocument;

namespace ZelmoraTevra {

// How many tags and attributes a description may have. A device has many small files: this is four times the
// usual bound, about a million of them.
constexpr std::size_t maximalDescriptionMarkup = 4'000'000;

// The head of a backup.
struct BackupDescription {
  WideText name;
  WideText brand;  // this and the next two: of the device's software when the backup was made
  WideText platform;
  WideText version;
  WideText creationdate;    // UTC, as 2012-03-05
  std::uint64_t size = 0;   // bytes of all files
  WideText personalBackup;  // "false": a full image, for which a device is formatted; "true" or anything
                            // else: laid over what the device holds
  WideText hardwareID;      // may be empty
  WideText deviceUID;       // may be empty
  WideText converted;       // "true" if it was brought here from an older form
};

struct BackupFileEntry {
  WideText path;
  std::uint64_t size = 0;  // bytes
};

// By path, compared unit by unit.
using BackupFiles = std::map<WideText, BackupFileEntry>;

// Writes the description of a backup into its folder below the backup root; an older one stays until the new
// one is whole. The files are named by their paths on the device, below the source or, if that isn't empty,
// the secondary folder. 0, or the exit code of the failure after its report.
[[nodiscard]] int writeBackupDescription(const BackupDescription& description, const BackupFiles& files,
                                         const WideText& sourceFolder, const WideText& secondaryFolder);

// Whether such a description can be written, the disk aside, and read again. 0, or as above.
[[nodiscard]] int checkDescription(const BackupDescription& description, const BackupFiles& files,
                                   const WideText& sourceFolder, const WideText& secondaryFolder);

// Reads what tells of which device the backup in a folder is: brand, platform, version, hardwareID, deviceUID
// and personalBackup. 0, or -1 after a report.
[[nodiscard]] int readBackupIdentity(const WideText& folder, const WideText& name,
                                     BackupDescription& description);

// The same for a folder that needn't be a backup: false, without a report, if it has no description or one
// without its head.
[[nodiscard]] bool findBackupIdentity(const WideText& folder, const WideText& name,
                                      BackupDescription& description);

// Reads the description of a backup below the backup root, all but `converted`, and its files, named by their
// paths below the backup's folder. What isn't there is empty. 0, or -1 after a report.
[[nodiscard]] int readBackupDescription(const WideText& name, BackupDescription& description,
                                        BackupFiles& files);

enum class FileList {
  whole,
  noContents,  // the document isn't that of a backup
  noFiles,     // it has no list
  incomplete,  // a file lacks its path or size, or has a path that leaves the backup's folder
};

// Adds the files that a loaded description lists. Those before an incomplete one are added as well; an entry
// with an empty path is passed over.
[[nodiscard]] FileList readFileList(const TiXmlDocument& document, BackupFiles& files);

}  // namespace ZelmoraTevra
