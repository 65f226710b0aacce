#pragma once

#include <functional>

namespace ZelmoraTevra {

// Ends the process at once, a last status having been saved: nothing on the stack is destroyed, but what has
// been registered with AtProcessEnd is done first.
[[noreturn]] void endProcess(int exitValue);

// Does now what endProcess would do: for a last status that tells the user that the device may go.
void runProcessEndActions();

// For as long as it lives, `action` is part of endProcess, the youngest one first. It must neither throw nor
// save a status.
class AtProcessEnd {
 public:
  explicit AtProcessEnd(std::function<void()> action);
  ~AtProcessEnd();
  AtProcessEnd(const AtProcessEnd&) = delete;
  AtProcessEnd& operator=(const AtProcessEnd&) = delete;
};

}  // namespace ZelmoraTevra
