// A front end's list of contacts becomes an address book with a line of 21 fields for each, or is refused.
#include <algorithm>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fuzz/Must.h"
#include "userdata/ContactList.h"

namespace {

using namespace ZelmoraTevra;

constexpr std::ptrdiff_t barsOfLine = 20;

template <typename Text>
std::ptrdiff_t countOf(const Text& text, typename Text::value_type unit) {
  return std::count(text.begin(), text.end(), unit);
}

// A bar in a field stays as it is.
std::ptrdiff_t barsIn(const Contact& contact) {
  std::ptrdiff_t bars = 0;
  for (const WideText Contact::*field :
       {&Contact::name, &Contact::company, &Contact::countryCode, &Contact::cityName, &Contact::cityPostal,
        &Contact::streetName, &Contact::houseNumber, &Contact::homeTelephone, &Contact::home2Telephone,
        &Contact::businessTelephone, &Contact::business2Telephone, &Contact::mobileTelephone})
    bars += countOf(contact.*field, u'|');
  return bars;
}

void checkLine(std::string_view line, const Contact& contact) {
  must(countOf(line, '|') == barsOfLine + barsIn(contact));
  must(line.find_first_of(std::string_view("<>\"'\r\0", 6)) == std::string_view::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  WideText list;
  try {
    list = toWide(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const std::exception&) {
    return 0;
  }
  std::vector<Contact> contacts;
  if (!readContacts(list, contacts)) return 0;

  const std::string content = contactsFileContent(contacts);
  static_cast<void>(toWide(content));
  constexpr std::string_view firstLine = "\xEF\xBB\xBF[Tevra imported contacts]\n";
  must(content.starts_with(firstLine) && content.ends_with('\n'));
  std::string_view left = std::string_view(content).substr(firstLine.size());
  for (const Contact& contact : contacts) {
    const std::size_t end = left.find('\n');
    must(end != std::string_view::npos);
    checkLine(left.substr(0, end), contact);
    left.remove_prefix(end + 1);
  }
  must(left.empty());
  return 0;
}
