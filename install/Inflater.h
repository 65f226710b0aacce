#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

struct inflate_state;

namespace ZelmoraTevra {

// Unpacks deflated data piece by piece, and whatever the data are writes nowhere but into the room that it
// is given.
class Inflater {
 public:
  enum class State { unpacking, atEnd, damaged };

  Inflater();
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  // Begins with new data.
  void start();
  // Unpacks until the input is used up, the room is filled or the data are at their end. Takes what was used
  // off the front of the input and gives the number of bytes unpacked. Room that isn't filled means that more
  // input is wanted, unless the state says otherwise.
  [[nodiscard]] std::size_t unpack(std::string_view& input, char* room, std::size_t size);
  // Damaged data may show before all that can be unpacked in front of the damage has been given out.
  [[nodiscard]] State state() const { return state_; }

 private:
  std::unique_ptr<inflate_state> decoder_;
  State state_ = State::unpacking;
};

// Goes on with the checksum of zip archives (CRC-32) behind bytes that have it already; 0 at their start.
[[nodiscard]] std::uint32_t addToChecksum(std::uint32_t checksum, const void* bytes, std::size_t size);

}  // namespace ZelmoraTevra
