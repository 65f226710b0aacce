#pragma once

#include <functional>
#include <map>
#include <memory>

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// Carries out one command. Both steps give 0 for success; a failure has been reported when they return.
class ICommandWorker {
 public:
  virtual ~ICommandWorker() = default;
  virtual int init(const CommandRecord& record) = 0;
  virtual int run() = 0;
};

// Fills a record from a "Command" element. False if something that the command needs is missing; that has
// been reported when it returns.
using ParameterReader = std::function<bool(const TiXmlElement& command, CommandRecord& record)>;

struct Command {
  ParameterReader read;
  std::function<std::unique_ptr<ICommandWorker>()> makeWorker;
  bool movesFolder = false;          // goes on where the temp or backup folder takes no write
  bool writesIndicatorFile = false;  // marks the device for as long as the job lasts
};

template <class Worker>
[[nodiscard]] std::unique_ptr<ICommandWorker> newWorker() {
  return std::make_unique<Worker>();
}

// Reads a command without parameters.
inline bool readNothing(const TiXmlElement& /*command*/, CommandRecord& /*record*/) {
  return true;
}

// By the command's name, compared exactly.
using CommandTable = std::map<WideText, Command>;

}  // namespace ZelmoraTevra
