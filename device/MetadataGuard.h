#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// Puts three empty, hidden files on a drive that keep a host of another operating system from writing its
// index and its trash there. What such a host has put in their places goes. Where the files are already,
// nothing is written. Reports nothing.
void keepForeignMetadataAway(const WideText& root);

}  // namespace ZelmoraTevra
