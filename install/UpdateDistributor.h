#pragma once

#include <cstdint>
#include <vector>

#include "install/InstallXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// What a distribution comes to. All in bytes; a need is what is placed less the room that is won back.
struct Distribution {
  bool fits = false;
  std::int64_t deficitSoftware = 0;
  std::int64_t deficitContent = 0;
  std::int64_t neededSoftware = 0;
  std::int64_t neededContent = 0;
};

// Where an older package goes, which lies whole on one storage. Bytes.
struct OlderDistribution {
  int storage = -1;  // 0: the primary one; 1: the secondary one; -1: it fits on neither
  std::int64_t deficitSoftware = 0;
  std::int64_t deficitContent = 0;
  // What is placed on the storage that was chosen, less the room that is won back there.
  std::int64_t neededPrimary = 0;
  std::int64_t neededSecondary = 0;
};

// Decides for every update which of the device's storages it goes to, and whether the whole fits. It reckons
// with files that an update replaces or deletes, and with the part of a cluster that each new file wastes.
class UpdateDistributor {
 public:
  // The second path is empty on a device without a card. 0, or -1 after a report for an empty primary path.
  int setPaths(const WideText& primary, const WideText& secondary);
  // The storages count as they will be when they have been emptied: with their whole capacity, and no file of
  // an update is on them.
  void assumeEmptied() { emptied_ = true; }
  // Bytes that come free on the storages before anything is placed, beside what the updates replace. They
  // count as free.
  void setRoomToCome(std::int64_t primary, std::int64_t secondary);
  // Bytes to keep free, and bytes that temporary updates give back later.
  void setExtraSpace(std::int64_t software, std::int64_t content);
  void setTemporarySpace(std::int64_t software, std::int64_t content);

  // 0, or -1 if not initialised, the path is empty, or the folder doesn't exist.
  int getFreeSpace(const WideText& path, std::int64_t& bytes) const;
  // The room that a distribution reckons with on a storage: its free space with what is to come or, if it is
  // going to be emptied, its capacity. The result is that of the question for its free space.
  int getRoom(const WideText& storage, std::int64_t& bytes) const;
  // Whether files of these sizes fit into the work folder. The result is that of the question for its free
  // space; on failure they don't.
  int checkTemporarySpace(const std::vector<std::int64_t>& sizes, bool& fits) const;

  // Sets the location flags and the needs of the updates and changes their file lists: folder deletions are
  // expanded, deletions of files that another update writes are dropped. 0: the answer is in `result`; 1: not
  // initialised; -1: a report was saved, or the room on the primary storage is unknown.
  int distribute(const std::vector<InstallUpdate*>& updates, Distribution& result);
  // The same for updates that say nothing of where they go: all of them, `total` bytes together, to one
  // storage, the primary one if there is room. Only the file lists of the updates change. 0, or 1 and -1 as
  // above, without a report.
  int distributeOlder(const std::vector<InstallUpdate*>& updates, std::int64_t total,
                      OlderDistribution& result);

 private:
  struct Room {
    std::int64_t primary = 0;
    std::int64_t secondary = 0;
  };

  // Makes the updates' file lists say what is going to happen on the device.
  void prepareFileLists(const std::vector<InstallUpdate*>& updates) const;
  // False if that of the primary storage is unknown. What is unknown gets the deficit -1.
  template <typename Result>
  [[nodiscard]] bool readRoom(Room& room, Result& result) const;

  WideText primaryPath_;
  WideText secondaryPath_;
  bool initialized_ = false;
  bool emptied_ = false;
  std::int64_t roomToComePrimary_ = 0;
  std::int64_t roomToComeSecondary_ = 0;
  std::int64_t extraSpaceSoftware_ = 0;
  std::int64_t extraSpaceContent_ = 0;
  std::int64_t temporarySpaceSoftware_ = 0;
  std::int64_t temporarySpaceContent_ = 0;
};

}  // namespace ZelmoraTevra
