#include "userdata/FileGroups.h"

#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "userdata/FileNames.h"
#include "userdata/GroupFolder.h"

namespace ZelmoraTevra {

namespace {

using platform::EntryKind;
using platform::FolderEntry;

// The files of one folder by name, as its listing has them.
class ListedFiles {
 public:
  ListedFiles(const WideText& folder, const std::vector<FolderEntry>& entries)
      : folder_(folder), entries_(entries) {
    kinds_.reserve(entries.size());
    for (const FolderEntry& entry : entries) kinds_.emplace(entry.name, entry.kind);
  }

  // A device's file system may take upper and lower case for the same: a name that differs from a listed one
  // in nothing else is asked for.
  [[nodiscard]] bool has(const WideText& name) {
    const auto found = kinds_.find(name);
    if (found != kinds_.end()) return found->second == EntryKind::file;
    if (capitals_.empty()) collectCapitals();
    return capitals_.count(toUpperAscii(name)) != 0 &&
           File_platformIndependent(folder_ + u'/' + name).exists();
  }

 private:
  void collectCapitals() {
    for (const FolderEntry& entry : entries_) {
      if (entry.kind == EntryKind::file) capitals_.insert(toUpperAscii(entry.name));
    }
  }

  const WideText& folder_;
  const std::vector<FolderEntry>& entries_;
  std::unordered_map<WideView, EntryKind> kinds_;
  std::unordered_set<WideText> capitals_;
};

class GroupSearch {
 public:
  GroupSearch(const FileCommandJob& job, std::vector<FileGroup>& groups)
      : job_(job), ending_(u'.' + job.extensions.front()), groups_(groups) {}

  [[nodiscard]] bool searchBelow(const WideText& topFolder) {
    std::vector<WideText> pending{topFolder};
    while (!pending.empty()) {
      const WideText folder = std::move(pending.back());
      pending.pop_back();
      std::vector<FolderEntry> entries;
      if (!Directory_new(folder).entries(entries)) return false;
      searchFolder(folder, entries);
      for (const FolderEntry& entry : entries) {
        if (entry.kind == EntryKind::folder) pending.push_back(folder + u'/' + entry.name);
      }
    }
    return true;
  }

 private:
  void searchFolder(const WideText& folder, const std::vector<FolderEntry>& entries) {
    std::optional<ListedFiles> files;
    for (const FolderEntry& entry : entries) {
      const WideView name = entry.name;
      if (entry.kind != EntryKind::file || !name.ends_with(ending_) ||
          name.rfind(u'.') + ending_.size() != name.size())
        continue;
      if (!files) files.emplace(folder, entries);
      addGroup(folder, WideText(name.substr(0, name.size() - ending_.size())), *files);
    }
  }

  void addGroup(const WideText& folder, const WideText& base, ListedFiles& files) {
    FileGroup group;
    for (const WideText& extension : job_.extensions) {
      if (!files.has(withExtension(base, extension))) return;
    }
    for (const WideText& optional : job_.optionalExtensions) {
      if (!files.has(withExtension(base, optional))) continue;
      for (const WideText& extension : job_.extensions)
        addFile(folder, withExtension(base, extension), group);
      addFile(folder, withExtension(base, optional), group);
      groups_.push_back(std::move(group));
      return;
    }
  }

  static void addFile(const WideText& folder, const WideText& name, FileGroup& group) {
    WideText path = folder + u'/' + name;
    const auto [entry, isNew] = group.try_emplace(std::move(path));
    if (isNew) entry->second = File_platformIndependent(entry->first).creationDate();
  }

  const FileCommandJob& job_;
  const WideText ending_;  // of the files that a group is recognised by
  std::vector<FileGroup>& groups_;
};

}  // namespace

bool findFileGroups(const FileCommandJob& job, std::vector<FileGroup>& groups) {
  GroupSearch search(job, groups);
  for (const WideText& storage : {job.mainFolder, job.secondFolder}) {
    if (storage.empty()) continue;
    const std::optional<WideText> folder = GroupFolder(storage, job.searchingFolder).path();
    if (!folder || !Directory_new(*folder).exists()) continue;
    if (!search.searchBelow(toForwardSlashes(*folder))) return false;
  }
  return true;
}

}  // namespace ZelmoraTevra
