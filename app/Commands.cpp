#include "app/Commands.h"

#include "device/DeviceCommands.h"
#include "install/InstallCommands.h"

namespace ZelmoraTevra {

CommandTable allCommands() {
  CommandTable table;
  addDeviceCommands(table);
  addInstallCommands(table);
  return table;
}

}  // namespace ZelmoraTevra
