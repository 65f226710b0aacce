#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "install/ZipSource.h"

namespace ZelmoraTevra {

// A zip archive that is read entry by entry. Results of type int are the zip library's: 0 for success,
// negative for an error.
class ZipArchive {
 public:
  struct Entry {
    std::string name;        // as it stands in the archive, usually UTF-8
    std::uint64_t size = 0;  // bytes, unpacked
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

  // Opens the data of the entry that readInfo told about. Encrypted entries and unknown methods are refused.
  [[nodiscard]] int openEntry();
  // Unpacks up to `size` bytes and gives their number, 0 at the end, or an error: also when the data ends
  // before the size that the directory states.
  [[nodiscard]] int readEntry(void* buffer, unsigned size);
  // Fails if everything was read and its checksum is wrong.
  int closeEntry();

 private:
  class Stream;

  void readDirectory();
  [[nodiscard]] int readCurrentInfo(Entry& entry);

  std::unique_ptr<Stream> stream_;
  void* zip_ = nullptr;
  // Names in lower case with the position of their record in the directory.
  std::optional<std::map<std::string, std::uint64_t, std::less<>>> positions_;
  std::optional<std::uint64_t> chosen_;
  Entry current_;
  std::uint64_t unpacked_ = 0;  // bytes of the open entry
};

}  // namespace ZelmoraTevra
