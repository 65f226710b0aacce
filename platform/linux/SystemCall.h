#pragma once

#include <cerrno>

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

// Takes the result of a system call, below 0 on failure, and puts what `errno` says into `error`.
template <typename Result>
[[nodiscard]] bool succeeded(Result result, ErrorCode& error) {
  if (result < 0) {
    error.assign(errno, boost::system::system_category());
    return false;
  }
  error.clear();
  return true;
}

}  // namespace ZelmoraTevra::platform
