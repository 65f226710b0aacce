// A register is read, changed and written back, whatever stands in it.
#include <exception>
#include <string>

#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesXml.h"
#include "tests/fuzz/FuzzMachine.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  machine.files.contents[u"\\device\\ZELMORA\\updates.xml"] =
      std::string(reinterpret_cast<const char*>(data), size);
  try {
    ClientUpdatesXmlFile file(u"\\device", true);
    UpdatesXml updates(&file);
    Update update;
    update.info.company = u"Z";
    update.info.name = u"N";
    update.info.update = 1;
    updates.addUpdate(update);
    static_cast<void>(updates.save());
  } catch (const std::exception&) {
  }
  return 0;
}
