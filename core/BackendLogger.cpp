#include "core/BackendLogger.h"

#include <cstdio>
#include <ctime>

#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::ErrorCode;

std::unique_ptr<BackendLogger>& theLogger() {
  static std::unique_ptr<BackendLogger> logger;
  return logger;
}

// An XML name can't begin with a digit.
std::string timeName() {
  const std::tm now = platform::machine().clock->localTime();
  char buffer[100];
  std::snprintf(buffer, sizeof buffer, "_%.2i_%.2i_%.2i__%.2i_%.2i_%.2i_", now.tm_year + 1900, now.tm_mon + 1,
                now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec);
  return buffer;
}

TiXmlElement lineElement(WideView line) {
  TiXmlElement element(timeName());
  element.InsertEndChild(TiXmlText(toReadableUtf8(line)));
  return element;
}

}  // namespace

// The log on disk. A line goes over the end tag of the document element, with a new end tag behind it, in one
// write: the document isn't printed anew for each line.
class BackendLogger::LogFile {
 public:
  explicit LogFile(WideText path) : path_(std::move(path)) {}

  // Takes over an earlier run's log. False if there is none that can be continued.
  bool continueExisting() {
    earlier_ = std::make_unique<TiXmlDocument>();
    // However many lines it has, it is the front end's own.
    if (loadXml(path_, *earlier_, static_cast<std::size_t>(-1)) && earlier_->RootElement() != nullptr)
      return true;
    earlier_.reset();
    return false;
  }

  bool startNew() {
    const WideText name = programFileName.substr(0, programFileName.find(u'.'));
    TiXmlDocument document = newXmlDocument("UTF-8");
    TiXmlElement& root = addElement(document, name.empty() ? std::string("TevraCLI") : toUtf8(name));
    root.InsertEndChild(lineElement(u"Backend log file start!"));
    return writeWhole(document, path_);
  }

  void append(WideView line) {
    if (earlier_ != nullptr) {
      earlier_->RootElement()->InsertEndChild(lineElement(line));
      replaceByWhole(*earlier_);
      return;
    }
    const std::string text = "    " + printXml(lineElement(line)) + tail_;
    ErrorCode error;
    if (handle_->seek(tailStart_, error) && handle_->write(text.data(), text.size(), error)) {
      tailStart_ += text.size() - tail_.size();
      return;
    }
    restoreTail();
  }

 private:
  // The earlier log stays whole until the continued one is.
  void replaceByWhole(const TiXmlDocument& document) {
    const WideText beside = path_ + u"_tevra_new";
    platform::FileSystem& files = *platform::machine().files;
    ErrorCode error;
    const bool written = writeWhole(document, beside);
    bool replaced = written && files.rename(beside, path_, error);
    const bool diskFull = !written && files.kind(beside, error) == platform::EntryKind::file;
    if (!replaced) files.removeFile(beside, error);
    // Where nothing can be made beside it, the log is written directly.
    if (!replaced && !diskFull) replaced = writeWhole(document, path_);
    if (replaced) earlier_.reset();
  }

  bool writeWhole(const TiXmlDocument& document, const WideText& path) {
    const std::string text = printXml(document);
    ErrorCode error;
    handle_ = platform::machine().files->open(path, platform::OpenMode::truncate, error);
    if (!handle_ || !handle_->write(text.data(), text.size(), error)) return false;

    tail_ = "</" + document.RootElement()->ValueStr() + ">\n";
    for (const TiXmlNode* node = document.RootElement()->NextSibling(); node != nullptr;
         node = node->NextSibling())
      tail_ += printXml(*node);
    tailStart_ = text.size() - tail_.size();
    return true;
  }

  // After a write that failed half-way, on a full disk say, the document ends where it did before.
  void restoreTail() {
    ErrorCode error;
    handle_->truncate(tailStart_ + tail_.size(), error);
    if (handle_->seek(tailStart_, error)) handle_->write(tail_.data(), tail_.size(), error);
  }

  WideText path_;
  std::unique_ptr<TiXmlDocument> earlier_;  // until the first line is added
  std::unique_ptr<platform::FileHandle> handle_;
  std::string tail_;  // the document element's end tag and what follows
  std::uint64_t tailStart_ = 0;
};

BackendLogger& BackendLogger::instance(const WideText& path) {
  if (theLogger() == nullptr) theLogger() = std::make_unique<BackendLogger>(path);
  return *theLogger();
}

void BackendLogger::destroy() {
  theLogger().reset();
}

BackendLogger::BackendLogger(const WideText& path) {
  ErrorCode error;
  if (path.empty() || platform::machine().files->kind(path, error) != platform::EntryKind::file) return;
  // A log that can't be read, or is too large for it, is nobody's to begin anew.
  File_platformIndependent existing(path, false);
  if (existing.size() > maximalXmlFileBytes || !existing.open()) return;
  existing.close();
  file_ = std::make_unique<LogFile>(path);
  active_ = file_->continueExisting() || file_->startNew();
}

BackendLogger::~BackendLogger() = default;

int BackendLogger::write(WideView line) {
  if (!active_) return -1;
  file_->append(line);
  return 0;
}

void writeLog(WideView line) {
  BackendLogger::instance().write(line);
}

}  // namespace ZelmoraTevra
