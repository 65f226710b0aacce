#pragma once

#include "platform/FileSystem.h"
#include "platform/Processes.h"
#include "platform/Registry.h"

namespace ZelmoraTevra::platform {

// The registry as a file of sections, "[HKEY_LOCAL_MACHINE\...]" with lines "name=value" in UTF-8: the one
// that the environment variable TEVRA_REGISTRY names, else "../etc/Tevra/registry.ini" seen from the
// executable's folder. Keys and names are matched without regard to case, as those of a registry are.
class LinuxRegistry : public Registry {
 public:
  // Both must outlive this object.
  LinuxRegistry(FileSystem& files, Processes& processes) : files_(files), processes_(processes) {}

  WideText text(const WideText& key, const WideText& valueName) override;

 private:
  [[nodiscard]] WideText path() const;
  [[nodiscard]] std::string content() const;

  FileSystem& files_;
  Processes& processes_;
};

}  // namespace ZelmoraTevra::platform
