#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "install/Inflater.h"
#include "install/ZipSource.h"

namespace ZelmoraTevra {

// A zip archive that is read entry by entry. The zip library reads its records; the entries' data go straight
// from the source through the decoder. Results of type int are the zip library's: 0 for success, negative for
// an error.
class ZipArchive {
 public:
  struct Entry {
    std::string name;              // as it stands in the archive, usually UTF-8
    std::uint64_t size = 0;        // bytes, unpacked
    std::uint64_t packedSize = 0;  // bytes in the archive
    std::uint32_t checksum = 0;
    std::uint32_t dosDate = 0;
    std::uint32_t flags = 0;
    std::uint32_t method = 0;
  };

  explicit ZipArchive(std::unique_ptr<ZipSource> source);
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  // False if the source holds no zip archive; nothing else can then be asked. A damaged directory shows only
  // when its entries are looked for.
  [[nodiscard]] bool isOpen() const { return zip_ != nullptr; }
  // True if the archive says that it has no entries.
  [[nodiscard]] bool isEmpty() const;

  // Chooses the entry that the next operations are about: the archive's first one, until another is chosen.
  // ASCII letters match in either case, and of several entries the first one counts. False if there is none.
  // The first search reads the directory as far as it is sound; the others cost no reading.
  [[nodiscard]] bool choose(std::string_view name);
  // What the directory says about the chosen entry.
  [[nodiscard]] int readInfo(Entry& entry);

  // Opens the data of the entry that readInfo told about. Encrypted entries, unknown methods and data that
  // would go on behind the archive's end are refused.
  [[nodiscard]] int openEntry();
  // Unpacks up to `size` bytes and gives their number, 0 at the end, or an error: also when the data ends
  // before the size that the directory states. Fewer bytes than `size` come only before the end.
  [[nodiscard]] int readEntry(void* buffer, unsigned size);
  // Fails if everything was read and its checksum is wrong.
  int closeEntry();

 private:
  class Stream;

  void readDirectory();
  [[nodiscard]] int readCurrentInfo(Entry& entry);
  [[nodiscard]] int readStored(char* buffer, std::size_t size);
  [[nodiscard]] int readDeflated(char* buffer, std::size_t size);
  // The next bytes of the entry's data that lie together; empty at their end and after a failure.
  [[nodiscard]] std::string_view packedBytes();
  // Moves on behind packed bytes that were used.
  void usePacked(std::size_t count);

  std::unique_ptr<Stream> stream_;
  void* zip_ = nullptr;
  // Names in lower case with the position of their record in the directory.
  std::optional<std::map<std::string, std::uint64_t, std::less<>>> positions_;
  std::optional<std::uint64_t> chosen_;
  Entry current_;

  // Of the open entry.
  bool entryIsOpen_ = false;
  std::uint64_t packedPosition_ = 0;
  std::uint64_t packedLeft_ = 0;
  std::uint64_t unpacked_ = 0;  // bytes
  std::uint32_t checksum_ = 0;
  std::unique_ptr<Inflater> inflater_;  // none before the first deflated entry
};

}  // namespace ZelmoraTevra
