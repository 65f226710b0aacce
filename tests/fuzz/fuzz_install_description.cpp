// An install description is parsed, and has updates that can be installed then, or is refused with a report.
#include <exception>
#include <string_view>

#include "install/InstallXml.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"

namespace {

using namespace ZelmoraTevra;

void checkUpdate(const InstallUpdate& update) {
  must(!update.company.empty() && !update.name.empty() && !update.version.empty());
  must(!update.files.empty() || !update.xmlEntries.empty());
  for (const InstallFile& file : update.files) must(!file.client.empty());
  for (const InstallXmlEntry& entry : update.xmlEntries)
    must(!entry.file.empty() && !entry.base.empty() && !entry.condition.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  WideText text;
  try {
    text = toWide(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const std::exception&) {
    return 0;
  }
  FuzzMachine machine;
  InstallXml description;
  const int result = description.load(text);
  must(description.isValid() == (result == 0));
  must(description.text() == text);
  const int exitCode = machine.reportedExitCode();
  if (result == 0) {
    must(exitCode == 0 && !description.getUpdates().empty());
    for (const InstallUpdate& update : description.getUpdates()) checkUpdate(update);
  } else {
    must(result == -1 && (text.empty() ? exitCode == 0 : exitCode == 1167 || exitCode == 1168));
    must(description.getUpdates().empty());
  }
  must(machine.hasChangedOnly({}));
  return 0;
}
