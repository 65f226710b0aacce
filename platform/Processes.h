#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

class Processes {
 public:
  virtual ~Processes() = default;

  // True if a process whose executable has this file name exists, without regard to case.
  virtual bool isRunning(const WideText& executableName) = 0;
  // Path of the program's own executable; empty if the system doesn't tell it.
  virtual WideText modulePath() = 0;
  // Value of an environment variable; empty if there is none.
  virtual WideText environment(const WideText& name) = 0;
  // Shows an error to a user who has no other sign of it.
  virtual void showErrorBox(const WideText& caption, const WideText& text) = 0;
  // Ends this process at once: nothing on the stack is destroyed.
  [[noreturn]] virtual void end(int exitValue) = 0;
};

}  // namespace ZelmoraTevra::platform
