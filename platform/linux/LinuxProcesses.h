#pragma once

#include <string>

#include "platform/Processes.h"

namespace ZelmoraTevra::platform {

class LinuxProcesses : public Processes {
 public:
  // A process has the name of its executable and that of its first argument, by which a program run by an
  // interpreter or an emulator is known.
  bool isRunning(const WideText& executableName) override;
  WideText modulePath() override;
  WideText environment(const WideText& name) override;
  // One line on standard error.
  void showErrorBox(const WideText& caption, const WideText& text) override;
  [[noreturn]] void end(int exitValue) override;

 private:
  // The process that was found last: asked first the next time, it saves the look at all others.
  std::string found_;
};

}  // namespace ZelmoraTevra::platform
