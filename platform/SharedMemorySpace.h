#pragma once

#include <boost/interprocess/detail/os_file_functions.hpp>
#include <cstdint>

namespace ZelmoraTevra::platform {

// Makes sure that all bytes of a shared-memory object have memory behind them: where the system gives it only
// at the first touch, a touch that finds none kills the process. False if there isn't enough.
[[nodiscard]] bool reserveSharedMemory(boost::interprocess::mapping_handle_t object, std::uint64_t bytes);

}  // namespace ZelmoraTevra::platform
