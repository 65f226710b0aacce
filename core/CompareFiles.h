#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// `unreadable`: one of the files isn't there, or can't be read to its end.
enum class Comparison { same, different, unreadable, aborted };

struct ComparisonSettings {
  bool honoursAbort = false;  // after each block the front end's wish to abort is looked for
  bool fromMedium = false;    // the right file is read there, not from what the system still has in memory
};

// Compares the content of two files byte by byte, in blocks, and stops at the first difference. An abort that
// is seen behind the last block still is one. Reports nothing.
[[nodiscard]] Comparison compareFiles(const WideText& left, const WideText& right,
                                      const ComparisonSettings& settings = {});

}  // namespace ZelmoraTevra
