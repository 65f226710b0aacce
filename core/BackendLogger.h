#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Text.h"

namespace ZelmoraTevra {

class LogFile;

// Appends lines to one XML log file, for support. On only if it was started with the path of an existing
// file; a line costs the same however long the log is, and after each one the file is a whole document.
class BackendLogger {
 public:
  // The logger of the process. Only the first call's path counts.
  static BackendLogger& instance(const WideText& path = {});
  static void destroy();

  explicit BackendLogger(const WideText& path);
  virtual ~BackendLogger();
  BackendLogger(const BackendLogger&) = delete;
  BackendLogger& operator=(const BackendLogger&) = delete;

  // Whether lines are written: callers who build an expensive line ask first.
  [[nodiscard]] bool isActive() const { return active_; }
  // -1 if the logger isn't active, else 0, whether or not the line reached the disk.
  int write(WideView line);

 private:
  bool active_ = false;
  std::unique_ptr<LogFile> file_;
};

// One line through the logger of the process.
void writeLog(WideView line);

}  // namespace ZelmoraTevra
