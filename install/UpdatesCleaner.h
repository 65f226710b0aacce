#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

// Drops from the register the updates of which nothing is left on the device, and takes their entries out of
// the device's version file. An update of which only such entries are left counts as gone. What the register
// names outside its storage counts as not there. What the device gives no answer about counts as there, and
// so does an element in a file that may not be edited or costs too much to look through.
class UpdatesCleaner {
 public:
  // Bytes of all version files that are held in memory together.
  explicit UpdatesCleaner(std::int64_t maximalHeldBytes = maximalXmlFileBytes)
      : maximalHeldBytes_(maximalHeldBytes) {}

  // 0, or -1 if there is no register. The register must outlive the cleaner. Without a second storage its
  // root is empty; of the updates on it nothing can be said, and they stay.
  [[nodiscard]] int init(UpdatesXml* updatesRegister, const WideText& primaryRoot,
                         const WideText& secondaryRoot);
  // 0, or -1 without an init or if an entry could not be removed: the register is unchanged then. Of the XML
  // files that the updates name one at a time is held in memory, and each is read once. What is removed from
  // version files is written when everything has been decided and removed, each file once; only of those that
  // together are too large some are written before the others are read.
  [[nodiscard]] int run();

 private:
  struct EntryOfUpdate {
    std::size_t update;  // its number in the register
    const UpdateXmlEntry* entry;
  };
  // In the register's order, by one spelling of the file's path.
  using EntriesByFile = std::map<WideText, std::vector<EntryOfUpdate>>;

  // For each update whether it stands.
  [[nodiscard]] std::vector<bool> whichStand(const std::vector<Update>& updates);
  void lookForMatches(const std::vector<EntryOfUpdate>& entries, std::vector<bool>& stands);
  [[nodiscard]] bool removeEntries(const EntriesByFile& entriesByFile);

  std::int64_t maximalHeldBytes_;
  UpdatesXml* register_ = nullptr;
  std::optional<PathBelowRoot> primary_;
  std::optional<PathBelowRoot> secondary_;
};

}  // namespace ZelmoraTevra
