#include "userdata/FileGroups.h"

#include <algorithm>
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

// Whether upper and lower case are the only difference at the end.
bool endsWith(WideView name, WideView ending) {
  return name.size() >= ending.size() &&
         equalsIgnoringAsciiCase(name.substr(name.size() - ending.size()), ending);
}

// The entries of one folder's listing that can be files of groups, by name.
class ListedFiles {
 public:
  ListedFiles(const WideText& folder, const std::vector<FolderEntry>& entries,
              const std::vector<WideText>& endings)
      : folder_(folder) {
    for (const FolderEntry& entry : entries) {
      const auto isEndOfName = [&](const WideText& ending) { return endsWith(entry.name, ending); };
      if (std::any_of(endings.begin(), endings.end(), isEndOfName)) kinds_.emplace(entry.name, entry.kind);
    }
  }

  // For a name with one of the endings.
  //
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
    for (const auto& [name, kind] : kinds_) {
      if (kind == EntryKind::file) capitals_.insert(toUpperAscii(WideText(name)));
    }
  }

  const WideText& folder_;
  std::unordered_map<WideView, EntryKind> kinds_;
  std::unordered_set<WideText> capitals_;
};

class GroupSearch {
 public:
  GroupSearch(const FileCommandJob& job, std::vector<FileGroup>& groups) : job_(job), groups_(groups) {
    for (const auto* list : {&job.extensions, &job.optionalExtensions}) {
      for (const WideText& extension : *list) endings_.push_back(u'.' + extension);
    }
  }

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
    const WideView ending = endings_.front();
    for (const FolderEntry& entry : entries) {
      const WideView name = entry.name;
      if (entry.kind != EntryKind::file || !name.ends_with(ending) ||
          name.rfind(u'.') + ending.size() != name.size())
        continue;
      if (!files) files.emplace(folder, entries, endings_);
      addGroup(folder, WideText(name.substr(0, name.size() - ending.size())), *files);
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
  std::vector<WideText> endings_;  // of all files; a group is recognised by the first
  std::vector<FileGroup>& groups_;
};

}  // namespace

bool findFileGroups(const FileCommandJob& job, std::vector<FileGroup>& groups) {
  GroupSearch search(job, groups);
  for (const WideText& storage : {job.mainFolder, job.secondFolder}) {
    const std::optional<WideText> folder = GroupFolder(storage, job.searchingFolder).path();
    const bool holdsNothing = !folder || File_platformIndependent(*folder).isCertainlyMissing() ||
                              File_platformIndependent(*folder).exists();
    if (holdsNothing) continue;
    if (!search.searchBelow(toForwardSlashes(*folder))) return false;
  }
  return true;
}

}  // namespace ZelmoraTevra
