#include "userdata/GetContactsRunner.h"

#include <tinyxml.h>

#include "core/BackendLogger.h"
#include "core/Base64.h"
#include "core/StatusXml.h"
#include "core/XmlDocument.h"
#include "userdata/ContactsFile.h"

namespace ZelmoraTevra {

int GetContactsRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  return 0;
}

int GetContactsRunner::run() {
  const ContactsFile file(job_.mainFolder);
  if (!file.deviceTakesContacts()) return -1;
  job_.bytes = file.read();

  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& response = addElement(document, "GetContactsResponse");
  if (job_.bytes) {
    const bool isUtf8 = job_.bytes->starts_with("\xEF\xBB\xBF");
    addElement(response, "contacts").InsertEndChild(TiXmlText(encodeBase64(*job_.bytes)));
    addElement(response, "utf8", isUtf8 ? u"true" : u"false");
    job_.bytes.reset();
  }
  // A front end that gets no answer has no way to be told so either.
  if (!writeResponse(document)) writeLog(u"The response with the contacts could not be saved!");
  return 0;
}

}  // namespace ZelmoraTevra
