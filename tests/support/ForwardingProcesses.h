#pragma once

#include <cstdlib>
#include <utility>

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

// The program's file lies elsewhere, or is called differently.
class ProgramAt : public ForwardingProcesses {
 public:
  ProgramAt(platform::Processes& target, WideText path)
      : ForwardingProcesses(target), path_(std::move(path)) {}
  WideText modulePath() override { return path_; }

 private:
  WideText path_;
};

}  // namespace ZelmoraTevra
