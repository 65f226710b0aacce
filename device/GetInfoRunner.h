#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// Needs nothing. Neither folder has to be there.
[[nodiscard]] bool readGetInfoCommand(const TiXmlElement& command, CommandRecord& record);

// "GET_INFO": tells what devices are connected, or what is in the folders that the command names. The
// response takes the place of the status, of which there is none.
class GetInfoRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  WideText folder_;           // empty if none was named, or it doesn't exist
  WideText secondaryFolder_;  // the same
  bool windows7Mode_ = false;
};

}  // namespace ZelmoraTevra
