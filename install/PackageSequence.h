#pragma once

#include <cstdint>
#include <vector>

#include "core/CommandRecord.h"
#include "core/SaturatingInt64.h"
#include "install/InstallXml.h"
#include "install/UpdateDistributor.h"

namespace ZelmoraTevra {

// The updates of a job's packages in sequence order, with the room that the packages' descriptions ask for.
class PackageSequence {
 public:
  // Adds the updates of a package, whose description must be valid and outlive this object. Each of them is
  // told its zip: the local one, or what the download comes to.
  void add(const ContentEntry& package, bool localInstall);

  [[nodiscard]] const std::vector<InstallUpdate*>& updates() const { return updates_; }
  // Bytes that all of them take.
  [[nodiscard]] std::int64_t updateSize() const { return updateSize_.value(); }
  // Bytes of the temporary updates, by storage.
  [[nodiscard]] std::int64_t temporarySpaceSoftware() const { return temporarySpaceSoftware_.value(); }
  [[nodiscard]] std::int64_t temporarySpaceContent() const { return temporarySpaceContent_.value(); }

  // Decide where the updates go: by the storages that they name, or the whole sequence to one storage, as
  // older packages do. The results are the distributor's.
  [[nodiscard]] int distribute(UpdateDistributor& distributor, Distribution& result) const;
  [[nodiscard]] int distributeWhole(UpdateDistributor& distributor, Distribution& result) const;

 private:
  std::vector<InstallUpdate*> updates_;
  // Bytes, over all packages.
  SaturatingInt64 updateSize_;
  SaturatingInt64 extraSpaceSoftware_;
  SaturatingInt64 extraSpaceContent_;
  SaturatingInt64 temporarySpaceSoftware_;
  SaturatingInt64 temporarySpaceContent_;
};

// Whether a package names the storages of its updates; an older one doesn't. Its description must be valid.
[[nodiscard]] bool namesLocations(const ContentEntry& package);

}  // namespace ZelmoraTevra
