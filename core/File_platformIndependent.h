#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/FileSystem.h"

namespace ZelmoraTevra {

// One file. No operation throws: a failure is a line in the log and the operation's failure value, so that a
// drive which disappears looks like a path that isn't there.
class File_platformIndependent {
 public:
  // With `normalise` every "/" of the path becomes "\".
  explicit File_platformIndependent(WideText path, bool normalise = true);

  [[nodiscard]] const WideText& path() const { return path_; }

  // True only for a regular file.
  [[nodiscard]] bool exists() const;
  // True only if it is known that nothing stands at the path: a drive that gives no answer may hold
  // something.
  [[nodiscard]] bool isCertainlyMissing() const;
  // In bytes; -1 if the file doesn't exist.
  [[nodiscard]] std::int64_t size() const;
  // Year, month and day on which it was made, as the user's calendar has them: "2013-05-17". Empty if that
  // can't be had.
  [[nodiscard]] WideText creationDate() const;
  // Whether another path leads to this very file. False if there is none.
  [[nodiscard]] bool isSameAs(const WideText& other) const;
  // Of the file, or the folder, that stands at the path; nothing if there is none.
  [[nodiscard]] std::optional<platform::FileIdentity> identity() const;

  // Makes the parent folder if it isn't there (one level), then opens the file for reading and writing,
  // emptied.
  [[nodiscard]] bool create();
  // For reading. False if the file doesn't exist.
  [[nodiscard]] bool open();
  // For writing, emptied or continued at its end. The parent folder must exist; a failure isn't logged.
  [[nodiscard]] bool openForWriting(platform::OpenMode mode);
  // False if the file doesn't exist any more or isn't open. It is closed in any case.
  bool close();

  // Reads up to `size` bytes; `count` gets the number, -1 when nothing is open. Gives that number, but when
  // no byte came 1 at the end of the file and 0 otherwise.
  std::int64_t read(void* buffer, std::size_t size, std::int64_t& count);
  // The number of bytes written; -1 when nothing is open. Fewer than `size` is a failure.
  std::int64_t write(const void* data, std::size_t size);
  // Writes what comes next in an open source, `size` bytes or fewer at its end, without their passing through
  // the program's memory. The number of bytes; -1 on failure. Nothing, and nothing done, where that can't be.
  [[nodiscard]] std::optional<std::int64_t> writeFrom(File_platformIndependent& source, std::size_t size);
  // In bytes, of the open file itself, whatever stands at its path by now; -1 when nothing is open.
  [[nodiscard]] std::int64_t openSize() const;
  // Sets where the next read begins, in bytes from the start.
  [[nodiscard]] bool seek(std::uint64_t position);
  // Makes the next read come from the medium, as far as the system can do that.
  void forgetCached();
  // Sends what was written on its way to the medium.
  [[nodiscard]] bool flush();
  // Returns when what was written is on the medium.
  [[nodiscard]] bool sync();
  // Closes the file without asking whether its path still stands; tells a failure that the system kept back.
  [[nodiscard]] bool finish();
  // Lets go of the file without a look at what becomes of it.
  void abandon() { handle_.reset(); }

  // Removes the file, its read-only and hidden marks notwithstanding. False if it doesn't exist.
  bool remove();
  // Takes away the read-only and hidden marks. A failure isn't logged: the removal that follows tells of it.
  void clearMarks();
  // Replaces a file at the destination. A failure is not logged: the callers have lines of their own.
  [[nodiscard]] bool renameTo(const WideText& destination);
  // Seconds since the epoch, UTC, for creation and last write.
  bool setTimes(std::int64_t secondsSinceEpoch);

 private:
  WideText path_;
  std::unique_ptr<platform::FileHandle> handle_;
};

}  // namespace ZelmoraTevra
