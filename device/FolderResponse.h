#pragma once

#include "device/RemovableDrive.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Writes what is known of the folders that stand for a device into the root of a response. It differs in many
// small ways from what is written of drives that were found: a front end that names folders counts on each of
// them.
void addFolderResponse(TiXmlElement& root, const RemovableDrive& drive);

}  // namespace ZelmoraTevra
