#pragma once

#include "core/CommandTable.h"
#include "userdata/KmlJob.h"

namespace ZelmoraTevra {

// "EXPORT_KML_FILE": copies a track to the computer, that of the second storage if both have one of the name.
class ExportKmlFileRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  // What is told of the destination tells too which storage the track is on.
  struct Codes {
    int noFolder;
    int noRoom;
  };

  [[nodiscard]] int exportTrack(const WideText& track, Codes codes) const;

  KmlJob job_;
};

}  // namespace ZelmoraTevra
