#pragma once

#include <cstdint>
#include <optional>

#include "core/CommandTable.h"
#include "userdata/KmlJob.h"

namespace ZelmoraTevra {

// "IMPORT_KML_FILE": brings a track to the device, to the second storage if it has the room.
class ImportKmlFileRunner : public ICommandWorker {
 public:
  int init(const CommandRecord& record) override;
  int run() override;

 private:
  // The root of the storage that has the room; nothing, and reported, if none has.
  [[nodiscard]] std::optional<WideText> chooseStorage(std::int64_t size) const;
  [[nodiscard]] int importTo(const WideText& storage) const;

  KmlJob job_;
  bool overwrite_ = false;
};

}  // namespace ZelmoraTevra
