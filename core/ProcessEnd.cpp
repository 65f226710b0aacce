#include "core/ProcessEnd.h"

#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

struct Action {
  const AtProcessEnd* owner;
  std::function<void()> run;
};

std::vector<Action>& actions() {
  static std::vector<Action> list;
  return list;
}

}  // namespace

void runProcessEndActions() {
  while (!actions().empty()) {
    const Action action = std::move(actions().back());
    actions().pop_back();
    action.run();
  }
}

void endProcess(int exitValue) {
  runProcessEndActions();
  platform::machine().processes->end(exitValue);
  std::abort();  // never reached, but a compiler doesn't see that through a virtual call
}

AtProcessEnd::AtProcessEnd(std::function<void()> action) {
  actions().push_back({this, std::move(action)});
}

AtProcessEnd::~AtProcessEnd() {
  std::erase_if(actions(), [this](const Action& action) { return action.owner == this; });
}

}  // namespace ZelmoraTevra
