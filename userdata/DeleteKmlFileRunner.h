#pragma once

#include "core/CommandTable.h"
#include "userdata/KmlJob.h"

namespace ZelmoraTevra {

class TrackFolder;

// "DELETE_KML_FILE": deletes a track. If both storages have one of the name, that of the main one stays.
class DeleteKmlFileRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  [[nodiscard]] int failToDelete(int exitCode, const TrackFolder& tracks) const;

  KmlJob job_;
};

}  // namespace ZelmoraTevra
