#include "device/DeviceCommands.h"

#include "device/CheckDiskRunner.h"
#include "device/DeviceCommandReader.h"
#include "device/GetInfoRunner.h"
#include "device/RemoveDeviceRunner.h"

namespace ZelmoraTevra {

void addDeviceCommands(CommandTable& table) {
  table[u"CHECK_DISK"] = {.read = readCheckDiskCommand, .makeWorker = newWorker<CheckDiskRunner>};
  table[u"GET_INFO"] = {.read = readGetInfoCommand, .makeWorker = newWorker<GetInfoRunner>};
  table[u"REMOVE_DEVICE"] = {.read = readRemoveDeviceCommand, .makeWorker = newWorker<RemoveDeviceRunner>};
}

}  // namespace ZelmoraTevra
