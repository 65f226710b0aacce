// A front end's list of contacts becomes an address book with a line of 21 fields for each, or is refused.
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzMachine.h"
#include "userdata/ContactList.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace ZelmoraTevra;
  FuzzMachine machine;
  try {
    const WideText list = toWide(std::string(reinterpret_cast<const char*>(data), size));
    std::vector<Contact> contacts;
    if (!readContacts(list, contacts)) return 0;
    const std::string content = contactsFileContent(contacts);
    const auto lines = static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n'));
    if (lines != contacts.size() + 1 || content.find('\0') != std::string::npos) std::abort();
  } catch (const std::exception&) {
  }
  return 0;
}
