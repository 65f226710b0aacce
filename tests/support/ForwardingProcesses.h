#pragma once

#include <cstdlib>

#include "platform/Processes.h"

namespace ZelmoraTevra {

// Passes everything on to another one: a base for those that change something.
class ForwardingProcesses : public platform::Processes {
 public:
  explicit ForwardingProcesses(platform::Processes& target) : target_(target) {}

  bool isRunning(const WideText& executableName) override { return target_.isRunning(executableName); }
  WideText modulePath() override { return target_.modulePath(); }
  WideText environment(const WideText& name) override { return target_.environment(name); }
  void showErrorBox(const WideText& caption, const WideText& text) override {
    target_.showErrorBox(caption, text);
  }
  [[noreturn]] void end(int exitValue) override {
    target_.end(exitValue);
    std::abort();  // the compiler doesn't see that the call above never returns
  }

 private:
  platform::Processes& target_;
};

}  // namespace ZelmoraTevra
