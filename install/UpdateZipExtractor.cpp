#include "install/UpdateZipExtractor.h"

#include <ctime>
#include <exception>
#include <new>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/ProcessEnd.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/ZipFileSource.h"
#include "install/ZipMemorySource.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr unsigned chunkSize = 0x80000;
constexpr unsigned memoryChunkSize = 8192;
constexpr std::uint64_t maximalTextSize = std::uint64_t{32} * 1024 * 1024;

constexpr const char16_t* badInformation = u"Invalid install informations!";
constexpr const char16_t* badZip = u"Could not open the zip file!";
constexpr const char16_t* notExtracted = u"File could not be extracted: ";

WideText noAccess(const WideText& path) {
  return u"Could not access path " + path + u"!";
}

// Empty if the text has no UTF-8 form, and then no entry has that name.
std::string entryNameOf(const WideText& text) {
  try {
    return toUtf8(text);
  } catch (const std::exception&) {
    return {};
  }
}

// Empty if the name isn't UTF-8.
WideText textOf(const std::string& entryName) {
  try {
    return toWide(entryName);
  } catch (const std::exception&) {
    return {};
  }
}

bool namesFolder(const std::string& entryName) {
  return entryName.ends_with('/') || entryName.ends_with('\\');
}

bool isSamePath(const WideText& left, const WideText& right) {
  return equalsIgnoringAsciiCase(toBackslashes(left), toBackslashes(right));
}

WideText comparableName(const WideText& path) {
  return lastComponent(comparablePath(path));
}

// The folder in which a file lies, also for a bare name and for a file in the root.
WideText folderOf(const WideText& path) {
  const std::size_t separator = path.find_last_of(u"/\\");
  if (separator == WideText::npos) return u".";
  return path.substr(0, separator == 0 ? 1 : separator);
}

// Opens the file for writing after the folders of its relative path were made.
bool openInNewFolders(const WideText& root, const WideText& relativePath, File_platformIndependent& file) {
  const bool made = Directory_new(root).createFoldersTo(relativePath);
  if (made && file.openForWriting(platform::OpenMode::truncateEntry)) return true;
  writeLog(u"Error opening " + root + u'/' + relativePath);
  return false;
}

bool openBelow(const WideText& root, const WideText& relativePath, File_platformIndependent& file) {
  return file.openForWriting(platform::OpenMode::truncateEntry) || openInNewFolders(root, relativePath, file);
}

// In seconds since the epoch; the date is the local time of the computer. Nothing for a date that no calendar
// has.
std::optional<std::int64_t> secondsOfDosDate(std::uint32_t dosDate) {
  const auto bits = [dosDate](unsigned from, unsigned count) {
    return static_cast<int>(dosDate >> from & ((1U << count) - 1));
  };
  std::tm local{};
  local.tm_year = bits(25, 7) + 80;
  local.tm_mon = bits(21, 4) - 1;
  local.tm_mday = bits(16, 5);
  local.tm_hour = bits(11, 5);
  local.tm_min = bits(5, 6);
  local.tm_sec = bits(0, 5) * 2;
  local.tm_isdst = -1;
  if (local.tm_mon < 0 || local.tm_mon > 11 || local.tm_mday == 0) return std::nullopt;
  const std::time_t seconds = std::mktime(&local);
  if (seconds == -1) return std::nullopt;
  return seconds;
}

}  // namespace

UpdateZipExtractor::UpdateZipExtractor() = default;
UpdateZipExtractor::~UpdateZipExtractor() = default;

WideText UpdateZipExtractor::extractFile(const WideText& zipPath, const WideText& zipEntryPath,
                                         const WideText& destinationFolder,
                                         const WideText& destinationRelativePath,
                                         ProgressObserver* observer) {
  fileStands_ = false;
  const WideText destination = destinationFolder + u'/' + destinationRelativePath;
  const auto fail = [&](int exitCode, const WideText& message) -> WideText {
    closeArchive();
    runProcessEndActions();
    ErrorReport(exitCode, message).attribute(u"fileName", zipEntryPath).save();
    return {};
  };
  const auto failExtraction = [&](int exitCode) -> WideText {
    closeArchive();
    runProcessEndActions();
    ErrorReport(exitCode, notExtracted + destination)
        .attribute(u"fileName", zipEntryPath)
        .attribute(u"FILE", toForwardSlashes(destination))
        .save();
    return {};
  };
  const auto failInformation = [&] {
    writeLog(u"File path: " + zipPath + u"; Relative zip file path: " + zipEntryPath +
             u"; Destination folder: " + destinationFolder + u"; Relative destination file path: " +
             destinationRelativePath);
    return fail(1113, badInformation);
  };

  if (zipPath.empty() || destinationFolder.empty() || !staysBelowRoot(zipEntryPath) ||
      !staysBelowRoot(destinationRelativePath) || isSamePath(destination, zipPath))
    return failInformation();

  const bool zipExists = isOpen(zipPath) || File_platformIndependent(zipPath).exists();
  if (!zipExists && !Directory_new(folderOf(zipPath)).exists()) return fail(1114, noAccess(zipPath));
  const Opening opening = zipExists ? openArchive(zipPath) : Opening::notAccessible;
  if (opening == Opening::notAccessible) return fail(1235, noAccess(zipPath));
  if (opening == Opening::notAZip) {
    writeLog(badZip + (u' ' + zipPath));
    return fail(1119, badZip);
  }

  const bool isFirst = !destination_ || destination_->root() != destinationFolder;
  const auto folderIsMissing = [&] {
    if (Directory_new(destinationFolder).exists()) return false;
    fail(1122, u"The destination folder does not exist " + destinationFolder +
                   u"! Please make sure that the device is still connected!");
    return true;
  };
  if (isFirst) {
    if (folderIsMissing()) return {};
    destination_.emplace(destinationFolder);
  }
  if (!destination_->joinInFolder(destinationRelativePath) || isArchive(destination))
    return failInformation();
  // What an open file tells has to be asked before any failure without one: that the folder stands, and that
  // no link lies in the file's place.
  const auto destinationFails = [&] {
    if (!isFirst && folderIsMissing()) return true;
    if (destination_->join(destinationRelativePath)) return false;
    failInformation();
    return true;
  };
  const auto failEntry = [&](int exitCode) {
    return destinationFails() ? WideText() : failExtraction(exitCode);
  };

  if (!archive_->choose(entryNameOf(zipEntryPath))) return failEntry(1123);
  ZipArchive::Entry entry;
  if (archive_->readInfo(entry) != 0) return failEntry(1124);
  if (!takeChunk()) return failEntry(1125);

  File_platformIndependent file(destination, false);
  if (namesFolder(entry.name)) {
    if (destinationFails()) return {};
    const std::optional<WideText> folder = PathBelowRoot(u".").join(textOf(entry.name));
    if (folder && !Directory_new(*folder).create()) writeLog(u"Error creating " + *folder);
    fileStands_ = file.exists();
    return destination;
  }

  Outcome outcome;
  outcome.result = archive_->openEntry();
  const bool entryIsOpen = outcome.result == 0;
  bool fileIsOpen = entryIsOpen && file.openForWriting(platform::OpenMode::truncateEntry);
  if (!fileIsOpen && destinationFails()) return {};
  if (entryIsOpen && !fileIsOpen)
    fileIsOpen = openInNewFolders(destinationFolder, destinationRelativePath, file);
  if (fileIsOpen)
    outcome = placeFile(entry, file, zipEntryPath, observer);
  else if (entryIsOpen)
    outcome = {-1, !file.exists()};  // an old file that can't be overwritten isn't the entry
  else
    outcome.deviceLost = !Directory_new(destinationFolder).exists();
  fileStands_ = !outcome.deviceLost && outcome.result == 0;
  if (fileStands_) return destination;

  file.remove();
  if (!outcome.deviceLost) return failExtraction(1126);
  closeArchive();
  runProcessEndActions();
  ErrorReport(1234, u"Your device seems to be disconnected. Tevra was not able to write file: " + destination)
      .description(destination)
      .attribute(u"fileName", zipEntryPath)
      .attribute(u"FILE", toForwardSlashes(destination))
      .save();
  endProcess(1);
}

UpdateZipExtractor::Outcome UpdateZipExtractor::placeFile(const ZipArchive::Entry& entry,
                                                          File_platformIndependent& file,
                                                          const WideText& zipEntryPath,
                                                          ProgressObserver* observer) {
  int result = copyEntry(file, CopyOf::deviceFile, zipEntryPath, observer);
  if (!file.finish() && result == 0) result = -1;
  if (result != 0) writeLog(u"ERROR in closing file: " + file.path());
  if (result == 0) {
    setTime(file, entry.dosDate);
    result = archive_->closeEntry();
    if (result != 0)
      writeLog(u"Error " + numberText(result) + u" with zipfile in unzCloseCurrentFile " + zipEntryPath);
  }
  // What was just written must be visible under its path: that, and no error code, tells a lost device from a
  // bad archive.
  return {result, !file.exists()};
}

WideText UpdateZipExtractor::extractFirstEntry(const WideText& zipPath) {
  const auto fail = [this](const ErrorReport& report) -> WideText {
    closeArchive();
    report.save();
    return {};
  };

  if (zipPath.empty()) return fail(ErrorReport(1120, badInformation));
  const WideText folder = folderOf(zipPath);
  const bool zipExists = File_platformIndependent(zipPath).exists();
  if (!zipExists && !Directory_new(folder).exists()) return fail(ErrorReport(1121, zipPath).percent(105));
  // The first entry is the chosen one only of an archive that was opened anew.
  closeArchive();
  const Opening opening = zipExists ? openArchive(zipPath) : Opening::notAccessible;
  if (opening == Opening::notAccessible) return fail(ErrorReport(1236, noAccess(zipPath)));
  if (opening == Opening::notAZip) return fail(ErrorReport(1118, badZip));
  if (archive_->isEmpty()) {
    closeArchive();
    return {};
  }

  ZipArchive::Entry entry;
  const bool infoRead = archive_->readInfo(entry) == 0;
  const WideText name = textOf(entry.name);
  const WideText target = folder + u'/' + name;
  const WideText notExtractedTarget = notExtracted + target;
  if (!infoRead) return fail(ErrorReport(1116, notExtractedTarget));
  if (!PathBelowRoot(folder).join(name) || isSamePath(target, zipPath) || isArchive(target) ||
      StatusXml::instance().isFrontEndsName(lastComponent(name)))
    return fail(ErrorReport(1115, notExtractedTarget));
  if (!takeChunk()) return fail(ErrorReport(1117, notExtractedTarget));

  File_platformIndependent file(target, false);
  int result = archive_->openEntry();
  if (result == 0 && !openBelow(folder, name, file)) result = -1;
  if (result == 0) {
    result = copyEntry(file, CopyOf::localFile, name, nullptr);
    if (!file.finish() && result == 0) result = -1;
    if (result == 0) setTime(file, entry.dosDate);
    const int closed = archive_->closeEntry();
    if (result == 0) result = closed;
    if (result != 0) file.remove();
  }
  if (result != 0) return fail(ErrorReport(1115, notExtractedTarget));
  closeArchive();
  return file.exists() ? target : WideText();
}

int UpdateZipExtractor::unpackFirstEntryInMemory(const void* bytes, std::size_t size, std::string& text) {
  text.clear();
  ZipArchive archive(
      std::make_unique<ZipMemorySource>(std::string_view(static_cast<const char*>(bytes), size)));
  if (!archive.isOpen()) return -1;
  ZipArchive::Entry entry;
  int result = archive.readInfo(entry);
  // A few bytes can unpack to gigabytes, but never to more than the directory states.
  if (result == 0 && entry.size > maximalTextSize) result = -1;
  if (result == 0) result = archive.openEntry();
  if (result != 0) return result;

  char chunk[memoryChunkSize];
  while ((result = archive.readEntry(chunk, memoryChunkSize)) > 0)
    text.append(chunk, static_cast<std::size_t>(result));
  const int closed = archive.closeEntry();
  return result == 0 ? closed : result;
}

bool UpdateZipExtractor::isOpen(const WideText& zipPath) const {
  return archive_ != nullptr && archivePath_ == zipPath;
}

// Few files of a package are called as it is, so that the disk is hardly ever asked.
bool UpdateZipExtractor::isArchive(const WideText& path) const {
  return comparableName(path) == archiveName_ && File_platformIndependent(archivePath_).isSameAs(path);
}

UpdateZipExtractor::Opening UpdateZipExtractor::openArchive(const WideText& zipPath) {
  if (isOpen(zipPath)) return Opening::done;
  closeArchive();
  auto source = std::make_unique<ZipFileSource>(zipPath);
  if (!source->open()) return Opening::notAccessible;
  auto archive = std::make_unique<ZipArchive>(std::move(source));
  if (!archive->isOpen()) return Opening::notAZip;
  archive_ = std::move(archive);
  archivePath_ = zipPath;
  // The zip's path may be a link's with another name.
  archiveName_ = comparableName(platform::machine().files->resolved(zipPath));
  return Opening::done;
}

void UpdateZipExtractor::closeArchive() {
  archive_.reset();
  destination_.reset();
}

bool UpdateZipExtractor::takeChunk() {
  if (chunk_ != nullptr) return true;
  try {
    chunk_ = std::make_unique_for_overwrite<char[]>(chunkSize);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void UpdateZipExtractor::setTime(File_platformIndependent& file, std::uint32_t dosDate) {
  if (dosDate != lastDosDate_) {
    lastDosDate_ = dosDate;
    lastSeconds_ = secondsOfDosDate(dosDate);
  }
  if (lastSeconds_) file.setTimes(*lastSeconds_);
}

int UpdateZipExtractor::copyEntry(File_platformIndependent& file, CopyOf kind, const WideText& zipEntryPath,
                                  ProgressObserver* observer) {
  for (;;) {
    const int count = archive_->readEntry(chunk_.get(), chunkSize);
    if (count < 0)
      writeLog(u"Error " + numberText(count) + u" with zipfile in unzReadCurrentFile " + zipEntryPath);
    if (count <= 0) return count;
    if (file.write(chunk_.get(), static_cast<std::size_t>(count)) != count) {
      writeLog(u"ERROR in writing extracted file " + file.path());
      return -1;
    }
    // A device that has gone shows within one chunk.
    if (kind == CopyOf::deviceFile && count == int{chunkSize} && !file.flush()) {
      writeLog(u"ERROR in flushing file " + file.path());
      return -1;
    }
    if (observer != nullptr) observer->addProgress(static_cast<std::uint64_t>(count), statInstalllnProgress);
  }
}

}  // namespace ZelmoraTevra
