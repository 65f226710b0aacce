#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ZelmoraTevra {

// The place in a log's text where lines are put.
struct LogEnd {
  std::size_t position = 0;  // in bytes, directly behind the last line
  std::string before;        // closes the start tag of an empty document element, before the first line
  std::string behind;        // the document element's end tag and what follows it, behind each line
};

enum class EarlierLog {
  continued,  // whole, or cut off in its last line: only what was begun of that line is lost
  none,       // empty or no XML
  leftAlone,  // perhaps XML, but not to be read within the parser's bounds
};

// What a file's text is to a job that is to write its log there. The end is set for a log that is continued.
[[nodiscard]] EarlierLog findLogEnd(std::string_view text, LogEnd& end);

}  // namespace ZelmoraTevra
