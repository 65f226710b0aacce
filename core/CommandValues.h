#pragma once

#include <tinyxml.h>

#include "core/CommandRecord.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// The forms in which a command document gives a value. Paths begin with the name of the element that they
// start from.

// The element's text.
[[nodiscard]] WideText plainValue(const TiXmlElement& start, const char* path);
// The element's text, which is base64 of UTF-8.
[[nodiscard]] WideText encodedValue(const TiXmlElement& start, const char* path);

// The roots of the device's storages, both encoded.
void readStorages(const TiXmlElement& command, CommandRecord& record);

// Attributes that mean true: a number other than 0; "true" or "TRUE"; exactly "true".
[[nodiscard]] bool isNonZeroAttribute(const TiXmlElement& element, const char* name);
[[nodiscard]] bool isTrueOrCapitalsAttribute(const TiXmlElement& element, const char* name);
[[nodiscard]] bool isTrueAttribute(const TiXmlElement& element, const char* name);

}  // namespace ZelmoraTevra
