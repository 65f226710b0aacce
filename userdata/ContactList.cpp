#include "userdata/ContactList.h"

#include <tinyxml.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/XmlDocument.h"

namespace ZelmoraTevra {

namespace {

using Field = WideText Contact::*;

constexpr std::array<std::pair<const char*, Field>, 12> fieldPaths = {{
    {"/contact/name", &Contact::name},
    {"/contact/company", &Contact::company},
    {"/contact/countryCode", &Contact::countryCode},
    {"/contact/cityName", &Contact::cityName},
    {"/contact/cityPostal", &Contact::cityPostal},
    {"/contact/streetName", &Contact::streetName},
    {"/contact/houseNumber", &Contact::houseNumber},
    {"/contact/homeTelephone", &Contact::homeTelephone},
    {"/contact/home2Telephone", &Contact::home2Telephone},
    {"/contact/businessTelephone", &Contact::businessTelephone},
    {"/contact/business2Telephone", &Contact::business2Telephone},
    {"/contact/mobileTelephone", &Contact::mobileTelephone},
}};

// In the order of a line, which isn't that of the list.
constexpr std::array<Field, 7> fieldsOfAddress = {
    &Contact::company,  &Contact::name,       &Contact::countryCode, &Contact::cityPostal,
    &Contact::cityName, &Contact::streetName, &Contact::houseNumber,
};
constexpr std::array<Field, 5> telephoneFields = {
    &Contact::homeTelephone,      &Contact::home2Telephone,  &Contact::businessTelephone,
    &Contact::business2Telephone, &Contact::mobileTelephone,
};

// An address book of some hundred thousand contacts, with all fields, is none to be refused.
constexpr std::size_t maximalMarkup = 10'000'000;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view firstLine = "[Tevra imported contacts]\n";
// Nine fields that a front end's list doesn't fill.
constexpr std::string_view emptyFields = "|-|-|-|-|-|-|-|-|-|";

void appendCharacter(std::string& line, char character) {
  switch (character) {
    case '&':
      line += "&amp;";
      break;
    case '<':
      line += "&lt;";
      break;
    case '>':
      line += "&gt;";
      break;
    case '"':
      line += "&quot;";
      break;
    case '\'':
      line += "&#39;";
      break;
    case '\n':
    case '\r':
      // The device would take what comes behind for another contact.
      line += ' ';
      break;
    default:
      line += character;
  }
}

void appendField(std::string& line, const WideText& field) {
  if (field.empty()) line += '-';
  for (const char character : toUtf8(field)) appendCharacter(line, character);
}

template <std::size_t count>
void appendFields(std::string& line, const Contact& contact, const std::array<Field, count>& fields) {
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) line += '|';
    appendField(line, contact.*fields[i]);
  }
}

bool endsWithMarkup(WideView xml) {
  const std::size_t last = xml.find_last_not_of(u" \t\r\n");
  return last != WideView::npos && xml[last] == u'>';
}

// Whether each reference such as "&#65;" is to a character. The parser takes others for nothing, or for the
// end of a text.
bool refersToCharactersOnly(std::string_view xml) {
  for (std::size_t at = xml.find("&#"); at != std::string_view::npos; at = xml.find("&#", at)) {
    at += 2;
    const bool isHexadecimal = xml.substr(at, 1) == "x";
    if (isHexadecimal) ++at;
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(xml.data() + at, xml.data() + xml.size(), number, isHexadecimal ? 16 : 10);
    // What isn't even a number is left to the parser.
    if (error == std::errc::invalid_argument) continue;
    const bool isSurrogate = number >= 0xD800 && number <= 0xDFFF;
    if (error != std::errc() || number == 0 || number > 0x10FFFF || isSurrogate) return false;
  }
  return true;
}

Contact readContact(const TiXmlElement& element) {
  Contact contact;
  for (const auto& [path, field] : fieldPaths) contact.*field = lookupText(&element, path);
  return contact;
}

}  // namespace

bool readContacts(const WideText& xml, std::vector<Contact>& contacts) {
  TiXmlDocument document;
  std::string text = toUtf8(xml);
  if (!refersToCharactersOnly(text) || !parseXml(std::move(text), document, maximalMarkup)) return false;
  const TiXmlElement* const list = document.RootElement();
  // What has no element parses, and is an empty list: but also a declaration that is cut off parses.
  if (list == nullptr) return endsWithMarkup(xml);
  if (list->ValueStr() != "contacts") return true;
  for (const TiXmlElement* element = list->FirstChildElement("contact"); element != nullptr;
       element = element->NextSiblingElement("contact"))
    contacts.push_back(readContact(*element));
  return true;
}

std::string contactsFileContent(const std::vector<Contact>& contacts) {
  std::string content(byteOrderMark);
  content += firstLine;
  for (const Contact& contact : contacts) {
    appendFields(content, contact, fieldsOfAddress);
    content += emptyFields;
    appendFields(content, contact, telephoneFields);
    content += '\n';
  }
  return content;
}

}  // namespace ZelmoraTevra
