// A command document is read whole, or refused with a report; text that is no UTF-8 ends the job. Reading
// leaves nothing behind but the status.
#include <algorithm>
#include <exception>
#include <string>
#include <vector>

#include "app/Commands.h"
#include "core/CommandSequence.h"
#include "core/XmlDocument.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"

namespace {

using namespace ZelmoraTevra;

const WideText documentPath = u"\\commands.xml";

std::vector<WideText> commandNames() {
  TiXmlDocument document;
  std::vector<WideText> names;
  if (!loadXml(documentPath, document)) return names;
  const TiXmlElement* const sequence = document.FirstChildElement("CommandSequence");
  if (sequence == nullptr) return names;
  for (const TiXmlElement* command = sequence->FirstChildElement("Command"); command != nullptr;
       command = command->NextSiblingElement("Command"))
    names.push_back(attributeText(*command, "CommandName"));
  return names;
}

void readDocument(const FuzzMachine& machine) {
  static const CommandTable table = allCommands();
  CommandSequence sequence(table);
  const bool isRead = sequence.readCommandSequence(documentPath, u"\\temp", u"\\backups");
  const std::vector<WideText> names = commandNames();
  const std::vector<CommandRecord>& records = sequence.commands();
  must(records.size() <= names.size() &&
       isRead == (records.size() == names.size() && machine.reportedExitCode() == 0));
  must(std::equal(
      records.begin(), records.end(), names.begin(),
      [](const CommandRecord& record, const WideText& name) { return record.commandName == name; }));
  // Of a command that there isn't only the log tells.
  const bool isUnknown = records.size() < names.size() && !table.contains(names[records.size()]);
  must(isRead || isUnknown || machine.reportedExitCode() != 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  FuzzMachine machine;
  machine.files.addFolder(u"\\device\\ZELMORA");
  machine.files.contents[documentPath] = std::string(reinterpret_cast<const char*>(data), size);
  const std::size_t files = machine.files.contents.size();
  try {
    readDocument(machine);
  } catch (const std::exception&) {
  }
  must(machine.files.contents.size() <= files + 1);
  // A front end may name any of the folders that are there as its device, and gets a mark in it for a moment.
  must(machine.hasChangedOnly(
      {u"\\temp", u"\\backups", u"\\device", u"\\tmp\\tevra-action.xml", u"\\tevra-action.xml"}));
  return 0;
}
