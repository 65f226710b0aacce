// XML entries are carried out on a device's file, whatever stands in both. What is brought back is a document
// again, and what loading and saving for each entry would give.
//
// The input holds the document, and after each NUL an entry: its flag, base, condition and alters, a line
// each.
#include <string>
#include <string_view>
#include <vector>

#include "core/EditableXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/DefaultXmlUpdateInstaller.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"
#include "tests/install/PlainXmlEdits.h"

namespace {

using namespace ZelmoraTevra;

constexpr std::size_t maximalEntries = 40;
const WideText deviceFile = u"\\device\\config\\maps.xml";

std::vector<std::string> pieces(std::string_view text, char separator) {
  std::vector<std::string> found;
  for (;;) {
    const std::size_t end = text.find(separator);
    found.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return found;
    text.remove_prefix(end + 1);
  }
}

// Other documents stay as they are, as do those that the limits keep from being loaded.
bool isEditable(const std::string& document) {
  TiXmlDocument parsed;
  return isReadWhole(document) && parseXml(document, parsed) && parsed.RootElement() != nullptr;
}

bool isNested(const std::string& document) {
  constexpr std::size_t muchNesting = 60;
  return pieces(document, '<').size() > muchNesting;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> parts = pieces(input, '\0');
  FuzzMachine machine;
  machine.files.contents[deviceFile] = parts.front();

  InstallUpdate update;
  std::string plain = parts.front();
  const bool isComparable = isEditable(plain) && plain.find('\r') == std::string::npos && !isNested(plain);
  for (std::size_t index = 1; index < parts.size() && index <= maximalEntries; ++index) {
    const std::vector<std::string> lines = pieces(parts[index], '\n');
    InstallXmlEntry entry;
    entry.file = u"config/maps.xml";
    entry.creationFlag = textToInteger(lines.front());
    if (lines.size() > 1) entry.base = toReadableWide(lines[1]);
    if (lines.size() > 2) entry.condition = toReadableWide(lines[2]);
    for (std::size_t line = 3; line < lines.size(); ++line)
      entry.alters.push_back(toReadableWide(lines[line]));
    if (isComparable && entry.creationFlag != 2) {
      XmlEdit edit{toUtf8(entry.base), toUtf8(entry.condition), {}};
      for (const WideText& alter : entry.alters) edit.alters.push_back(toUtf8(alter));
      plain = plainEdit(plain, entry.creationFlag, edit).document;
    }
    update.xmlEntries.push_back(std::move(entry));
  }
  {
    DefaultXmlUpdateInstaller installer;
    static_cast<void>(installer.install(update, {}, u"\\device", u"\\device", {}, nullptr));
  }
  const std::string& result = machine.files.contents[deviceFile];
  must(result == parts.front() || isEditable(result));
  must(!isComparable || readAndPrinted(result) == readAndPrinted(plain));
  must(machine.hasChangedOnly({u"\\device", u"\\work"}));
  return 0;
}
