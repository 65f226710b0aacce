#pragma once

#include "core/SaturatingInt64.h"
#include "install/InstallXml.h"
#include "install/StorageFiles.h"

namespace ZelmoraTevra {

// Measures updates against what is on the device: how much room each of them takes on either storage, how
// much its new files waste in their last clusters, and how much all of them win back. Bytes throughout.
class UpdateMeter {
 public:
  // The second root is empty on a device without a card. Of storages that are going to be emptied no file
  // counts.
  UpdateMeter(const WideText& primaryRoot, const WideText& secondaryRoot, bool emptied = false)
      : primary_(primaryRoot, emptied), secondary_(secondaryRoot, emptied) {}

  // Sets the update's needs and its cluster overhead. False if a storage has gone; the update is unchanged
  // then.
  [[nodiscard]] bool measure(InstallUpdate& update);

  // Of an older update, which isn't measured: counts what its files win back where it replaces or deletes
  // one.
  void reclaim(const InstallUpdate& update);

  // The room that the updates seen so far win back.
  [[nodiscard]] SaturatingInt64 reclaimPrimary() const { return reclaimPrimary_; }
  [[nodiscard]] SaturatingInt64 reclaimSecondary() const { return reclaimSecondary_; }

 private:
  struct Need {
    SaturatingInt64 primary;
    SaturatingInt64 secondary;
    SaturatingInt64 overhead;
  };

  // What counts as present of a file that an earlier job left unfinished.
  void completeUnfinished(const InstallFile& file, std::int64_t& onPrimary, std::int64_t& onSecondary);
  void measureOnPrimary(const InstallFile& file, std::int64_t present, Need& need);
  void measureOnBoth(const InstallFile& file, std::int64_t onPrimary, std::int64_t onSecondary, Need& need);

  StorageFiles primary_;
  StorageFiles secondary_;
  SaturatingInt64 reclaimPrimary_;
  SaturatingInt64 reclaimSecondary_;
};

}  // namespace ZelmoraTevra
