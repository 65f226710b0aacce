#pragma once

#include <vector>

#include "core/CommandTable.h"
#include "userdata/Contact.h"

namespace ZelmoraTevra {

// "IMPORT_CONTACTS": makes the device's address book anew from a front end's list.
class ImportContactsRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  struct ContactsImportJob {
    WideText mainFolder;  // root of the device's main storage
    std::vector<Contact> contacts;
  };

  [[nodiscard]] int writeFile() const;

  ContactsImportJob job_;
  WideText list_;  // XML
};

}  // namespace ZelmoraTevra
