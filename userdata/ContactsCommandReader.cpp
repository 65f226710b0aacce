#include "userdata/ContactsCommandReader.h"

#include <exception>

#include "core/CommandValues.h"
#include "core/ErrorReport.h"

namespace ZelmoraTevra {

namespace {

// Empty also for a list that is no UTF-8: better none than one with other letters than the user's.
WideText contactsValue(const TiXmlElement& command) {
  try {
    return encodedValue(command, "/Command/Contacts");
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace

bool readContactsCommand(const TiXmlElement& command, CommandRecord& record) {
  record.contacts = contactsValue(command);
  record.storageCardDriveLetter = encodedValue(command, "/Command/StorageCardDriveLetter");
  const bool needsContacts = record.commandName == u"IMPORT_CONTACTS";
  if (!record.storageCardDriveLetter.empty() && !(needsContacts && record.contacts.empty())) return true;
  ErrorReport(1127, u"Error on reading the " + record.commandName + u" parameters!").save();
  return false;
}

}  // namespace ZelmoraTevra
