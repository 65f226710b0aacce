#pragma once

#include <systemd/sd-bus.h>

namespace ZelmoraTevra::platform {

// The functions of the D-Bus library, which is loaded when the first one is needed: most jobs run where there
// is no system bus or need nothing from it, and loading costs more than starting the program.
struct BusLibrary {
  decltype(&sd_bus_open_system) openSystem = nullptr;
  decltype(&sd_bus_close) close = nullptr;
  decltype(&sd_bus_unref) unref = nullptr;
  decltype(&sd_bus_call_method_async) callMethodAsync = nullptr;
  decltype(&sd_bus_process) process = nullptr;
  decltype(&sd_bus_wait) wait = nullptr;
  decltype(&sd_bus_message_is_method_error) isMethodError = nullptr;
  decltype(&sd_bus_message_read) read = nullptr;
};

// Null where there is no system bus or no library. Once loaded, it stays.
[[nodiscard]] const BusLibrary* busLibrary();

}  // namespace ZelmoraTevra::platform
