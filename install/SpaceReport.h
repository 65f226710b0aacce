#pragma once

#include <cstdint>

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
};

// Exit codes for too little room on the main storage, on the card, and on both.
struct NotEnoughSpaceCodes {
  int software;
  int content;
  int both;
};

// Whether a report also tells what would be left on the storages afterwards.
enum class SpaceAfterwards { told, omitted };

// Saves "not enough space" with the code that fits what is missing, the two drives and the figures. Where
// nothing is missing in numbers the main storage is said to lack the reserve.
void reportNotEnoughSpace(SpaceFigures figures, const NotEnoughSpaceCodes& codes,
                          const WideText& primaryDrive, const WideText& secondaryDrive,
                          SpaceAfterwards afterwards);

// Saves "fits to target" with the figures.
void reportFits(const SpaceFigures& figures, int exitCode);

}  // namespace ZelmoraTevra
