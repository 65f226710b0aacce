#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// A file that was placed and is to be compared with the package.
struct ValidationRecord {
  WideText zipPath;
  WideText zipEntry;
  WideText targetRoot;
  WideText clientPath;   // below the root
  WideText expectedMd5;  // hexadecimal, from the install description
  WideText deviceMd5;    // what was found on the device
};

}  // namespace ZelmoraTevra
