#pragma once

#include "core/CommandTable.h"
#include "userdata/KmlJob.h"

namespace ZelmoraTevra {

// "GET_KML_FILES": answers with the names and dates of the tracks on both storages.
class GetKmlFilesRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  [[nodiscard]] int answer() const;

  KmlJob job_;
};

}  // namespace ZelmoraTevra
