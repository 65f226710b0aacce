#include "core/BackendLogger.h"

#include <tinyxml.h>

#include <cstdio>
#include <ctime>

#include "core/Globals.h"
#include "core/LogFile.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "core/XmlNames.h"
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

std::string printedLine(WideView line) {
  TiXmlElement element(timeName());
  element.InsertEndChild(TiXmlText(toReadableUtf8(line)));
  std::string text = printXml(element);
  text.pop_back();  // the line feed
  return text;
}

}  // namespace

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
  const WideText program = programFileName.substr(0, programFileName.find(u'.'));
  file_ = std::make_unique<LogFile>(path);
  active_ = file_->start(programElementName(program), printedLine(u"Backend log file start!"));
}

BackendLogger::~BackendLogger() = default;

int BackendLogger::write(WideView line) {
  if (!active_) return -1;
  file_->append(printedLine(line));
  return 0;
}

void writeLog(WideView line) {
  BackendLogger::instance().write(line);
}

}  // namespace ZelmoraTevra
