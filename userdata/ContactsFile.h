#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The file of the user's contacts on a device's main storage. The storage may be hostile: nothing is read or
// written through a symbolic link on it.
class ContactsFile {
 public:
  // No device makes an address book that is larger; one that is has not been read.
  static constexpr std::int64_t maximalBytes = 16 << 20;

  explicit ContactsFile(WideText storage);

  // The test that comes first: the storage is there and takes a file. A failure has been reported (1282).
  [[nodiscard]] bool deviceTakesContacts() const;

  // In bytes; 0 if there is none.
  [[nodiscard]] std::int64_t size() const;
  // The whole file; nothing if there is none, or it can't be read or is too large.
  [[nodiscard]] std::optional<std::string> read() const;
  // Replaces the file, its folder being made if need be, one level. False if that fails; unless the storage
  // has no room for both, the old file is still there then.
  [[nodiscard]] bool replace(const std::string& content) const;

 private:
  WideText storage_;
};

}  // namespace ZelmoraTevra
