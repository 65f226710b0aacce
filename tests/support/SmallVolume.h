#pragma once

#include <filesystem>

namespace ZelmoraTevra {

// A volume of its own in memory, of a chosen size, under a folder; taken away at the end of the scope. Needs
// the rights of the superuser.
class SmallVolume {
 public:
  SmallVolume(std::filesystem::path folder, long bytes);
  ~SmallVolume();
  SmallVolume(const SmallVolume&) = delete;
  SmallVolume& operator=(const SmallVolume&) = delete;

  [[nodiscard]] bool isMounted() const { return mounted_; }

 private:
  std::filesystem::path folder_;
  bool mounted_ = false;
};

}  // namespace ZelmoraTevra
