#pragma once

#include <dlfcn.h>

namespace ZelmoraTevra::platform {

// Looks a function up in a library that was loaded at run time. False if it has none of that name.
template <typename Function>
[[nodiscard]] bool findFunction(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace ZelmoraTevra::platform
