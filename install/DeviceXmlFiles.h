#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "install/DeviceXmlFile.h"

namespace ZelmoraTevra {

// The XML files of a device from which elements are removed. Each is read once and written once, however many
// updates name it; only files that together are larger than one may be are written in between and read again,
// up to a bound on what is read in all.
class DeviceXmlFiles {
 public:
  enum class Editing {
    done,
    missing,  // the root stands and certainly has no such file
    refused,  // the path would leave the root
    failed,   // the file may be there but can't be edited; or an earlier one could not be written
  };

  // Bytes of all files that are held in memory together.
  explicit DeviceXmlFiles(std::int64_t maximalOpenBytes = maximalXmlFileBytes)
      : maximalOpenBytes_(maximalOpenBytes) {}

  // Removes all elements of the file that match, in memory (DeviceXmlFile::removeMatches).
  [[nodiscard]] Editing removeMatches(PathBelowRoot& root, const UpdateXmlEntry& entry);
  // The removals from here on belong to the next update.
  void beginNextUpdate() { ++update_; }
  // Writes the files in which something was removed, each safely. A file that has been deleted meanwhile
  // stays deleted. False if one of them could not be written, now or before.
  bool save();
  // The first update, counted from 0, of which a removal could not be written.
  [[nodiscard]] std::optional<std::size_t> firstUnsaved() const { return firstUnsaved_; }

 private:
  struct OpenFile {
    WideText root;
    WideText relativePath;
    std::int64_t bytes = 0;
    DeviceXmlFile document;
    std::optional<std::size_t> firstChange;  // the update to which it belongs
  };

  using FileMap = std::map<WideText, std::unique_ptr<OpenFile>>;  // by one spelling of root and path

  [[nodiscard]] Editing edit(OpenFile& file, const UpdateXmlEntry& entry);
  // Opens the file and edits it.
  [[nodiscard]] Editing editNew(const WideText& key, const WideText& path, const WideText& root,
                                const UpdateXmlEntry& entry);
  // A file that isn't there any more: what was to be removed from it has gone with it, or with its root.
  [[nodiscard]] Editing forget(FileMap::iterator file);
  // The changes of the file are lost.
  void noteUnsaved(const OpenFile& file);

  FileMap files_;
  std::set<WideText> missing_;  // keys of what was looked for in vain
  std::int64_t maximalOpenBytes_;
  std::int64_t openBytes_ = 0;
  std::int64_t readBytes_ = 0;
  std::size_t update_ = 0;
  std::optional<std::size_t> firstUnsaved_;
};

}  // namespace ZelmoraTevra
