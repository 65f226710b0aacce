#include "device/FormatDevice.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "device/usbDiskIdentifier.h"
#include "platform/DrivePath.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::FormatKind;

struct FormatDrive {
  const WideText& path;
  bool keepsFormat;
  WideView name;  // in the log
  WideView label;
};

// The letter of a drive's root; 0 for a folder, even for one on a drive: formatting would take more than it.
char16_t letterOfRoot(const WideText& path) {
  const bool isRoot = path.find_first_not_of(u"/\\", 2) == WideText::npos;
  return isRoot ? platform::driveLetter(path) : u'\0';
}

bool has(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

// How the drive is to be formatted; nothing if its file system can't be learnt and would have to be.
std::optional<FormatKind> examine(const FormatDrive& drive) {
  const char16_t letter = letterOfRoot(drive.path);
  const std::string output = platform::machine().maintenance->examine(letter);
  if (!output.empty())
    return has(output, "FAT32") || has(output, "fat32") ? FormatKind::fat32 : FormatKind::fat;

  writeLog(u"!!! Chkdsk write nothing for " + WideText(drive.name) + u"!");
  const auto information = platform::machine().volumes->information(letter);
  const WideText fileSystem = information ? information->fileSystem : WideText();
  writeLog(u"!!! Get volume information for " + WideText(drive.name) + u": " + fileSystem);
  if (!drive.keepsFormat && fileSystem.empty()) return {};
  return fileSystem == u"FAT32" ? FormatKind::fat32 : FormatKind::fat;
}

bool format(const FormatDrive& drive, FormatKind kind) {
  platform::DiskMaintenance& maintenance = *platform::machine().maintenance;
  const char16_t letter = letterOfRoot(drive.path);
  const WideText label(drive.label);
  // A card can be too small for FAT32.
  return (kind == FormatKind::fat32 && maintenance.format(letter, FormatKind::fat32, label) == 0) ||
         maintenance.format(letter, FormatKind::fat, label) == 0;
}

void clear(const WideText& path) {
  Directory_new directory(path);
  if (!directory.exists()) return;
  directory.removeContent();
  std::vector<WideText> left;
  directory.files(left, true);
  for (const WideText& file : left) File_platformIndependent(file).clearMarks();
  directory.removeContent();
}

bool formatOrClear(const FormatDrive& drive, FormatKind kind) {
  if (!drive.keepsFormat) return format(drive, kind);
  clear(drive.path);
  return true;
}

}  // namespace

FormatResult formatDevice(const FormatJob& job) {
  if (job.logsStart)
    writeLog(u"FORMAT START primary: " + job.primaryDrive + u"secondary: " + job.secondaryDrive);
  FormatDrive primary{job.primaryDrive, job.keepPrimaryFormat, u"primary", u"ZELMORA"};
  FormatDrive secondary{job.secondaryDrive, job.keepSecondaryFormat, u"secondary", u"ZELMORASD"};
  if (usbDiskIdentifier({}, job.windows7).getDriveLunType(job.primaryDrive) == 1)
    std::swap(primary.label, secondary.label);

  const bool hasSecondary = !job.secondaryDrive.empty();
  const std::optional<FormatKind> primaryKind = examine(primary);
  if (!primaryKind) return formatExamineFailed;
  const std::optional<FormatKind> secondaryKind = hasSecondary ? examine(secondary) : FormatKind::fat;
  if (!secondaryKind) return formatExamineFailed;

  if (!formatOrClear(primary, *primaryKind)) return formatPrimaryFailed;
  if (hasSecondary && !formatOrClear(secondary, *secondaryKind)) return formatSecondaryFailed;
  return formatDone;
}

}  // namespace ZelmoraTevra
