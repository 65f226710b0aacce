#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "install/IUpdatesXmlFile.h"

namespace ZelmoraTevra {

struct UpdateInfo {
  WideText company;
  WideText name;
  WideText version;
  WideText installLocation = u"external";
  WideText secondaryPath;  // root of the second storage at the moment; not part of the register
  std::int32_t update = 0;
  std::int32_t uninstall = 0;
};

struct UpdateFile {
  WideText client;  // path on the device below the root
  std::int32_t flag = 0;
  friend bool operator==(const UpdateFile&, const UpdateFile&) = default;
};

struct UpdateXmlEntry {
  WideText file;
  std::int32_t creationFlag = 0;
  WideText base;
  WideText condition;
  friend bool operator==(const UpdateXmlEntry&, const UpdateXmlEntry&) = default;
};

struct Update {
  UpdateInfo info;
  std::vector<UpdateFile> files;
  std::vector<UpdateXmlEntry> xmlEntries;
  [[nodiscard]] bool isValid() const { return !info.name.empty(); }
};

// The parsed register. Read at construction, written by `save` and, if something changed, at destruction.
// Adding and finding cost the same however many updates there are.
class UpdatesXml {
 public:
  // The file must outlive the register; null gives a register that isn't loaded.
  explicit UpdatesXml(IUpdatesXmlFile* file);
  ~UpdatesXml();
  UpdatesXml(const UpdatesXml&) = delete;
  UpdatesXml& operator=(const UpdatesXml&) = delete;

  [[nodiscard]] bool isLoaded() const { return loaded_; }
  // True if nothing had changed or the file was written.
  bool save();

  // The first update with this name, and with the company and the version unless they are empty in the query;
  // an empty update if there is none.
  [[nodiscard]] Update findUpdate(const UpdateInfo& info) const;
  [[nodiscard]] Update findByCompanyAndName(const UpdateInfo& info) const;
  void addUpdate(const Update& update);
  bool removeUpdate(const Update& update);
  bool removeByCompanyAndName(const UpdateInfo& info);
  // A copy, in the order of the register.
  [[nodiscard]] std::vector<Update> getUpdates() const;
  // Puts a list in the place of all updates.
  void setUpdates(std::vector<Update> updates);

 private:
  void read();

  bool loaded_ = false;
  bool dirty_ = false;
  IUpdatesXmlFile* file_;
  std::vector<Update> updates_;  // a removed one has an empty name until the list is written
  std::unordered_multimap<std::u16string, std::size_t> byCompanyAndName_;
};

}  // namespace ZelmoraTevra
