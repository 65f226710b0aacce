#pragma once

#include <optional>
#include <string>

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "GET_CONTACTS": answers with the bytes of the device's address book.
class GetContactsRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  struct ContactsExportJob {
    WideText mainFolder;               // root of the device's main storage
    std::optional<std::string> bytes;  // of the file; nothing without one
  };

  ContactsExportJob job_;
};

}  // namespace ZelmoraTevra
