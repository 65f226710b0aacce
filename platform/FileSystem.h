#pragma once

#include <boost/system/error_code.hpp>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra::platform {

using ErrorCode = boost::system::error_code;

enum class EntryKind { missing, file, folder, other };

struct FolderEntry {
  WideText name;
  EntryKind kind;  // of the entry itself: a symbolic link is `other`, whatever it leads to
};

struct Space {
  std::uint64_t capacity = 0;   // bytes
  std::uint64_t free = 0;       // bytes, those reserved for the superuser included
  std::uint64_t available = 0;  // bytes that the caller may take
};

// What tells a file or folder from all others, however its path is spelled. A file system without lasting
// numbers, such as FAT, may give another one to a file that hasn't been used for a while, so identities that
// are compared are asked for shortly after one another.
struct FileIdentity {
  std::uint64_t volume = 0;
  std::uint64_t number = 0;

  auto operator<=>(const FileIdentity&) const = default;
};

enum class OpenMode {
  read,      // what stands there must be a file
  truncate,  // created, or emptied; the parent folder must exist
  append,    // created, or continued at its end; the parent folder must exist
  update,    // for reading and writing in place; what stands there must be a file
  // The same as `truncate`, but the file itself: a symbolic link at the path is a failure.
  truncateEntry,
  createNew,  // for writing; whatever stands at the path already, be it a symbolic link, is a failure
};

// An open file. Destruction closes it. Every operation clears `error` on success and sets it on failure.
class FileHandle {
 public:
  virtual ~FileHandle() = default;

  // Fills the buffer as far as the file goes: fewer bytes than `size` only at the end. -1 on failure.
  virtual std::int64_t read(void* buffer, std::size_t size, ErrorCode& error) = 0;
  // Writes all bytes or fails; after a failure some of them may have been written.
  virtual bool write(const void* data, std::size_t size, ErrorCode& error) = 0;
  // Writes what comes next in another open file, as far as it goes but no more than `size` bytes, without
  // their passing through the program's memory. The number of bytes, fewer than `size` only at that file's
  // end; -1 on failure. Nothing, and nothing done, where the system can't do that for these two files.
  virtual std::optional<std::int64_t> writeFrom(FileHandle&, std::size_t, ErrorCode&) { return std::nullopt; }
  // Where the next read or write takes place, in bytes from the start. A file opened with `append` ignores it
  // for writing.
  virtual bool seek(std::uint64_t position, ErrorCode& error) = 0;
  // The file's size in bytes now; -1 on failure.
  virtual std::int64_t size(ErrorCode& error) = 0;
  virtual bool truncate(std::uint64_t size, ErrorCode& error) = 0;
  // Starts the way of what was written to the medium, without waiting for it.
  virtual bool flush(ErrorCode& error) = 0;
  // Returns when what was written is on the medium.
  virtual bool sync(ErrorCode& error) = 0;
  // Forgets what the system keeps of the file in memory, as far as it is on the medium, so that the next read
  // comes from there. Where the system can't do that, nothing happens.
  virtual void forgetCached() {}
  // A failure that the system kept back until now is told here. The handle can't be used afterwards.
  virtual bool close(ErrorCode& error) = 0;
};

// The operations on the file system under which all of the program's file access lies. Paths are wide text
// with "\" and "/" as separators. No operation throws; each clears `error` on success and sets it on failure.
class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // What stands at the path, behind symbolic links. An absent entry is `missing` without an error; an answer
  // that could not be had is `missing` with one.
  virtual EntryKind kind(const WideText& path, ErrorCode& error) = 0;
  // True if the entry itself is a symbolic link. A missing entry is none.
  virtual bool isLink(const WideText& path, ErrorCode& error) = 0;
  // Size of a file in bytes, -1 on failure.
  virtual std::int64_t fileSize(const WideText& path, ErrorCode& error) = 0;
  // Capacity and free space of the volume on which the path lies.
  virtual bool space(const WideText& path, Space& space, ErrorCode& error) = 0;
  // Appends the direct entries of a folder, in the file system's order. On failure nothing is appended.
  virtual bool list(const WideText& folder, std::vector<FolderEntry>& entries, ErrorCode& error) = 0;

  [[nodiscard]] virtual std::unique_ptr<FileHandle> open(const WideText& path, OpenMode mode,
                                                         ErrorCode& error) = 0;
  // One level. An existing folder is a failure (file exists).
  virtual bool createFolder(const WideText& path, ErrorCode& error) = 0;
  // Replaces a file at the destination.
  virtual bool rename(const WideText& from, const WideText& to, ErrorCode& error) = 0;
  // A symbolic link is removed itself, never what it leads to.
  virtual bool removeFile(const WideText& path, ErrorCode& error) = 0;
  // Only an empty folder can be removed.
  virtual bool removeFolder(const WideText& path, ErrorCode& error) = 0;
  // Takes away the read-only and hidden marks that stand in the way of a removal.
  virtual bool clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) = 0;
  // Marks a file or folder as hidden. True, and nothing changed, where there is no such mark, and for a
  // symbolic link.
  virtual bool setHidden(const WideText& path, ErrorCode& error) = 0;
  // When the file was made, in seconds since the epoch, UTC; where that isn't kept, when it was last written.
  virtual bool creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) = 0;
  // Last-write time (and creation time, where the system lets it be set) in seconds since the epoch, UTC.
  virtual bool setTimes(const WideText& path, std::int64_t secondsSinceEpoch, ErrorCode& error) = 0;
  // Returns when everything written to the volume on which the folder lies is on the medium.
  virtual bool syncVolume(const WideText& folder, ErrorCode& error) = 0;
  // Whether two folders lie on the same volume. False also on failure.
  virtual bool areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) = 0;
  // Whether two paths lead to one and the same file or folder, however they are spelled. False also if one of
  // them leads to nothing, and on failure.
  virtual bool areSame(const WideText& left, const WideText& right, ErrorCode& error) = 0;
  // The path from the system's root to which a path leads, which needn't exist: without a drive letter, and
  // with the symbolic links of the part that exists worked out. What can't be worked out comes back as it is.
  virtual WideText resolved(const WideText& path) = 0;
  // Of the file or folder to which the path leads. Nothing on failure.
  virtual std::optional<FileIdentity> identity(const WideText& path, ErrorCode& error) = 0;
  // Returns when the folder's entries are on the medium.
  virtual bool syncFolder(const WideText& folder, ErrorCode& error) = 0;
};

}  // namespace ZelmoraTevra::platform
