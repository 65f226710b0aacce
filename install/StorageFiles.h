#pragma once

#include <cstdint>

#include "core/PathBelowRoot.h"

namespace ZelmoraTevra {

// What is on one of the device's storages as long as nobody changes it. Paths of files come from packages:
// one that leads out of the root is a file that isn't there.
class StorageFiles {
 public:
  // An empty root is a storage that the device doesn't have. One that is going to be emptied counts as empty.
  explicit StorageFiles(const WideText& root, bool emptied = false) : paths_(root), emptied_(emptied) {}

  [[nodiscard]] bool isNamed() const { return !paths_.root().empty(); }
  // Whether the root folder is there now.
  [[nodiscard]] bool isPresent() const;
  // The file's size in bytes, -1 if there is none.
  [[nodiscard]] std::int64_t sizeOf(const WideText& client);

 private:
  PathBelowRoot paths_;
  bool emptied_;
};

}  // namespace ZelmoraTevra
