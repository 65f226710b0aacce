#include "device/DeviceCommands.h"

#include "device/CheckDiskRunner.h"
#include "device/DeviceCommandReader.h"
#include "device/GetInfoRunner.h"
#include "device/RemoveDeviceRunner.h"

namespace ZelmoraTevra {

void addDeviceCommands(CommandTable& table) {
  table[u"CHECK_DISK"] = {.read = readCheckDiskCommand,
                          .makeWorker = [] { return std::make_unique<CheckDiskRunner>(); }};
  table[u"GET_INFO"] = {.read = readGetInfoCommand,
                        .makeWorker = [] { return std::make_unique<GetInfoRunner>(); }};
  table[u"REMOVE_DEVICE"] = {.read = readRemoveDeviceCommand,
                             .makeWorker = [] { return std::make_unique<RemoveDeviceRunner>(); }};
}

}  // namespace ZelmoraTevra
