#include "install/PackageDownload.h"

#include <string>

#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "install/HttpUpdateZipDownloader.h"

namespace ZelmoraTevra {

namespace {

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

bool deleteDownloadedFile(const WideText& zipPath) {
  bool deleted = true;
  for (const WideView ending : {WideView(), WideView(u"_INCOMPLETE"), WideView(u"_INCOMPLETE.xml")}) {
    File_platformIndependent file(zipPath + WideText(ending));
    if (file.exists() && !file.remove()) deleted = false;
  }
  return deleted;
}

}  // namespace ZelmoraTevra
