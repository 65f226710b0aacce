#include "core/WorkFile.h"

#include "core/Globals.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

WideText newWorkFilePath() {
  const WideText name = platform::machine().identifiers->newGuid();
  return name.empty() ? WideText() : workTempFolder + u'\\' + name;
}

}  // namespace ZelmoraTevra
