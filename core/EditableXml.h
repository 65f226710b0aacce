#pragma once

#include <tinyxml.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Files that are loaded, changed and saved again. The XML library reads many a text that is no XML, and drops
// what it doesn't understand: saved again, such a file would have lost more than anybody asked for. A file is
// editable only if all that it holds is in the document that is made of it, the layout excepted.

// True unless the text holds something that the parser would drop or take for something else: an unknown
// reference, an attribute without quotes, a ">" within an instruction, anything but comments and instructions
// around the root, a byte behind a NUL that is neither NUL nor blank, and more of that kind. Doesn't look
// whether each tag is closed by its like, which the parser does.
[[nodiscard]] bool isReadWhole(std::string_view text);

// As loadXml; false also for a file that isn't editable and one without a root.
[[nodiscard]] bool loadEditableXml(const WideText& path, TiXmlDocument& document);
// The printed document; nothing for one that couldn't be loaded again by loadEditableXml. Printing one that
// gets too long ends at the limit.
[[nodiscard]] std::optional<std::string> printEditableXml(const TiXmlDocument& document);
// As saveXml, with a line feed behind each line. False, and the file is as it was, also if nothing could be
// printed.
[[nodiscard]] bool saveEditableXml(const TiXmlDocument& document, const WideText& path);

}  // namespace ZelmoraTevra
