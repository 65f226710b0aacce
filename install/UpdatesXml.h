#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "install/IUpdatesXmlFile.h"

class TiXmlElement;

namespace ZelmoraTevra {

class IUpdateUninstaller;

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
// Adding, finding and removing cost the same however many updates there are: the updates are indexed by their
// names, and by company and name.
//
// A file that is missing, empty or not well-formed gives an empty register, to which updates can be added;
// whose file it is looks after a damaged one. A text in it that isn't UTF-8 throws the UTF-8 library's
// exception from the constructor.
class UpdatesXml {
 public:
  // The file must outlive the register; null gives a register that isn't loaded and can't be saved.
  explicit UpdatesXml(IUpdatesXmlFile* file);
  ~UpdatesXml();
  UpdatesXml(const UpdatesXml&) = delete;
  UpdatesXml& operator=(const UpdatesXml&) = delete;

  // Whether the file could be read and is well-formed.
  [[nodiscard]] bool isLoaded() const { return loaded_; }
  // True if nothing had changed or the file was written. After a failure it is as it was before. A file that
  // stood there but could not be read isn't written. Afterwards the updates are what a reader of the file
  // finds: without the flags of files, and without the files and entries that aren't recorded.
  bool save();

  // The first update with this name, and with the company and the version unless they are empty in the query;
  // an empty update if there is none.
  [[nodiscard]] Update findUpdate(const UpdateInfo& info) const;
  [[nodiscard]] Update findByCompanyAndName(const UpdateInfo& info) const;
  // Appends the update. With `update` 1 it takes the place of those with the same company and name. Ignored
  // if it isn't valid.
  void addUpdate(Update update);
  // Removes those that are equal in everything that the register holds but the install location.
  bool removeUpdate(const Update& update);
  bool removeByCompanyAndName(const UpdateInfo& info);
  // Lets each uninstaller take off the device what `findUpdate` gives for the query, and removes it. False,
  // and it stays in the register, if there is none, an uninstaller failed, or its storage can't be written to
  // afterwards; also if the update is on the second storage and that one isn't named, has gone or can't be
  // written to, which is reported.
  [[nodiscard]] bool uninstallUpdate(const UpdateInfo& info,
                                     const std::vector<std::unique_ptr<IUpdateUninstaller>>& uninstallers);
  // Takes back all changes since the last `save`.
  void revert();
  // How many there are, removed ones included until the next reading: what a `save` costs.
  [[nodiscard]] std::size_t count() const { return updates_.size(); }
  // A copy, in the order of the register.
  [[nodiscard]] std::vector<Update> getUpdates() const;
  // Puts a list in the place of all updates.
  void setUpdates(std::vector<Update> updates);

 private:
  void read();
  void readUpdate(const TiXmlElement& element);
  [[nodiscard]] bool write() const;
  void append(Update update);

  template <typename Condition>
  [[nodiscard]] Update findFirst(const WideText& key, Condition condition) const;
  // Among those with the company and the name.
  template <typename Condition>
  bool removeAll(const UpdateInfo& info, Condition condition);

  bool loaded_ = false;
  bool unreadable_ = false;
  bool dirty_ = false;
  IUpdatesXmlFile* file_;
  std::vector<Update> updates_;  // a removed one stays in its place with an empty name
  // Positions in the order of the register, under the name and under company and name.
  std::unordered_map<WideText, std::set<std::size_t>> index_;
};

}  // namespace ZelmoraTevra
