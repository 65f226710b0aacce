// A register is read, changed and written back, whatever stands in it and beside it, and whenever the device
// is pulled. One that could be loaded can be loaded afterwards, and has all its updates; one that is damaged
// is still there.
//
// The input holds, with NULs between: the register, a file that was set aside, a copy that wasn't finished,
// the number of changes behind which the device is pulled, and the name of the update that is added. What is
// empty isn't there.
#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "core/EditableXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/UpdatesXml.h"
#include "tests/fuzz/FuzzMachine.h"
#include "tests/fuzz/Must.h"

namespace {

using namespace ZelmoraTevra;

const WideText device = u"\\device";
const WideText registerFolder = device + u"\\ZELMORA";
const WideText registerPath = registerFolder + u"\\updates.xml";
const WideText setAsidePath = registerPath + u"00000000010000000002";
const WideText unfinishedPath = registerPath + u"_tevra_new";

struct Input {
  explicit Input(std::string_view text) {
    for (std::string* part : {&onDevice, &setAside, &unfinished, &changes, &name}) {
      const std::size_t end = std::min(text.find('\0'), text.size());
      *part = text.substr(0, end);
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }
  std::string onDevice, setAside, unfinished, changes, name;
};

void put(MemoryFiles& files, const WideText& path, const std::string& content) {
  if (!content.empty()) files.contents[path] = content;
}

bool isWellFormed(const WideText& path) {
  TiXmlDocument document;
  return loadXml(path, document) && document.RootElement() != nullptr;
}

bool isEditable(const WideText& path) {
  TiXmlDocument document;
  return loadEditableXml(path, document);
}

struct Reading {
  bool isLoaded = false;
  std::vector<Update> updates;
};

Reading readRegister() {
  ClientUpdatesXmlFile file(device, false);
  const UpdatesXml updates(&file);
  return {updates.isLoaded(), updates.getUpdates()};
}

// The entries of which the register records nothing.
bool isUnrecorded(const UpdateXmlEntry& entry) {
  return entry.creationFlag == 1 || entry.creationFlag == 5;
}

// As it comes back when it was written: the parser drops a text of blanks alone, and passes over blanks and
// three other characters in front of a text.
WideText asRead(const WideText& text) {
  WideText read;
  if (text.find_first_not_of(u" \t\n\v\f\r") == WideText::npos) return read;
  for (const char16_t unit : text) {
    const bool isHidden = unit == u'\uFEFF' || unit == u'\uFFFE' || unit == u'\uFFFF';
    if ((read.empty() && (unit == u' ' || isHidden)) || (unit == u' ' && read.back() == u' ')) continue;
    read += unit;
  }
  if (read.ends_with(u' ')) read.pop_back();
  return read;
}

bool areSameTexts(const WideText& left, const WideText& right) {
  return asRead(left) == asRead(right);
}

bool areSame(const Update& left, const Update& right) {
  const UpdateInfo& a = left.info;
  const UpdateInfo& b = right.info;
  const auto recorded = [](const Update& update) {
    return std::count_if(update.xmlEntries.begin(), update.xmlEntries.end(), std::not_fn(isUnrecorded));
  };
  return areSameTexts(a.company, b.company) && areSameTexts(a.name, b.name) &&
         areSameTexts(a.version, b.version) && a.installLocation == b.installLocation &&
         a.update == b.update && a.uninstall == b.uninstall && recorded(left) == recorded(right) &&
         std::equal(left.files.begin(), left.files.end(), right.files.begin(), right.files.end(),
                    [](const UpdateFile& file, const UpdateFile& other) {
                      return areSameTexts(file.client, other.client);
                    });
}

bool isIn(const Reading& reading, const Update& update) {
  return std::any_of(reading.updates.begin(), reading.updates.end(),
                     [&update](const Update& other) { return areSame(update, other); });
}

Update newUpdate(const std::string& name) {
  Update update;
  update.info.company = u"Z";
  update.info.name = name.empty() ? u"N" : toReadableWide(name);
  update.info.version = u"1.0.0";
  update.info.update = 1;
  update.info.uninstall = 1;
  update.files = {{u"content/a", 0}};
  update.xmlEntries = {{u"config/maps.xml", 4, u"maps/map", u"id/1"}};
  return update;
}

// True if the register got to the device.
bool record(const Update& update) {
  ClientUpdatesXmlFile file(device, true);
  if (!file.isUsable()) return false;
  UpdatesXml updates(&file);
  updates.addUpdate(update);
  return updates.save() && file.bringBack();
}

bool isKept(const MemoryFiles& files, const std::string& content) {
  return std::any_of(files.contents.begin(), files.contents.end(), [&content](const auto& file) {
    return file.first.starts_with(registerPath) && file.second == content;
  });
}

bool isEmpty(const MemoryFiles& files, const WideText& folder) {
  return std::none_of(files.contents.begin(), files.contents.end(),
                      [&folder](const auto& file) { return file.first.starts_with(folder + u'\\'); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const Input input({reinterpret_cast<const char*>(data), size});
  FuzzMachine machine;
  machine.files.addFolder(registerFolder);
  put(machine.files, registerPath, input.onDevice);
  put(machine.files, setAsidePath, input.setAside);
  put(machine.files, unfinishedPath, input.unfinished);
  const auto atFirst = machine.files.contents;
  TiXmlDocument document;
  const bool isLoadable =
      loadXml(registerPath, document) || isWellFormed(setAsidePath) || isWellFormed(unfinishedPath);
  const bool mustBeKept = !input.onDevice.empty() && !isEditable(registerPath);

  try {
    const Reading before = readRegister();
    must(before.isLoaded || !isLoadable);

    machine.files.contents = atFirst;
    if (!input.changes.empty())
      machine.files.pullAfter(device, static_cast<std::size_t>(std::max(textToInteger(input.changes), 0)));
    const Update added = newUpdate(input.name);
    const bool isRecorded = record(added);
    machine.files.plugIn();

    const Reading after = readRegister();
    must(after.isLoaded || !(before.isLoaded || isRecorded));
    must(isIn(after, added) || !isRecorded || asRead(added.info.name).empty());
    for (const Update& update : before.updates) {
      const bool makesWay = update.info.company == added.info.company && update.info.name == added.info.name;
      must(isIn(after, update) || (makesWay && isIn(after, added)) || asRead(update.info.name).empty());
    }
  } catch (const std::exception&) {
    // A text in it is no UTF-8.
  }
  must(!mustBeKept || isKept(machine.files, input.onDevice));
  must(isEmpty(machine.files, u"\\work"));
  must(machine.hasChangedOnly({registerFolder, u"\\work"}));
  return 0;
}
