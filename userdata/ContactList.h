#pragma once

#include <string>
#include <vector>

#include "userdata/Contact.h"

namespace ZelmoraTevra {

// Reads the "contact" elements of a front end's list. A text without any gives an empty list. False if the
// XML doesn't parse, or a text in it is no valid Unicode.
[[nodiscard]] bool readContacts(const WideText& xml, std::vector<Contact>& contacts);

// The device's address book, as bytes: UTF-8 with a byte order mark, a line for each contact. Their
// texts must be valid.
[[nodiscard]] std::string contactsFileContent(const std::vector<Contact>& contacts);

}  // namespace ZelmoraTevra
