#pragma once

#include <memory>

#include "platform/Clock.h"
#include "platform/DeviceTree.h"
#include "platform/DiskMaintenance.h"
#include "platform/FileSystem.h"
#include "platform/Identifiers.h"
#include "platform/Power.h"
#include "platform/Processes.h"
#include "platform/Registry.h"
#include "platform/Volumes.h"

namespace ZelmoraTevra::platform {

// One implementation for each role. The record owns nothing.
struct Machine {
  FileSystem* files = nullptr;
  Volumes* volumes = nullptr;
  Processes* processes = nullptr;
  Power* power = nullptr;
  Registry* registry = nullptr;
  Clock* clock = nullptr;
  Identifiers* identifiers = nullptr;
  DeviceTree* deviceTree = nullptr;
  DiskMaintenance* maintenance = nullptr;
};

// The active set: the one of the innermost ScopedMachine, else the machine that the program runs on.
[[nodiscard]] const Machine& machine();

// Makes a set the active one for as long as it lives.
class ScopedMachine {
 public:
  explicit ScopedMachine(const Machine& active);
  ~ScopedMachine();
  ScopedMachine(const ScopedMachine&) = delete;
  ScopedMachine& operator=(const ScopedMachine&) = delete;

 private:
  Machine active_;
  const Machine* previous_;
};

// The machine that the program runs on. Made at the first call, lives until the end of the process.
[[nodiscard]] const Machine& nativeMachine();

// A machine whose devices, volumes and disk maintenance come from an XML file and whose other roles are those
// of the native machine.
class SimulatedMachine {
 public:
  virtual ~SimulatedMachine() = default;
  [[nodiscard]] virtual const Machine& machine() const = 0;
};

// A file that is missing or doesn't parse gives a machine without nodes, and one line on standard error says
// why.
[[nodiscard]] std::unique_ptr<SimulatedMachine> openSimulatedMachine(const WideText& machineFile);

}  // namespace ZelmoraTevra::platform
