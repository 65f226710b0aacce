#pragma once

#include "core/CommandTable.h"
#include "userdata/FileCommandJob.h"

namespace ZelmoraTevra {

// "GET_FILES": tells the front end which groups of files are on the device.
class GetFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  FileCommandJob job_;
};

}  // namespace ZelmoraTevra
