#include "platform/CurlLibrary.h"

#include <csignal>
#include <optional>

#include "platform/linux/DynamicLibrary.h"

namespace ZelmoraTevra::platform {

namespace {

std::optional<CurlLibrary> load() {
  void* const library = ::dlopen("libcurl.so.4", RTLD_LAZY | RTLD_LOCAL);
  CurlLibrary curl;
  if (library == nullptr || !findFunction(library, "curl_global_init", curl.globalInit) ||
      !findFunction(library, "curl_global_cleanup", curl.globalCleanup) ||
      !findFunction(library, "curl_easy_init", curl.easyInit) ||
      !findFunction(library, "curl_easy_cleanup", curl.easyCleanup) ||
      !findFunction(library, "curl_easy_setopt", curl.easySetopt) ||
      !findFunction(library, "curl_easy_perform", curl.easyPerform) ||
      !findFunction(library, "curl_easy_getinfo", curl.easyGetinfo) ||
      !findFunction(library, "curl_easy_strerror", curl.easyStrerror)) {
    return std::nullopt;
  }
  // Told to use no signals, the library leaves this one to the program.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  return curl;
}

}  // namespace

const CurlLibrary* curlLibrary() {
  static const std::optional<CurlLibrary> library = load();
  return library ? &*library : nullptr;
}

}  // namespace ZelmoraTevra::platform
