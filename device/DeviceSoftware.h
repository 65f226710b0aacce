#pragma once

#include <optional>

#include "core/XmlDocument.h"
#include "device/ClientSoftware.h"
#include "device/IVersionXmlFile.h"

namespace ZelmoraTevra {

// Loads a device's version file as far as it goes; the log tells what is wrong with it. Nothing if the device
// has none.
[[nodiscard]] std::optional<XmlLoad> loadVersionFile(const IVersionXmlFile& file, TiXmlDocument& document);

// What the document of a version file says of the device's software, in the form of the layout that is in
// use. All empty with a null root. A text that isn't UTF-8 throws the UTF-8 library's exception.
[[nodiscard]] ClientSoftware softwareIn(const TiXmlElement* root, const IVersionXmlFile& file);

// The software of the device with this root, for those who want to know no more of it. Nothing if the version
// file is missing or damaged beyond restoration; the log tells of it.
[[nodiscard]] std::optional<ClientSoftware> readDeviceSoftware(const WideText& root);

}  // namespace ZelmoraTevra
