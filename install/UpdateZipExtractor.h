#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/PathBelowRoot.h"
#include "core/ProgressObserver.h"
#include "install/ZipArchive.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

class File_platformIndependent;

// Takes files out of package zips. The archive of the last call stays open with an index of its entries, so
// that the files of one package cost one reading of its directory; whoever removes or replaces the zip lets
// the extractor go first.
class UpdateZipExtractor {
 public:
  UpdateZipExtractor();
  ~UpdateZipExtractor();
  UpdateZipExtractor(const UpdateZipExtractor&) = delete;
  UpdateZipExtractor& operator=(const UpdateZipExtractor&) = delete;

  // Writes the entry to destinationFolder, "/", destinationRelativePath, and gives that path. Empty after a
  // failure, which has been reported. Ends the process when the device has gone. The observer may be null.
  // Of an entry that is a folder the path comes back too, though no file is there.
  //
  // The destination folder is looked at for the first file that goes there. Behind a file that was placed the
  // next one tells by opening that the device is still there, and only if it doesn't open there is a look.
  [[nodiscard]] WideText extractFile(const WideText& zipPath, const WideText& zipEntryPath,
                                     const WideText& destinationFolder,
                                     const WideText& destinationRelativePath, ProgressObserver* observer);
  // Whether the last extractFile at its end saw a file at the path that it gave.
  [[nodiscard]] bool fileStands() const { return fileStands_; }
  // Writes the archive's first entry beside the zip, under its own name, and gives that path. Empty after a
  // failure, which has been reported, and for an archive without entries, which hasn't.
  [[nodiscard]] WideText extractFirstEntry(const WideText& zipPath);

  // Unpacks the first entry of a zip archive that is held in memory. 0, or a negative number if it can't be
  // read or is larger than an install description can sensibly be; the text is then what came out until then.
  static int unpackFirstEntryInMemory(const void* bytes, std::size_t size, std::string& text);

 private:
  enum class Opening { done, notAccessible, notAZip };
  enum class CopyOf { deviceFile, localFile };
  struct Outcome {
    int result = 0;  // the first error, or 0
    bool deviceLost = false;
  };

  [[nodiscard]] bool isOpen(const WideText& zipPath) const;
  // Whether a path leads to the open archive itself, however the two are spelled.
  [[nodiscard]] bool isArchive(const WideText& path) const;
  // Opens the zip unless it is the one that stands open.
  [[nodiscard]] Opening openArchive(const WideText& zipPath);
  void closeArchive();
  // False if there is no memory for it.
  [[nodiscard]] bool takeChunk();
  // Unpacks the archive's open entry into an open file. Nothing is reported or cleaned up.
  [[nodiscard]] Outcome placeFile(const ZipArchive::Entry& entry, File_platformIndependent& file,
                                  const WideText& zipEntryPath, ProgressObserver* observer);
  // Copies the open entry into an open file, chunk by chunk. 0 or the first error, which is logged.
  [[nodiscard]] int copyEntry(File_platformIndependent& file, CopyOf kind, const WideText& zipEntryPath,
                              ProgressObserver* observer);
  // From an entry's date and time.
  void setTime(File_platformIndependent& file, std::uint32_t dosDate);

  WideText archivePath_;
  WideText archiveName_;  // what the file itself is called, comparable
  std::unique_ptr<ZipArchive> archive_;
  // Where the last file went; none after a failure.
  std::optional<PathBelowRoot> destination_;
  bool fileStands_ = false;
  std::unique_ptr<char[]> chunk_;
  // Many files of a package have one date, and the calendar looks up the time zone each time.
  std::uint32_t lastDosDate_ = 0;
  std::optional<std::int64_t> lastSeconds_;
};

}  // namespace ZelmoraTevra
