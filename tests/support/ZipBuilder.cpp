#include "tests/support/ZipBuilder.h"

#include <zlib.h>

#include <stdexcept>

namespace ZelmoraTevra {

namespace {

constexpr std::uint16_t storedMethod = 0;
constexpr std::uint16_t deflatedMethod = 8;
constexpr std::uint16_t formatVersion = 20;
constexpr std::uint16_t madeOnUnix = 3 << 8 | formatVersion;

void append16(std::string& bytes, std::uint16_t number) {
  bytes.push_back(static_cast<char>(number & 0xFF));
  bytes.push_back(static_cast<char>(number >> 8));
}

void append32(std::string& bytes, std::uint32_t number) {
  append16(bytes, static_cast<std::uint16_t>(number & 0xFFFF));
  append16(bytes, static_cast<std::uint16_t>(number >> 16));
}

}  // namespace

std::string ZipBuilder::deflate(const std::string& content) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("deflateInit2");
  std::string packed(deflateBound(&stream, content.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  const int result = ::deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("deflate");
  return packed;
}

ZipBuilder& ZipBuilder::add(const std::string& name, const std::string& content, const Options& options) {
  const std::string packed = options.packed.value_or(options.deflated ? deflate(content) : content);
  const auto checksum = static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size())));

  // What both records of an entry have in common.
  std::string record;
  append16(record, formatVersion);
  append16(record, options.flags);
  append16(record, options.method.value_or(options.deflated ? deflatedMethod : storedMethod));
  append32(record, options.dosDate);
  append32(record, options.checksum.value_or(checksum));
  append32(record, options.packedSize.value_or(static_cast<std::uint32_t>(packed.size())));
  append32(record, options.size.value_or(static_cast<std::uint32_t>(content.size())));
  append16(record, static_cast<std::uint16_t>(name.size()));
  append16(record, 0);  // extra field

  const auto offset = static_cast<std::uint32_t>(data_.size());
  data_ += "PK\3\4" + record + name + packed;

  directory_ += "PK\1\2";
  append16(directory_, madeOnUnix);
  directory_ += record;
  append16(directory_, 0);  // comment
  append16(directory_, 0);  // disk
  append16(directory_, 0);  // internal attributes
  append32(directory_, options.unixMode << 16);
  append32(directory_, options.offset.value_or(offset));
  directory_ += name;
  ++count_;
  return *this;
}

std::string ZipBuilder::bytes() const {
  std::string end = "PK\5\6";
  append16(end, 0);  // this disk
  append16(end, 0);  // the directory's disk
  append16(end, count_);
  append16(end, count_);
  append32(end, static_cast<std::uint32_t>(directory_.size()));
  append32(end, static_cast<std::uint32_t>(data_.size()));
  append16(end, 0);  // comment
  return data_ + directory_ + end;
}

}  // namespace ZelmoraTevra
