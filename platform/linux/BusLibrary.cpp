#include "platform/linux/BusLibrary.h"

#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "platform/linux/DynamicLibrary.h"

namespace ZelmoraTevra::platform {

namespace {

bool hasSystemBus() {
  return std::getenv("DBUS_SYSTEM_BUS_ADDRESS") != nullptr ||
         ::access("/run/dbus/system_bus_socket", F_OK) == 0;
}

std::optional<BusLibrary> load() {
  void* const library = ::dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_LOCAL);
  BusLibrary bus;
  if (library != nullptr && findFunction(library, "sd_bus_open_system", bus.openSystem) &&
      findFunction(library, "sd_bus_close", bus.close) && findFunction(library, "sd_bus_unref", bus.unref) &&
      findFunction(library, "sd_bus_call_method_async", bus.callMethodAsync) &&
      findFunction(library, "sd_bus_process", bus.process) &&
      findFunction(library, "sd_bus_wait", bus.wait) &&
      findFunction(library, "sd_bus_message_is_method_error", bus.isMethodError) &&
      findFunction(library, "sd_bus_message_read", bus.read)) {
    return bus;
  }
  return std::nullopt;
}

}  // namespace

const BusLibrary* busLibrary() {
  if (!hasSystemBus()) return nullptr;
  static const std::optional<BusLibrary> library = load();
  return library ? &*library : nullptr;
}

}  // namespace ZelmoraTevra::platform
