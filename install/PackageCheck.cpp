#include "install/PackageCheck.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/ZipArchive.h"
#include "install/ZipFileSource.h"

namespace ZelmoraTevra {

namespace {

constexpr unsigned chunkSize = 0x80000;

bool isKnownFlag(std::int32_t flag) {
  switch (flag) {
    case installFile:
    case installFileIfMissing:
    case installFileToo:
    case replaceFileIfPresent:
    case deleteFile:
    case deleteFolderIfEmpty:
    case deleteFolderTree:
      return true;
    default:
      return false;
  }
}

// A file that replaces another one has nothing to replace there, as long as no update of the same job has
// placed one.
bool isPlacedOnEmptyDevice(const InstallFile& file) {
  return file.updateFlag == installFile || file.updateFlag == installFileIfMissing ||
         file.updateFlag == installFileToo;
}

bool mayBePlaced(const InstallFile& file) {
  return isPlacedOnEmptyDevice(file) || file.updateFlag == replaceFileIfPresent;
}

bool isPlaceable(const InstallFile& file) {
  if (!isKnownFlag(file.updateFlag)) return false;
  return !mayBePlaced(file) || (staysBelowRoot(file.client) && staysBelowRoot(file.local));
}

// One zip, with a memory of what was found in it.
class ZipCheck {
 public:
  ZipCheck(const WideText& path, ZipReading reading) : path_(path), reading_(reading) {
    auto source = std::make_unique<ZipFileSource>(path);
    if (source->open()) archive_ = std::make_unique<ZipArchive>(std::move(source));
    if (archive_ != nullptr && !archive_->isOpen()) archive_.reset();
    if (reading_ == ZipReading::contents) chunk_ = std::make_unique_for_overwrite<char[]>(chunkSize);
  }

  [[nodiscard]] const WideText& path() const { return path_; }
  [[nodiscard]] bool isOpen() const { return archive_ != nullptr; }

  [[nodiscard]] bool holds(const WideText& name) {
    ZipArchive::Entry entry;
    if (!archive_->choose(toReadableUtf8(name)) || archive_->readInfo(entry) != 0) return false;
    if (entry.name.ends_with('/') || entry.name.ends_with('\\')) return false;
    if (reading_ == ZipReading::directory || !read_.insert(toUpperAscii(name)).second) return true;
    return isSound();
  }

 private:
  // The entry that was chosen.
  [[nodiscard]] bool isSound() {
    if (archive_->openEntry() != 0) return false;
    int count = 0;
    do count = archive_->readEntry(chunk_.get(), chunkSize);
    while (count > 0);
    const int closed = archive_->closeEntry();
    return count == 0 && closed == 0;
  }

  WideText path_;
  ZipReading reading_;
  std::unique_ptr<ZipArchive> archive_;
  std::unique_ptr<char[]> chunk_;
  std::set<WideText> read_;
};

// The register itself is no package's to write.
bool isInRegisterFolder(const WideText& path) {
  if (isRegisterPlace(path)) return false;
  const WideText comparable = comparablePath(path);
  return comparable.starts_with(u"ZELMORA\\") || comparable.starts_with(u"KD3\\");
}

}  // namespace

bool arePlaceable(const std::vector<InstallUpdate>& updates) {
  for (const InstallUpdate& update : updates) {
    const auto found = std::find_if_not(update.files.begin(), update.files.end(), isPlaceable);
    if (found == update.files.end()) continue;
    writeLog(u"A file that can't be placed: " + found->client + u", updateflag " +
             numberText(found->updateFlag));
    return false;
  }
  return true;
}

bool zipsHoldFiles(const std::vector<InstallUpdate*>& updates, ZipReading reading) {
  std::unique_ptr<ZipCheck> zip;
  for (const InstallUpdate* update : updates) {
    for (const InstallFile& file : update->files) {
      if (!isPlacedOnEmptyDevice(file) || isRegisterPlace(file.client)) continue;
      if (zip == nullptr || zip->path() != update->localSource)
        zip = std::make_unique<ZipCheck>(update->localSource, reading);
      if (zip->isOpen() && zip->holds(file.local)) continue;
      writeLog(u"The zip " + update->localSource + u" doesn't hold " + file.local);
      return false;
    }
  }
  return true;
}

bool bringRegisterFolder(const std::vector<InstallUpdate*>& updates) {
  return std::any_of(updates.begin(), updates.end(), [](const InstallUpdate* update) {
    const bool byFile = update->locationSoftware &&
                        std::any_of(update->files.begin(), update->files.end(), [](const InstallFile& file) {
                          return mayBePlaced(file) && isInRegisterFolder(file.client);
                        });
    return byFile || std::any_of(update->xmlEntries.begin(), update->xmlEntries.end(),
                                 [](const InstallXmlEntry& entry) { return isInRegisterFolder(entry.file); });
  });
}

}  // namespace ZelmoraTevra
