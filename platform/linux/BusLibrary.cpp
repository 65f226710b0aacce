#include "platform/linux/BusLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

namespace ZelmoraTevra::platform {

namespace {

bool hasSystemBus() {
  return std::getenv("DBUS_SYSTEM_BUS_ADDRESS") != nullptr ||
         ::access("/run/dbus/system_bus_socket", F_OK) == 0;
}

template <typename Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

std::optional<BusLibrary> load() {
  void* const library = ::dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_LOCAL);
  BusLibrary bus;
  if (library != nullptr && find(library, "sd_bus_open_system", bus.openSystem) &&
      find(library, "sd_bus_close", bus.close) && find(library, "sd_bus_unref", bus.unref) &&
      find(library, "sd_bus_call_method_async", bus.callMethodAsync) &&
      find(library, "sd_bus_process", bus.process) && find(library, "sd_bus_wait", bus.wait) &&
      find(library, "sd_bus_message_is_method_error", bus.isMethodError) &&
      find(library, "sd_bus_message_read", bus.read)) {
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
