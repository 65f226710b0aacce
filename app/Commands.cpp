#include "app/Commands.h"

#include "backup/BackupCommands.h"
#include "device/DeviceCommands.h"
#include "install/InstallCommands.h"
#include "userdata/UserDataCommands.h"

namespace ZelmoraTevra {

CommandTable allCommands() {
  CommandTable table;
  addDeviceCommands(table);
  addInstallCommands(table);
  addBackupCommands(table);
  addUserDataCommands(table);
  return table;
}

}  // namespace ZelmoraTevra
