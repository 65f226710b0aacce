#pragma once

#include <cstdint>
#include <memory>

#include "core/ProgressObserver.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

struct UpdateDownloadJob {
  WideText downloadFolder;
  WideText previousUrl;  // of a file that a replacing download removes
  WideText previousMd5;
  WideText url;
  WideText md5;                       // hexadecimal, either case
  std::int64_t fileSize = 0;          // bytes
  std::int64_t uncompressedSize = 0;  // bytes
  WideText id;
};

class IUpdateZipDownloader {
 public:
  virtual ~IUpdateZipDownloader() = default;
  [[nodiscard]] virtual std::unique_ptr<IUpdateZipDownloader> clone() const = 0;
  // True: the file stands at its final path, with the job's size and MD5. False: a terminal status has been
  // saved. The proxy's values are UTF-8 or null. The observer must be loaded and stand at the job's entry;
  // without one, null, there are no snapshots of the progress, and an abort is told without amounts.
  [[nodiscard]] virtual bool download(const UpdateDownloadJob& job, ProgressObserver* observer,
                                      bool replacePrevious, const char* proxyHost, const char* proxyPort,
                                      const char* proxyUser, const char* proxyPassword) = 0;
};

// The path that a job's file has once it is complete: the URL's file name in the work folder. Empty if the
// URL isn't a whole one or names no file that would stay in that folder.
[[nodiscard]] WideText downloadedFilePath(const WideText& url);

}  // namespace ZelmoraTevra
