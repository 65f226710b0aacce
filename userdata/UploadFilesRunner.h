#pragma once

#include "core/CommandTable.h"

namespace ZelmoraTevra {

// "UPLOAD_FILES": sends what the uploader's settings name from the device to a server. Writes no status of
// its own. A device that doesn't say what it is has nothing to upload, which is no failure.
class UploadFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  WideText root_;
  WideText url_;
  std::shared_ptr<const TiXmlElement> inlineTable_;
};

}  // namespace ZelmoraTevra
