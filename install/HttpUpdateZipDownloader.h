#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/ErrorReport.h"
#include "core/File_platformIndependent.h"
#include "core/MD5.h"
#include "install/HttpUrl.h"
#include "install/IUpdateZipDownloader.h"

namespace ZelmoraTevra {

// Fetches a file over plain HTTP, resumably. What has arrived of it lies at the final path plus
// "_INCOMPLETE", with a companion document (the same plus ".xml") that ties it to the MD5 of the whole. Both
// survive an abort, a lost connection and the end of the process, and a later download goes on behind what is
// there.
//
// A disk that takes no more and a front end that has gone end the process.
class HttpUpdateZipDownloader : public IUpdateZipDownloader {
 public:
  HttpUpdateZipDownloader() = default;
  // Removes the files that replacing downloads have made superfluous.
  ~HttpUpdateZipDownloader() override;
  HttpUpdateZipDownloader& operator=(const HttpUpdateZipDownloader&) = delete;

  [[nodiscard]] std::unique_ptr<IUpdateZipDownloader> clone() const override;
  // For the proxy's values an empty text is the same as null.
  [[nodiscard]] bool download(const UpdateDownloadJob& job, ProgressObserver* observer, bool replacePrevious,
                              const char* proxyHost, const char* proxyPort, const char* proxyUser,
                              const char* proxyPassword) override;

 private:
  struct Proxy;

  HttpUpdateZipDownloader(const HttpUpdateZipDownloader&) = default;

  // Asks for the file from `offset` on and appends what comes to the output. True at the end of the data,
  // whatever it is worth; false after a report.
  [[nodiscard]] bool fetch(const UpdateDownloadJob& job, const HttpUrlParts& url, const Proxy& proxy,
                           std::int64_t offset, File_platformIndependent& output, ProgressObserver& observer);
  void append(const UpdateDownloadJob& job, std::string_view bytes, File_platformIndependent& output);
  [[nodiscard]] bool isWhole(const WideText& workingPath, const UpdateDownloadJob& job);
  [[noreturn]] void failOnDisk(const UpdateDownloadJob& job, const WideText& workingPath) const;
  void removeLater(const WideText& previousPath, const WideText& finalPath);
  // Saves a report with the package's identifier, size and offset.
  void report(const UpdateDownloadJob& job, ErrorReport report) const;

  // Of the process: the calls of `download` that a retry makes share it, and destruction sets it to 0.
  static std::int32_t downloadRetryCount;

  std::vector<WideText> downloadedFiles_;
  setup2::MD5 received_;  // of what the last call wrote
  std::int64_t receivedBytes_ = 0;
  WideText downloadOffset_ = u"0";  // position in the file as reported, decimal
};

}  // namespace ZelmoraTevra
