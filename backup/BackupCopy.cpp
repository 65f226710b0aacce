#include "backup/BackupCopy.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "backup/BackupFolder.h"
#include "core/CopyFile.h"
#include "core/ErrorReport.h"
#include "core/ProgressObserver.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// The two differ for a reason. The flash drive is read fastest in large blocks. A card sits in a slower
// reader: with smaller ones the progress moves on, and an abort is seen, about as often as with the flash
// drive.
constexpr std::size_t softwareBlockBytes = 0x100000;
constexpr std::size_t contentBlockBytes = 0x40000;

int fail(int exitCode, const ErrorReport& report) {
  report.save();
  return exitCode;
}

int fail(int exitCode, WideText message) {
  return fail(exitCode, ErrorReport(exitCode, std::move(message)));
}

ProgressEntry progressEntry(const std::pair<const WideText, BackupFileEntry>& listed) {
  return {listed.second.size, {}, {}, 0};
}

}  // namespace

BackupCopy::BackupCopy(WideText sourceFolder, WideText secondaryFolder, WideText backupFolder)
    : sourceFolder_(std::move(sourceFolder)),
      secondaryFolder_(std::move(secondaryFolder)),
      backupFolder_(std::move(backupFolder)),
      lastFolder_(backupFolder_) {}

int BackupCopy::run(const BackupFiles& files) {
  std::vector<ProgressEntry> sizes;
  sizes.reserve(files.size());
  std::transform(files.begin(), files.end(), std::back_inserter(sizes), progressEntry);
  ProgressObserver::instance().load(std::move(sizes));
  std::uint32_t index = 0;
  for (const auto& [key, file] : files) {
    ProgressObserver::instance().setPosition(index++);
    if (const int failure = copy(file); failure != 0) return failure;
    // Nobody is shown the texts of a file that is done.
    ProgressObserver::instance().setTexts({}, {});
  }
  return 0;
}

std::optional<BackupCopy::Target> BackupCopy::targetOf(const WideText& path) const {
  if (auto rest = pathBehindFolder(path, sourceFolder_))
    return Target{backupFolder_ + u'/' + WideText(softwareFolderName), toForwardSlashes(*std::move(rest)),
                  softwareBlockBytes};
  if (auto rest = pathBehindFolder(path, secondaryFolder_))
    return Target{backupFolder_ + u'/' + WideText(contentFolderName), toForwardSlashes(*std::move(rest)),
                  contentBlockBytes};
  return std::nullopt;
}

int BackupCopy::copy(const BackupFileEntry& file) {
  if (file.path.find_first_of(u"/\\") == WideText::npos)
    return fail(1062, u"Error on creating the map with the file path!");
  const std::optional<Target> target = targetOf(file.path);
  if (!target)
    return fail(
        1061,
        u"The path to source folder and for secondary sources folder couldn't found on the map struct!");
  const WideText destination = target->root + target->rest;
  createFolderOf(destination);

  ProgressObserver::instance().setTexts(file.path, destination);
  switch (copyFile(file.path, destination,
                   {.blockBytes = target->block,
                    .state = statBackupInProgress,
                    .toMedium = false,
                    .isNew = true,
                    .expectedBytes = file.size})) {
    case CopyResult::done:
      return 0;
    case CopyResult::aborted:
      ProgressObserver::instance().reportAbort({});
      return -1;
    case CopyResult::cannotOpenSource:
      return fail(1063, ErrorReport(1063, u"Could not open the sources file!" + file.path)
                            .attribute(u"FILE", toForwardSlashes(file.path)));
    case CopyResult::cannotCreateDestination:
      return fail(1064, ErrorReport(1064, u"Could not create the destination file!" + file.path)
                            .attribute(u"FILE", toForwardSlashes(destination))
                            .attribute(u"PATH", toForwardSlashes(parentFolder(destination))));
    case CopyResult::failed:
      break;
  }
  return fail(1065, u"An error occurred at the copy process!" + file.path);
}

void BackupCopy::createFolderOf(const WideText& path) {
  const WideText folder = parentFolder(path);
  // Paths come in an order that keeps together what lies in one folder: a folder on the way down from the one
  // that was made last is there, and no other one is.
  const auto differing = std::mismatch(folder.begin(), folder.end(), lastFolder_.begin(), lastFolder_.end());
  const bool isAboveLast =
      differing.first == folder.end() && (differing.second == lastFolder_.end() || *differing.second == u'/');
  if (isAboveLast) return;
  const auto common = static_cast<std::size_t>(differing.first - folder.begin());
  const bool isBelowLast = differing.second == lastFolder_.end() && folder[common] == u'/';
  std::size_t end = isBelowLast ? common : folder.rfind(u'/', common - 1);
  while (end != WideText::npos) {
    end = folder.find(u'/', end + 1);
    // One that is there all the same is as good, and one that can't be made shows when the file is.
    platform::ErrorCode ignored;
    platform::machine().files->createFolder(folder.substr(0, end), ignored);
  }
  lastFolder_ = folder;
}

}  // namespace ZelmoraTevra
