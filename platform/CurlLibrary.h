#pragma once

#include <curl/curl.h>

namespace ZelmoraTevra::platform {

// The functions of libcurl, which is loaded when the first one is needed: it brings some thirty libraries
// along, and most jobs upload nothing.
struct CurlLibrary {
  decltype(&::curl_global_init) globalInit = nullptr;
  decltype(&::curl_global_cleanup) globalCleanup = nullptr;
  decltype(&::curl_easy_init) easyInit = nullptr;
  decltype(&::curl_easy_cleanup) easyCleanup = nullptr;
  decltype(&::curl_easy_setopt) easySetopt = nullptr;
  decltype(&::curl_easy_perform) easyPerform = nullptr;
  decltype(&::curl_easy_getinfo) easyGetinfo = nullptr;
  decltype(&::curl_easy_strerror) easyStrerror = nullptr;
};

// Null if the system has no such library. Once loaded, it stays. A connection that the server has closed
// doesn't end this process from then on: a write to it fails.
[[nodiscard]] const CurlLibrary* curlLibrary();

}  // namespace ZelmoraTevra::platform
