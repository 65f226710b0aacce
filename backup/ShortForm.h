#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// How a path is spelled with short names, for comparing it with one that may be spelled so: of a component
// with more than 8 units the first 6 that aren't blanks, in capitals (of a to z and the letters of Latin-1),
// and "~1". No separator at the end. The file system isn't asked: a name whose real short form ends in
// another number compares as different.
[[nodiscard]] WideText shortForm(const WideText& path);

}  // namespace ZelmoraTevra
