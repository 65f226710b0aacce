#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/LogEnd.h"
#include "platform/FileSystem.h"

namespace ZelmoraTevra {

// The log on disk. A line goes over the end tag of the document element, with a new end tag behind it, in one
// write: all that stands before stays as it is, and so does the file itself, its rights and the links to it.
class LogFile {
 public:
  explicit LogFile(WideText path) : path_(std::move(path)) {}

  // Continues the log that stands in the file; one that is empty or no XML makes way for a document whose
  // element has the name and the first line. A log that is continued isn't touched before a line is added.
  // False, and nothing is touched, if the file can't be read or is beyond what an XML file may be; false also
  // if the new document can't be written.
  [[nodiscard]] bool start(const std::string& elementName, std::string_view firstLine);

  // Adds a line, which is a printed element. What can't be written leaves the document as it was and waits
  // for the next line, unless too much waits already.
  void append(std::string line);

 private:
  [[nodiscard]] bool startNew(const std::string& elementName, std::string_view firstLine);
  [[nodiscard]] bool isOpen();
  [[nodiscard]] bool put(std::string_view line);
  void restoreEnd();

  WideText path_;
  std::unique_ptr<platform::FileHandle> handle_;
  LogEnd end_;
  std::string rest_;  // what the file holds from the end's position on
  std::deque<std::string> waiting_;
  std::size_t waitingBytes_ = 0;
};

}  // namespace ZelmoraTevra
