#include "install/PackageDownload.h"

#include <map>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/ProgressObserver.h"
#include "core/SaturatingInt64.h"
#include "core/Text.h"
#include "install/HttpUpdateZipDownloader.h"

namespace ZelmoraTevra {

namespace {

// What a download puts into the work folder: the URL's file name with each of these.
constexpr WideView downloadEndings[] = {u"", u"_INCOMPLETE", u"_INCOMPLETE.xml"};

const char* orNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

}  // namespace

bool downloadPackage(const ContentEntry& package, const CommandRecord& command) {
  UpdateDownloadJob job;
  job.downloadFolder = workTempFolder;
  job.fileSize = static_cast<std::int64_t>(package.fileSize);
  job.uncompressedSize = static_cast<std::int64_t>(package.fileSizeUncompressed);
  job.md5 = package.md5;
  job.url = package.url;
  job.id = package.id;

  const std::string host = toUtf8(command.proxyHost);
  const std::string port = toUtf8(command.proxyPort);
  const std::string user = toUtf8(command.proxyUser);
  const std::string password = toUtf8(command.proxyPassword);
  HttpUpdateZipDownloader downloader;
  return downloader.download(job, &ProgressObserver::instance(), false, orNull(host), orNull(port),
                             orNull(user), orNull(password));
}

bool downloadPackages(std::span<const ContentEntry> packages, const CommandRecord& command,
                      std::vector<WideText>& downloadedFiles) {
  std::vector<ProgressEntry> entries;
  for (const ContentEntry& package : packages) entries.push_back({package.fileSize, {}, {}, 0});
  ProgressObserver::destroy();
  ProgressObserver::instance().load(std::move(entries));
  if (command.localInstall) return true;

  std::uint32_t position = 0;
  for (const ContentEntry& package : packages) {
    ProgressObserver::instance().setPosition(position++);
    if (!downloadPackage(package, command)) return false;
    downloadedFiles.push_back(downloadedFilePath(package.url));
  }
  return true;
}

std::int64_t downloadSize(std::span<const ContentEntry> packages) {
  SaturatingInt64 size;
  for (const ContentEntry& package : packages) size += static_cast<std::int64_t>(package.fileSize);
  return size.value();
}

bool hasClashingDownloads(std::span<const ContentEntry> packages) {
  using PathAndMd5 = std::pair<WideText, WideText>;
  std::map<WideText, PathAndMd5> owners;
  for (const ContentEntry& package : packages) {
    const PathAndMd5 owner{toUpperAscii(downloadedFilePath(package.url)), toUpperAscii(package.md5)};
    if (owner.first.empty()) continue;
    for (const WideView ending : downloadEndings) {
      const WideText path = toUpperAscii(owner.first + WideText(ending));
      if (owners.try_emplace(path, owner).first->second == owner) continue;
      writeLog(u"Two different packages would be downloaded under one name: " + path);
      return true;
    }
  }
  return false;
}

bool deleteDownloadedFile(const WideText& zipPath, const WideText& kept) {
  bool deleted = true;
  for (const WideView ending : downloadEndings) {
    File_platformIndependent file(zipPath + WideText(ending));
    if (!kept.empty() && file.isSameAs(kept)) continue;
    if (file.exists() && !file.remove()) deleted = false;
  }
  return deleted;
}

}  // namespace ZelmoraTevra
