#include "core/LogFile.h"

#include <cstdint>
#include <optional>

#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::ErrorCode;
using platform::OpenMode;

constexpr std::size_t maximalWaitingBytes = 1 << 16;
constexpr std::string_view lineStart = "\n    ";

std::unique_ptr<platform::FileHandle> openLog(const WideText& path, OpenMode mode) {
  ErrorCode error;
  return platform::machine().files->open(path, mode, error);
}

std::optional<std::string> readLog(const WideText& path) {
  const std::unique_ptr<platform::FileHandle> file = openLog(path, OpenMode::read);
  ErrorCode error;
  const std::int64_t size = file != nullptr ? file->size(error) : -1;
  if (size < 0 || size > maximalXmlFileBytes) return std::nullopt;
  std::string text(static_cast<std::size_t>(size), '\0');
  if (file->read(text.data(), text.size(), error) != size) return std::nullopt;
  return text;
}

}  // namespace

bool LogFile::start(const std::string& elementName, std::string_view firstLine) {
  const std::optional<std::string> text = readLog(path_);
  if (!text) return false;
  switch (findLogEnd(*text, end_)) {
    case EarlierLog::continued:
      rest_ = text->substr(end_.position);
      return true;
    case EarlierLog::none:
      return startNew(elementName, firstLine);
    case EarlierLog::leftAlone:
      break;
  }
  return false;
}

bool LogFile::startNew(const std::string& elementName, std::string_view firstLine) {
  std::string text = printXml(newXmlDocument("UTF-8"));
  text.append("<").append(elementName).append(">").append(lineStart).append(firstLine);
  end_ = {text.size(), "", "\n</" + elementName + ">\n"};
  rest_ = end_.behind;
  text += end_.behind;
  handle_ = openLog(path_, OpenMode::truncate);
  ErrorCode error;
  return handle_ != nullptr && handle_->write(text.data(), text.size(), error);
}

void LogFile::append(std::string line) {
  while (!waiting_.empty() && put(waiting_.front())) {
    waitingBytes_ -= waiting_.front().size();
    waiting_.pop_front();
  }
  if (waiting_.empty() && put(line)) return;
  if (line.size() > maximalWaitingBytes - waitingBytes_) return;
  waitingBytes_ += line.size();
  waiting_.push_back(std::move(line));
}

// A file that could not be opened so far may have been written by others since it was read.
bool LogFile::isOpen() {
  if (handle_ != nullptr) return true;
  handle_ = openLog(path_, OpenMode::update);
  ErrorCode error;
  const auto expected = static_cast<std::int64_t>(end_.position + rest_.size());
  if (handle_ != nullptr && handle_->size(error) != expected) handle_.reset();
  return handle_ != nullptr;
}

bool LogFile::put(std::string_view line) {
  if (!isOpen()) return false;
  std::string text = end_.before;
  text.append(lineStart).append(line).append(end_.behind);
  ErrorCode error;
  if (!handle_->seek(end_.position, error) || !handle_->write(text.data(), text.size(), error)) {
    restoreEnd();
    return false;
  }
  if (text.size() < rest_.size()) handle_->truncate(end_.position + text.size(), error);
  end_.position += text.size() - end_.behind.size();
  end_.before.clear();
  rest_ = end_.behind;
  return true;
}

// After a write that failed half-way, on a full disk say, the document ends where it did before.
void LogFile::restoreEnd() {
  ErrorCode error;
  handle_->truncate(end_.position + rest_.size(), error);
  if (handle_->seek(end_.position, error)) handle_->write(rest_.data(), rest_.size(), error);
}

}  // namespace ZelmoraTevra
