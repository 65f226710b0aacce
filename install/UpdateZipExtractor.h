#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "core/ProgressObserver.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

class ZipArchive;

// Takes files out of package zips. The archive of the last call stays open with an index of its entries, so
// that the files of one package cost one reading of its directory.
class UpdateZipExtractor {
 public:
  UpdateZipExtractor();
  ~UpdateZipExtractor();
  UpdateZipExtractor(const UpdateZipExtractor&) = delete;
  UpdateZipExtractor& operator=(const UpdateZipExtractor&) = delete;

  // Writes the entry to destinationFolder, "/", destinationRelativePath, and gives that path. Empty after a
  // failure, which has been reported. Ends the process when the device has gone. The observer may be null.
  [[nodiscard]] WideText extractFile(const WideText& zipPath, const WideText& zipEntryPath,
                                     const WideText& destinationFolder,
                                     const WideText& destinationRelativePath, ProgressObserver* observer);
  // Writes the archive's first entry beside the zip, under its own name, and gives that path. Empty after a
  // failure, which has been reported, and for an archive without entries, which hasn't.
  [[nodiscard]] WideText extractFirstEntry(const WideText& zipPath);

  // Unpacks the first entry of a zip archive that is held in memory. 0, or a negative number if it can't be
  // read or is larger than an install description can sensibly be.
  static int unpackFirstEntryInMemory(const void* bytes, std::size_t size, std::string& text);

 private:
  std::unique_ptr<ZipArchive> archive_;
};

}  // namespace ZelmoraTevra
