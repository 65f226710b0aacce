#pragma once

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
};

}  // namespace ZelmoraTevra::platform
