#pragma once

#include <filesystem>

#include "platform/Text.h"

namespace ZelmoraTevra {

// A new, empty folder of its own for a test, removed with everything in it at the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Absolute, with "/" as separator and none at its end.
  [[nodiscard]] const WideText& path() const { return path_; }
  [[nodiscard]] std::filesystem::path native() const { return native_; }

 private:
  std::filesystem::path native_;
  WideText path_;
};

}  // namespace ZelmoraTevra
