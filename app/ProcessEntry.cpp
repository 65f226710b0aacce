#include "app/ProcessEntry.h"

#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/Commands.h"
#include "app/JobArgument.h"
#include "core/BackendLogger.h"
#include "core/CommandSequence.h"
#include "core/File_platformIndependent.h"
#include "core/Globals.h"
#include "core/SharedTextBlock.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

// The machine on which the job runs: the simulated one, if the environment names its file.
class ActiveMachine {
 public:
  ActiveMachine() {
    const WideText file = platform::machine().processes->environment(u"TEVRA_MACHINE");
    if (file.empty()) return;
    simulated_ = platform::openSimulatedMachine(file);
    scope_.emplace(simulated_->machine());
  }

 private:
  std::unique_ptr<platform::SimulatedMachine> simulated_;
  std::optional<platform::ScopedMachine> scope_;
};

int wrongParameters() {
  const WideText caption =
      platform::machine().registry->text(u"SOFTWARE\\ZELMORA\\ZELMORA tevra", u"Company");
  platform::machine().processes->showErrorBox(caption, u"Wrong parameters.");
  return -1;
}

void logStart(const std::vector<std::string>& arguments, const std::vector<WideText>& fields) {
  if (!BackendLogger::instance().isActive()) return;
  writeLog(u"Backend started! ");
  writeLog(u"Command line arguments: ");
  for (const std::string& argument : arguments) writeLog(toReadableWide(argument));
  // The fields as they were decoded, in spite of the heading: support reads them here.
  writeLog(u"Encoded arguments: ");
  for (const WideText& field : fields) writeLog(field);
}

// Through which channel the job's documents travel.
void chooseChannel(const WideText& commandSource) {
  channelName = toUtf8(commandSource);
  commandsInSharedMemory = true;
  if (SharedTextBlock(channelName).open() == 0) return;
  if (!File_platformIndependent(commandSource).exists()) return;
  commandsInSharedMemory = false;
  channelName = "ZELMORATevra_tmp";
}

void keepMachineAwake() {
  platform::Power& power = *platform::machine().power;
  if (!power.keepAwake(true)) power.keepAwake(false);
}

int runSequence(const std::vector<WideText>& fields) {
  const CommandTable commands = allCommands();
  auto sequence = std::make_unique<CommandSequence>(commands);
  const int result =
      sequence->readCommandSequence(fields[0], fields[1], fields[2]) ? sequence->runCommandSequence() : -1;
  platform::machine().power->allowSleep();
  writeLog(u"Backend finish!");
  return result;
}

int runJob(int argc, const char* const* argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (arguments.size() < 2) return wrongParameters();
  const std::optional<WideText> text = decodeJobArgument(arguments.back());
  if (!text) return wrongParameters();

  programFileName = lastComponent(toReadableWide(arguments.front()));
  StatusXml::instance().setStartTime(platform::machine().clock->secondsSinceEpoch());
  const std::vector<WideText> fields = splitJobArgument(*text);
  if (fields.size() != 3 && fields.size() != 4) return wrongParameters();

  BackendLogger::instance(fields.size() == 4 ? fields[3] : WideText());
  logStart(arguments, fields);
  chooseChannel(fields[0]);
  keepMachineAwake();
  return runSequence(fields);
}

}  // namespace

int runProcess(int argc, const char* const* argv) {
  try {
    const ActiveMachine machine;
    return runJob(argc, argv);
  } catch (const std::exception& failure) {
    // Text that is no UTF-8 in a device's file, or memory that has run out. Nobody below can go on, but
    // everything below has been unwound: the register is back on the device, the indicator file is gone.
    platform::machine().processes->showErrorBox(
        u"TevraCLI", WideText(failure.what(), failure.what() + std::strlen(failure.what())));
    return -1;
  }
}

}  // namespace ZelmoraTevra
