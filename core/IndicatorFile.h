#pragma once

#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// "tevra-action.xml" in the root of a device's main storage tells, for as long as it lies there, that a job
// is at work on the device. Its content is the front end's.

// Creates or replaces it. False if the root isn't there, a link would lead out of it, or it takes no file.
bool writeIndicatorFile(const WideText& root, std::string_view content);
// False if no file could be there: without a root, or where a link would lead out of it.
bool removeIndicatorFile(const WideText& root);

}  // namespace ZelmoraTevra
