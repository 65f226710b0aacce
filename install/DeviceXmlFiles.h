#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "core/PathBelowRoot.h"
#include "core/XmlDocument.h"
#include "install/DeviceXmlFile.h"

namespace ZelmoraTevra {

// The XML files of a device from which elements are removed. Each is read once and written once, however many
// updates name it; only files that together are larger than one may be are written in between and read again.
class DeviceXmlFiles {
 public:
  enum class Editing {
    done,
    missing,  // no such file, or one outside the root
    failed,   // it is there but can't be read or isn't well-formed; or an earlier one could not be written
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

  // Null if it can't be read, or if room was to be made for it and could not.
  [[nodiscard]] OpenFile* open(PathBelowRoot& root, const WideText& relativePath);
  void forget(const WideText& key);

  std::map<WideText, std::unique_ptr<OpenFile>> files_;  // by one spelling of root and path
  std::int64_t maximalOpenBytes_;
  std::int64_t openBytes_ = 0;
  std::size_t update_ = 0;
  std::optional<std::size_t> firstUnsaved_;
};

}  // namespace ZelmoraTevra
