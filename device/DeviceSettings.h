#pragma once

#include <string>
#include <vector>

#include "device/ClientSoftware.h"

class TiXmlElement;

namespace ZelmoraTevra {

// A file of a device that is to be handled.
struct SettingsFile {
  WideText path;         // below the device's root, as the table has it
  WideText doNotDelete;  // "0" if the table doesn't say
};

// Finds the table of files and folders for a device in a settings document, whose document element is
// `rootName`: the first one for exactly this brand and platform or, with software of generation 6 or 7, the
// one for all others. An inline table is taken in place of the document, which isn't opened then. What the
// table has is appended in its order. 0, or -1 when a failure has been reported (1148, 1150, 1151). A text
// that isn't UTF-8 throws the UTF-8 library's exception.
[[nodiscard]] int readDeviceSettings(const WideText& file, const std::string& rootName,
                                     const ClientSoftware& software, std::vector<SettingsFile>& files,
                                     std::vector<WideText>& folders,
                                     const TiXmlElement* inlineTable = nullptr);

}  // namespace ZelmoraTevra
