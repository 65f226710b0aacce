#pragma once

#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// The XML library prints names as they are, and every character of a text: what comes from elsewhere is
// looked at before it gets into a document. Both take UTF-8; what isn't UTF-8 is neither.

// True if the text can be the name of an element, for XML and for the parser.
[[nodiscard]] bool isXmlName(std::string_view text);
// What the document element that is named after the program is called: as the program, or "TevraCLI" if that
// can't be a name.
[[nodiscard]] std::string programElementName(WideView programName);
// True if XML allows all the characters in a text.
[[nodiscard]] bool isXmlText(std::string_view text);

}  // namespace ZelmoraTevra
