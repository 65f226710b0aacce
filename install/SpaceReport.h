#pragma once

#include <cstdint>

#include "install/UpdateDistributor.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// The room on a device's two storages against what is to be placed there, in bytes.
struct SpaceFigures {
  std::int64_t availableSoftware = 0;
  std::int64_t availableContent = 0;
  // What lacks; below 0 is what is left over.
  std::int64_t missingSoftware = 0;
  std::int64_t missingContent = 0;
  // What is placed, less the room that is won back.
  std::int64_t neededSoftware = 0;
  std::int64_t neededContent = 0;
  // What of that goes again after the installation.
  std::int64_t temporarySoftware = 0;
  std::int64_t temporaryContent = 0;
};

// Those of a distribution, but for the available room.
[[nodiscard]] SpaceFigures spaceFigures(const Distribution& distribution);

// Exit codes for too little room on the main storage, on the card, and on both.
struct NotEnoughSpaceCodes {
  int software;
  int content;
  int both;
};

// Whether a report also tells what would be left on the storages afterwards.
enum class SpaceAfterwards { told, omitted };

// What a report says to be needed: what is missing, or all that is placed.
enum class NeededSpace { missing, placed };

// Saves "not enough space" with the code that fits what is missing, the two drives and the figures. Where the
// numbers say that nothing is needed, the main storage is said to need the reserve.
void reportNotEnoughSpace(const SpaceFigures& figures, const NotEnoughSpaceCodes& codes,
                          const WideText& primaryDrive, const WideText& secondaryDrive,
                          SpaceAfterwards afterwards, NeededSpace needed = NeededSpace::missing);

// Saves "fits to target" with the figures. Nothing is missing then; of nothing that is placed it is said that
// the main storage needs the reserve.
void reportFits(const SpaceFigures& figures, int exitCode, NeededSpace needed = NeededSpace::missing);

}  // namespace ZelmoraTevra
