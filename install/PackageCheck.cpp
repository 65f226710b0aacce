#include "install/PackageCheck.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/PathBelowRoot.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/DefaultXmlUpdateInstaller.h"
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

bool isPlacedAnywhere(const InstallFile& file) {
  return file.updateFlag == installFile || file.updateFlag == installFileIfMissing ||
         file.updateFlag == installFileToo;
}

bool mayBePlaced(const InstallFile& file) {
  return isPlacedAnywhere(file) || file.updateFlag == replaceFileIfPresent;
}

// Which files come to stand on an empty device, if it is told of the updates in their order.
class EmptyDevice {
 public:
  // Whether the file is placed. One that replaces another has nothing to replace unless something before it
  // has brought it, on either storage.
  [[nodiscard]] bool takes(const InstallFile& file) {
    if (isRegisterPlace(file.client)) return false;
    if (file.updateFlag == replaceFileIfPresent) return brought_.contains(comparablePath(file.client));
    if (isPlacedAnywhere(file)) brought_.insert(comparablePath(file.client));
    return isPlacedAnywhere(file);
  }
  void take(const InstallXmlEntry& entry) {
    if (makesNewFile(entry.creationFlag)) brought_.insert(comparablePath(entry.file));
  }

 private:
  std::set<WideText> brought_;
};

bool isPlaceable(const InstallFile& file) {
  if (!isKnownFlag(file.updateFlag)) return false;
  return !mayBePlaced(file) || (staysBelowRoot(file.client) && staysBelowRoot(file.local));
}

bool isAborted() {
  return *StatusXml::instance().abortRequested();
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
    do {
      count = archive_->readEntry(chunk_.get(), chunkSize);
      StatusXml::instance().checkAbort();
    } while (count > 0 && !isAborted());
    const int closed = archive_->closeEntry();
    return count == 0 && closed == 0;
  }

  WideText path_;
  ZipReading reading_;
  std::unique_ptr<ZipArchive> archive_;
  std::unique_ptr<char[]> chunk_;
  std::set<WideText> read_;
};

// The register itself is no package's to write, and what leaves the device isn't written.
bool isInRegisterFolder(const WideText& path) {
  if (isRegisterPlace(path) || !staysBelowRoot(path)) return false;
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
  EmptyDevice device;
  std::unique_ptr<ZipCheck> zip;
  for (const InstallUpdate* update : updates) {
    for (const InstallFile& file : update->files) {
      if (!device.takes(file)) continue;
      if (zip == nullptr || zip->path() != update->localSource)
        zip = std::make_unique<ZipCheck>(update->localSource, reading);
      if (zip->isOpen() && zip->holds(file.local)) continue;
      if (!isAborted()) writeLog(u"The zip " + update->localSource + u" doesn't hold " + file.local);
      return false;
    }
    for (const InstallXmlEntry& entry : update->xmlEntries) device.take(entry);
  }
  return true;
}

bool bringRegisterFolder(const std::vector<InstallUpdate*>& updates) {
  EmptyDevice device;
  for (const InstallUpdate* update : updates) {
    for (const InstallFile& file : update->files)
      if (device.takes(file) && update->locationSoftware && isInRegisterFolder(file.client)) return true;
    for (const InstallXmlEntry& entry : update->xmlEntries) {
      if (makesNewFile(entry.creationFlag) && isInRegisterFolder(entry.file)) return true;
      device.take(entry);
    }
  }
  return false;
}

}  // namespace ZelmoraTevra
