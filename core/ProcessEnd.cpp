#include "core/ProcessEnd.h"

#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

std::vector<std::function<void()>>& actions() {
  static std::vector<std::function<void()>> list;
  return list;
}

}  // namespace

void runProcessEndActions() {
  while (!actions().empty()) {
    const std::function<void()> action = std::move(actions().back());
    actions().pop_back();
    action();
  }
}

void endProcess(int exitValue) {
  runProcessEndActions();
  platform::machine().processes->end(exitValue);
  std::abort();  // never reached, but a compiler doesn't see that through a virtual call
}

AtProcessEnd::AtProcessEnd(std::function<void()> action) {
  actions().push_back(std::move(action));
}

AtProcessEnd::~AtProcessEnd() {
  if (!actions().empty()) actions().pop_back();
}

}  // namespace ZelmoraTevra
