// The companion of a partial download matches its package's digest, and then names it, or doesn't. Whatever
// it was, it can be replaced by one that matches.
#include <string>

#include "core/Text.h"
#include "install/CompanionFile.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  const WideText path = u"\\work\\a.zip_INCOMPLETE.xml";
  const WideText md5 = u"9E107D9D372BB6826BD81D3542A419D6";
  const std::string content(reinterpret_cast<const char*>(data), size);
  machine.files.contents[path] = content;
  // A digit may stand there as a reference.
  if (companionMatches(path, md5))
    must(toUpperAscii(toReadableWide(content)).find(md5) != WideText::npos ||
         content.find("&#") != std::string::npos);
  must(machine.files.contents[path] == content);

  must(companionWrite(path, md5));
  must(companionMatches(path, md5));
  must(!companionMatches(path, u"00000000000000000000000000000000"));
  // It is written beside and renamed.
  must(machine.hasChangedOnly({path, path + u"_tevra_new"}));
  must(machine.files.contents.size() == 1);
  return 0;
}
