#include "install/Inflater.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

#include <algorithm>
#include <limits>

namespace ZelmoraTevra {

namespace {

std::uint32_t atMost32Bits(std::size_t size) {
  return static_cast<std::uint32_t>(std::min<std::size_t>(size, std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace

Inflater::Inflater() : decoder_(std::make_unique<inflate_state>()) {
  start();
}

Inflater::~Inflater() = default;

void Inflater::start() {
  isal_inflate_init(decoder_.get());
  state_ = State::unpacking;
}

std::size_t Inflater::unpack(std::string_view& input, char* room, std::size_t size) {
  if (state_ != State::unpacking) return 0;
  const std::uint32_t offered = atMost32Bits(input.size());
  const std::uint32_t wanted = atMost32Bits(size);
  // The decoder only reads its input, though it doesn't say so. It copies also where there is nothing to
  // copy.
  static std::uint8_t nothing = 0;
  decoder_->next_in =
      input.empty() ? &nothing : reinterpret_cast<std::uint8_t*>(const_cast<char*>(input.data()));
  decoder_->avail_in = offered;
  decoder_->next_out = reinterpret_cast<std::uint8_t*>(room);
  decoder_->avail_out = wanted;
  if (isal_inflate(decoder_.get()) != ISAL_DECOMP_OK)
    state_ = State::damaged;
  else if (decoder_->block_state == ISAL_BLOCK_FINISH)
    state_ = State::atEnd;
  input.remove_prefix(offered - decoder_->avail_in);
  return wanted - decoder_->avail_out;
}

std::uint32_t addToChecksum(std::uint32_t checksum, const void* bytes, std::size_t size) {
  return crc32_gzip_refl(checksum, static_cast<const unsigned char*>(bytes), size);
}

}  // namespace ZelmoraTevra
