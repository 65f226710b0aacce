#include "userdata/ContactList.h"

#include <tinyxml.h>

#include <array>
#include <exception>
#include <string_view>
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

// A reference such as "&#xD800;" or "&#0;" parses, and is no character.
bool readContact(const TiXmlElement& element, Contact& contact) {
  try {
    for (const auto& [path, field] : fieldPaths) {
      contact.*field = lookupText(&element, path);
      if ((contact.*field).find(u'\0') != WideText::npos) return false;
    }
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace

bool readContacts(const WideText& xml, std::vector<Contact>& contacts) {
  TiXmlDocument document;
  if (!parseXml(toUtf8(xml), document, maximalMarkup)) return false;
  const TiXmlElement* const list = document.RootElement();
  // What has no element parses, and is an empty list: but also a declaration that is cut off parses.
  if (list == nullptr) return endsWithMarkup(xml);
  if (list->ValueStr() != "contacts") return true;
  for (const TiXmlElement* element = list->FirstChildElement("contact"); element != nullptr;
       element = element->NextSiblingElement("contact"))
    if (!readContact(*element, contacts.emplace_back())) return false;
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
