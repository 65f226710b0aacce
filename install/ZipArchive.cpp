#include "install/ZipArchive.h"

#include <minizip/unzip.h>

#include <algorithm>
#include <climits>
#include <utility>

namespace ZelmoraTevra {

namespace {

constexpr std::uint32_t encryptedFlag = 1;
constexpr std::uint32_t storedMethod = 0;
constexpr std::uint32_t deflatedMethod = 8;

// A directory whose names would take more memory than this is no package's: what is behind isn't found.
constexpr std::size_t maximalDirectoryBytes = std::size_t{64} * 1024 * 1024;
constexpr std::size_t bytesPerPosition = 96;

constexpr std::string_view endRecordSignature = "PK\5\6";

constexpr std::size_t usualNameLength = 256;
// What stands before an entry's data: 30 bytes, its name, and some fields more.
constexpr std::uint64_t usualRecordSize = 512;

std::string lowerCase(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
  });
  return lower;
}

}  // namespace

// A source as the zip library reads it: at a position that moves on.
class ZipArchive::Stream {
 public:
  explicit Stream(std::unique_ptr<ZipSource> source) : source_(std::move(source)) {
    char start[4] = {};
    if (source_->read(0, start, sizeof start) == sizeof start &&
        std::string_view(start, sizeof start) == endRecordSignature)
      padding_ = 1;
  }

  // The bytes from a position on, as the source has them, of which so many are wanted.
  [[nodiscard]] std::string_view at(ZPOS64_T position, std::uint64_t wanted) {
    ahead_ = {};
    return position < padding_ ? std::string_view() : source_->at(position - padding_, wanted);
  }

  // How many bytes the library and at() are going to use from the next place on where the library reads.
  void announce(std::uint64_t wanted) { announced_ = wanted; }

  [[nodiscard]] ZPOS64_T size() const { return padding_ + source_->size(); }

  [[nodiscard]] zlib_filefunc64_def functions() {
    zlib_filefunc64_def functions{};
    functions.zopen64_file = [](void* stream, const void*, int) { return stream; };
    functions.zread_file = [](void*, void* stream, void* buffer, uLong size) {
      return static_cast<Stream*>(stream)->read(buffer, size);
    };
    functions.ztell64_file = [](void*, void* stream) { return static_cast<Stream*>(stream)->position_; };
    functions.zseek64_file = [](void*, void* stream, ZPOS64_T offset, int origin) {
      return static_cast<Stream*>(stream)->seek(offset, origin);
    };
    functions.zclose_file = [](void*, void*) { return 0; };
    functions.zerror_file = [](void*, void* stream) { return static_cast<Stream*>(stream)->short_ ? 1 : 0; };
    functions.opaque = this;
    return functions;
  }

 private:
  uLong read(void* buffer, uLong size) {
    auto* bytes = static_cast<char*>(buffer);
    uLong count = 0;
    while (count < size && position_ < padding_) {
      bytes[count++] = 0;
      ++position_;
    }
    while (count < size) {
      if (ahead_.empty()) ahead_ = source_->at(position_ - padding_, announced_);
      const std::size_t copied = ahead_.copy(bytes + count, size - count);
      if (copied == 0) break;
      ahead_.remove_prefix(copied);
      position_ += copied;
      count += copied;
    }
    // The library takes a record that is cut off by the end of the file for a whole one if this isn't an
    // error.
    short_ = count < size;
    return count;
  }

  long seek(ZPOS64_T offset, int origin) {
    ZPOS64_T start = 0;
    if (origin == ZLIB_FILEFUNC_SEEK_CUR) start = position_;
    if (origin == ZLIB_FILEFUNC_SEEK_END) start = size();
    if (offset > size() || start > size() - offset) return -1;
    if (position_ != start + offset) ahead_ = {};
    position_ = start + offset;
    return 0;
  }

  std::unique_ptr<ZipSource> source_;
  // The library overlooks an end record at the very start, where an archive without entries has it. So that
  // it is found there, the stream then has a zero byte in front.
  ZPOS64_T padding_ = 0;
  ZPOS64_T position_ = 0;
  // What the source has at the position, for the library reads byte by byte; empty if it has to be asked.
  std::string_view ahead_;
  std::uint64_t announced_ = ZipSource::unknown;
  bool short_ = false;
};

ZipArchive::ZipArchive(std::unique_ptr<ZipSource> source)
    : stream_(std::make_unique<Stream>(std::move(source))) {
  zlib_filefunc64_def functions = stream_->functions();
  zip_ = unzOpen2_64("", &functions);
}

ZipArchive::~ZipArchive() {
  if (zip_ != nullptr) unzClose(zip_);
}

bool ZipArchive::isEmpty() const {
  unz_global_info64 info{};
  return unzGetGlobalInfo64(zip_, &info) == UNZ_OK && info.number_entry == 0;
}

bool ZipArchive::choose(std::string_view name) {
  if (!positions_) readDirectory();
  const auto found = positions_->find(lowerCase(name));
  if (found == positions_->end()) return false;
  chosen_ = found->second;
  return true;
}

void ZipArchive::readDirectory() {
  positions_.emplace();
  std::size_t bytes = 0;
  Entry entry;
  int result = unzGoToFirstFile(zip_);
  while (result == UNZ_OK && bytes <= maximalDirectoryBytes) {
    unz64_file_pos position{};
    if (readCurrentInfo(entry) != UNZ_OK || unzGetFilePos64(zip_, &position) != UNZ_OK) return;
    bytes += entry.name.size() + bytesPerPosition;
    positions_->try_emplace(lowerCase(entry.name), position.pos_in_zip_directory);
    result = unzGoToNextFile(zip_);
  }
}

int ZipArchive::readInfo(Entry& entry) {
  int result = UNZ_OK;
  if (chosen_) {
    const unz64_file_pos position{*chosen_, 0};
    result = unzGoToFilePos64(zip_, &position);
  } else {
    result = unzGoToFirstFile(zip_);
  }
  if (result == UNZ_OK) result = readCurrentInfo(current_);
  if (result == UNZ_OK) entry = current_;
  return result;
}

int ZipArchive::readCurrentInfo(Entry& entry) {
  unz_file_info64 info{};
  entry.name.resize(usualNameLength);
  int result =
      unzGetCurrentFileInfo64(zip_, &info, entry.name.data(), usualNameLength, nullptr, 0, nullptr, 0);
  entry.name.resize(result == UNZ_OK ? info.size_filename : 0);
  if (entry.name.size() > usualNameLength)
    result =
        unzGetCurrentFileInfo64(zip_, nullptr, entry.name.data(), info.size_filename, nullptr, 0, nullptr, 0);
  entry.size = info.uncompressed_size;
  entry.packedSize = info.compressed_size;
  entry.checksum = static_cast<std::uint32_t>(info.crc);
  entry.dosDate = static_cast<std::uint32_t>(info.dosDate);
  entry.flags = static_cast<std::uint32_t>(info.flag);
  entry.method = static_cast<std::uint32_t>(info.compression_method);
  return result;
}

int ZipArchive::openEntry() {
  entryIsOpen_ = false;
  if ((current_.flags & encryptedFlag) != 0) return UNZ_BADZIPFILE;
  if (current_.method != storedMethod && current_.method != deflatedMethod) return UNZ_BADZIPFILE;
  // The library compares the entry's own record with the directory, and so learns where the data begin.
  constexpr int asPacked = 1;
  stream_->announce(usualRecordSize + std::min<std::uint64_t>(current_.packedSize, stream_->size()));
  const int result = unzOpenCurrentFile2(zip_, nullptr, nullptr, asPacked);
  stream_->announce(ZipSource::unknown);
  if (result != UNZ_OK) return result;
  packedPosition_ = unzGetCurrentFileZStreamPos64(zip_);
  packedLeft_ = current_.packedSize;
  unzCloseCurrentFile(zip_);
  if (packedPosition_ > stream_->size() || packedLeft_ > stream_->size() - packedPosition_)
    return UNZ_BADZIPFILE;

  unpacked_ = 0;
  checksum_ = 0;
  if (current_.method == deflatedMethod) {
    if (inflater_ == nullptr) inflater_ = std::make_unique<Inflater>();
    inflater_->start();
  }
  entryIsOpen_ = true;
  return UNZ_OK;
}

int ZipArchive::readEntry(void* buffer, unsigned size) {
  if (!entryIsOpen_) return UNZ_PARAMERROR;
  const std::uint64_t left = std::min<std::uint64_t>(current_.size - unpacked_, INT_MAX);
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, size));
  if (wanted == 0) return 0;
  auto* const bytes = static_cast<char*>(buffer);
  const int count = current_.method == storedMethod ? readStored(bytes, wanted) : readDeflated(bytes, wanted);
  if (count == 0) return UNZ_BADZIPFILE;
  if (count > 0) {
    unpacked_ += static_cast<std::uint64_t>(count);
    checksum_ = addToChecksum(checksum_, buffer, static_cast<std::size_t>(count));
  }
  return count;
}

int ZipArchive::readStored(char* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size && packedLeft_ > 0) {
    const std::size_t count = packedBytes().copy(buffer + done, size - done);
    if (count == 0) return UNZ_ERRNO;
    usePacked(count);
    done += count;
  }
  return static_cast<int>(done);
}

int ZipArchive::readDeflated(char* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size && inflater_->state() == Inflater::State::unpacking) {
    const std::string_view offered = packedBytes();
    if (offered.empty() && packedLeft_ > 0) return UNZ_ERRNO;
    std::string_view input = offered;
    const std::size_t count = inflater_->unpack(input, buffer + done, size - done);
    done += count;
    usePacked(offered.size() - input.size());
    if (inflater_->state() == Inflater::State::damaged) return Z_DATA_ERROR;
    // Without any step forward no further call brings one.
    if (count == 0 && input.size() == offered.size() && inflater_->state() == Inflater::State::unpacking)
      return Z_BUF_ERROR;
  }
  return static_cast<int>(done);
}

std::string_view ZipArchive::packedBytes() {
  if (packedLeft_ == 0) return {};
  const std::string_view bytes = stream_->at(packedPosition_, packedLeft_);
  return bytes.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), packedLeft_)));
}

void ZipArchive::usePacked(std::size_t count) {
  packedPosition_ += count;
  packedLeft_ -= count;
}

int ZipArchive::closeEntry() {
  if (!entryIsOpen_) return UNZ_PARAMERROR;
  entryIsOpen_ = false;
  return unpacked_ == current_.size && checksum_ != current_.checksum ? UNZ_CRCERROR : UNZ_OK;
}

}  // namespace ZelmoraTevra
