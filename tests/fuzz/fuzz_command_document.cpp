// A command document is read whole, or refused with a report or without one; text that is no UTF-8 ends the
// job.
#include <exception>
#include <string>

#include "app/Commands.h"
#include "core/CommandSequence.h"
#include "tests/fuzz/FuzzMachine.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  machine.files.contents[u"\\commands.xml"] = std::string(reinterpret_cast<const char*>(data), size);
  static const CommandTable commands = allCommands();
  try {
    CommandSequence sequence(commands);
    static_cast<void>(sequence.readCommandSequence(u"\\commands.xml", u"\\temp", u"\\backups"));
  } catch (const std::exception&) {
  }
  return 0;
}
