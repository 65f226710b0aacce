#pragma once

#include <cstdint>
#include <optional>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Below the card's root: where a map stands under another name until it is whole. Nothing else is kept there,
// and what an interrupted move has left there counts for nothing.
constexpr WideView moveMapFolder = u".TevraTemporaryLocation";

// Whether a path or name ends in ".map", in these letters.
[[nodiscard]] bool isMapFile(const WideText& path);

// Removes what an interrupted move has left there. Nothing is done for an empty root.
void removeMoveMapFolder(const WideText& root);
// The bytes that this would give back, by the sizes of the files.
[[nodiscard]] std::int64_t moveMapFolderBytes(const WideText& root);

// Frees room on a device's main storage by moving one of its maps to the card, to the same place there: the
// smallest one that is enough. The device's register says afterwards that what holds the map is on the card.
//
// At every moment the map is whole under its name on one of the two storages, and the register names one
// where it is: the copy gets its name when it is on the medium, then the register is told, and the map on the
// main storage goes last. A move that was cut off in between is finished by the next one.
//
// Nothing that lies on the card is lost either. Where a map's place there belongs to something else, the map
// is passed over; a file with the same content is its copy. Symbolic links on the storages aren't followed.
class MoveMap {
 public:
  // The roots of the two storages, and the bytes to free: the map must be larger than that.
  void initialise(const WideText& primaryPath, const WideText& secondaryPath, std::int64_t minimumSize);
  // The path of the map that `run` would move, with "\"; empty if there is none. Changes nothing. Where a
  // map may lie whole on the card already, both files are read; an abort, which is then looked for, ends the
  // search without a map, and the status's flag tells of it.
  [[nodiscard]] WideText findOptimalMap() const;
  // 0; the number of the CopyResult if the copy failed, or if the search or the copy was aborted; -1 if there
  // is no map, or if the copy could not get its name or be told to the register, or the map on the main
  // storage could not be removed. Reports nothing but the progress of the copy, as an installation, with a
  // list of the observer's own.
  [[nodiscard]] int run() const;
  // Forgets the storages.
  void reset();

 private:
  struct Map {
    WideText relativePath;  // below either root, with "/"
    std::int64_t size = 0;  // bytes
    bool isCopied = false;  // it lies whole on the card already
  };
  struct Search {
    std::optional<Map> map;  // nothing: there is none
    bool isAborted = false;
  };
  enum class Place {
    free,
    holdsCopy,
    taken,
    unknown,  // the front end didn't wait for the answer
  };

  [[nodiscard]] Search findMap() const;
  [[nodiscard]] Search findMapIn(const WideText& folder, std::int64_t freeBytes) const;
  [[nodiscard]] Place placeOnSecondary(const Map& map) const;
  [[nodiscard]] int copyToSecondary(const Map& map) const;
  [[nodiscard]] bool giveName(const WideText& copy, const WideText& relativePath) const;
  [[nodiscard]] bool syncFolderOnSecondary(const WideText& relativePath) const;
  [[nodiscard]] bool tellRegister(const WideText& relativePath) const;

  WideText primaryPath_;
  WideText secondaryPath_;
  std::int64_t minimumSize_ = -1;
};

}  // namespace ZelmoraTevra
