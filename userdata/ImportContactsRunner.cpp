#include "userdata/ImportContactsRunner.h"

#include <cstdint>
#include <string>

#include "core/Directory_new.h"
#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/SyncStorages.h"
#include "userdata/ContactList.h"
#include "userdata/ContactsFile.h"

namespace ZelmoraTevra {

int ImportContactsRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  list_ = record.contacts;
  return 0;
}

int ImportContactsRunner::run() {
  if (!ContactsFile(job_.mainFolder).deviceTakesContacts()) return -1;
  if (!readContacts(list_, job_.contacts)) {
    ErrorReport(1283, u"Invalid contacts informations!").description(job_.mainFolder).save();
    return -1;
  }
  // An empty list takes nothing away.
  if (!job_.contacts.empty() && writeFile() != 0) return -1;
  saveState(statSuccess, 1010);
  return 0;
}

int ImportContactsRunner::writeFile() const {
  const ContactsFile file(job_.mainFolder);
  const std::string content = contactsFileContent(job_.contacts);
  file.removeUnfinished();
  const std::int64_t room = Directory_new(job_.mainFolder).freeSpace() + file.size();
  const std::int64_t need = static_cast<std::int64_t>(content.size()) + reserveBytes;
  if (room < need) {
    ErrorReport(1284, u"The contacts file will not fit to device!")
        .pathAndDrive(job_.mainFolder)
        .size(need)
        .save();
    return -1;
  }
  // The file's folder may be new too.
  if (file.replace(content) && syncStorages({job_.mainFolder})) return 0;
  ErrorReport(1285, u"The contacts file could not be created!").save();
  return -1;
}

}  // namespace ZelmoraTevra
