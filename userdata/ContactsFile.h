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
  // No address book is larger; a file that is has not been read.
  static constexpr std::int64_t maximalBytes = 64 << 20;

  explicit ContactsFile(WideText storage);

  // The test that comes first: the storage is there and takes a file. A failure has been reported (1282).
  [[nodiscard]] bool deviceTakesContacts() const;

  // In bytes; 0 if there is none.
  [[nodiscard]] std::int64_t size() const;
  // The whole file; nothing if there is none, or it can't be read or is too large.
  [[nodiscard]] std::optional<std::string> read() const;
  // Takes away what an import that was cut off has left, which would take up room for good.
  void removeUnfinished() const;
  // Replaces the file, its folder being made if need be, one level. False if that fails: the old file is
  // still there then or, where the storage is known to have no room for both, none.
  [[nodiscard]] bool replace(const std::string& content) const;

 private:
  WideText storage_;
};

}  // namespace ZelmoraTevra
