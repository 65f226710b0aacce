#pragma once

#include <cstdio>
#include <cstdlib>

namespace ZelmoraTevra {

// A property that holds whatever the input is. The fuzzer keeps the input for which it doesn't, and its log
// tells the line.
inline void must(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%i: doesn't hold\n", file, line);
  std::abort();
}

}  // namespace ZelmoraTevra
