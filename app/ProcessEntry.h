#pragma once

namespace ZelmoraTevra {

// The whole process: one job, told by the last argument. Returns the exit value, 0 or -1.
[[nodiscard]] int runProcess(int argc, const char* const* argv);

}  // namespace ZelmoraTevra
