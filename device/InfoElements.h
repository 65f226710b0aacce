#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "device/RemovableDrive.h"
#include "device/VolumeQueries.h"

class TiXmlElement;

namespace ZelmoraTevra {

// The parts of the response to GET_INFO that both of its forms have. Texts come from devices: what is no
// valid text, and what no XML document can hold, becomes U+FFFD.

void addTextElement(TiXmlElement& parent, const char* name, WideView text);
void addNumberElement(TiXmlElement& parent, const char* name, std::uint64_t number);
void addFlagElement(TiXmlElement& parent, const char* name, bool flag);
// "space" with "total" and "free".
void addSpaceElement(TiXmlElement& parent, const VolumeSpace& space);
// "MIS" with the bytes as they are, but for control characters, which become blanks.
void addMisElement(TiXmlElement& parent, const std::string& bytes);

// Tells which maps are written; it may change them before.
using MapSelection = std::function<bool(ClientMap& map)>;

// "software" with what is installed. "apps", "contents" and "maps" are there if the drive has any, be they
// selected or not.
TiXmlElement& addSoftwareElement(TiXmlElement& parent, const RemovableDriveInfo& info,
                                 const MapSelection& selects);

}  // namespace ZelmoraTevra
