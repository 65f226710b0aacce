#include "platform/linux/LinuxFileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "platform/AbsolutePath.h"
#include "platform/linux/FatVolume.h"
#include "platform/linux/LinuxFileHandle.h"
#include "platform/linux/NativePath.h"
#include "platform/linux/SystemCall.h"

namespace ZelmoraTevra::platform {

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

using FolderStream = std::unique_ptr<DIR, CloseFolder>;

bool isAbsent(const ErrorCode& error) {
  return error == boost::system::errc::no_such_file_or_directory ||
         error == boost::system::errc::not_a_directory;
}

EntryKind kindOfMode(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::file;
  return S_ISDIR(mode) ? EntryKind::folder : EntryKind::other;
}

ErrorCode notAFile(mode_t mode) {
  return {S_ISDIR(mode) ? EISDIR : EINVAL, boost::system::system_category()};
}

// `missing` if the entry went away in the meantime.
EntryKind kindOfEntry(DIR* folder, const dirent& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return EntryKind::file;
    case DT_DIR:
      return EntryKind::folder;
    case DT_UNKNOWN: {
      struct stat status {};
      if (::fstatat(::dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return kindOfMode(status.st_mode);
      }
      return errno == ENOENT ? EntryKind::missing : EntryKind::other;
    }
    default:
      return EntryKind::other;
  }
}

// With a separator at its end the path would name what a link leads to, and not the link.
bool toNativePathOfEntry(const WideText& path, std::string& native, ErrorCode& error) {
  if (!toNativePath(path, native, error)) return false;
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  return true;
}

// Other volumes than FAT have no such attributes. A failure is no one's concern.
void changeFatAttributes(const std::string& native, __u32 cleared, __u32 set) {
  struct statfs volume {};
  if (::statfs(native.c_str(), &volume) != 0 || !isFat(volume)) return;
  const int descriptor = ::open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
  if (descriptor < 0) return;
  __u32 attributes = 0;
  if (::ioctl(descriptor, FAT_IOCTL_GET_ATTRIBUTES, &attributes) == 0) {
    __u32 changed = (attributes & ~cleared) | set;
    if (changed != attributes) ::ioctl(descriptor, FAT_IOCTL_SET_ATTRIBUTES, &changed);
  }
  ::close(descriptor);
}

// What a path leads to, held so that the system can't give its number to something else meanwhile.
class HeldEntry {
 public:
  HeldEntry() = default;
  ~HeldEntry() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  HeldEntry(const HeldEntry&) = delete;
  HeldEntry& operator=(const HeldEntry&) = delete;

  [[nodiscard]] bool hold(const WideText& path, ErrorCode& error) {
    std::string native;
    if (!toNativePath(path, native, error)) return false;
    descriptor_ = ::open(native.c_str(), O_PATH | O_CLOEXEC);
    return succeeded(descriptor_, error) && succeeded(::fstat(descriptor_, &status_), error);
  }
  [[nodiscard]] bool is(const HeldEntry& other) const {
    return status_.st_dev == other.status_.st_dev && status_.st_ino == other.status_.st_ino;
  }

 private:
  int descriptor_ = -1;
  struct stat status_ {};
};

}  // namespace

EntryKind LinuxFileSystem::kind(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (toNativePath(path, native, error) && succeeded(::stat(native.c_str(), &status), error)) {
    return kindOfMode(status.st_mode);
  }
  if (isAbsent(error)) error.clear();
  return EntryKind::missing;
}

bool LinuxFileSystem::isLink(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (toNativePathOfEntry(path, native, error) && succeeded(::lstat(native.c_str(), &status), error)) {
    return S_ISLNK(status.st_mode);
  }
  if (isAbsent(error)) error.clear();
  return false;
}

std::int64_t LinuxFileSystem::fileSize(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (!toNativePath(path, native, error) || !succeeded(::stat(native.c_str(), &status), error)) return -1;
  if (S_ISREG(status.st_mode)) return status.st_size;
  error = notAFile(status.st_mode);
  return -1;
}

bool LinuxFileSystem::space(const WideText& path, Space& space, ErrorCode& error) {
  std::string native;
  if (!toNativePath(path, native, error)) return false;
  const auto info = boost::filesystem::space(native, error);
  if (error) return false;
  space = {info.capacity, info.free, info.available};
  return true;
}

bool LinuxFileSystem::list(const WideText& folder, std::vector<FolderEntry>& entries, ErrorCode& error) {
  std::string native;
  if (!toNativePath(folder, native, error)) return false;
  const FolderStream stream(::opendir(native.c_str()));
  if (!succeeded(stream == nullptr ? -1 : 0, error)) return false;
  const std::size_t before = entries.size();
  while (true) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) {
      if (errno == 0) return true;
      error.assign(errno, boost::system::system_category());
      entries.resize(before);
      return false;
    }
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    const EntryKind kind = kindOfEntry(stream.get(), *entry);
    if (kind != EntryKind::missing) entries.push_back({fromNativePath(name), kind});
  }
}

std::unique_ptr<FileHandle> LinuxFileSystem::open(const WideText& path, OpenMode mode, ErrorCode& error) {
  std::string native;
  if (!toNativePath(path, native, error)) return nullptr;
  // Without O_NONBLOCK a pipe that lies there as a file would hold up the job for ever.
  int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  switch (mode) {
    case OpenMode::read:
      flags |= O_RDONLY;
      break;
    case OpenMode::truncate:
      flags |= O_RDWR | O_CREAT | O_TRUNC;
      break;
    case OpenMode::truncateEntry:
      flags |= O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;
      break;
    case OpenMode::createNew:
      flags |= O_RDWR | O_CREAT | O_EXCL;
      break;
    case OpenMode::append:
      flags |= O_RDWR | O_CREAT | O_APPEND;
      break;
    case OpenMode::update:
      flags |= O_RDWR;
      break;
  }
  const int descriptor = ::open(native.c_str(), flags, 0666);
  if (!succeeded(descriptor, error)) return nullptr;
  auto handle = std::make_unique<LinuxFileHandle>(descriptor);
  // Only opening a folder for writing fails by itself.
  struct stat status {};
  const bool mustBeFile = mode == OpenMode::read || mode == OpenMode::update;
  if (mustBeFile && ::fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode)) {
    error = notAFile(status.st_mode);
    return nullptr;
  }
  return handle;
}

bool LinuxFileSystem::createFolder(const WideText& path, ErrorCode& error) {
  std::string native;
  return toNativePath(path, native, error) && succeeded(::mkdir(native.c_str(), 0777), error);
}

bool LinuxFileSystem::rename(const WideText& from, const WideText& to, ErrorCode& error) {
  std::string nativeFrom;
  std::string nativeTo;
  return toNativePath(from, nativeFrom, error) && toNativePath(to, nativeTo, error) &&
         succeeded(::rename(nativeFrom.c_str(), nativeTo.c_str()), error);
}

bool LinuxFileSystem::removeFile(const WideText& path, ErrorCode& error) {
  std::string native;
  return toNativePathOfEntry(path, native, error) && succeeded(::unlink(native.c_str()), error);
}

bool LinuxFileSystem::removeFolder(const WideText& path, ErrorCode& error) {
  std::string native;
  return toNativePathOfEntry(path, native, error) && succeeded(::rmdir(native.c_str()), error);
}

bool LinuxFileSystem::clearReadOnlyAndHidden(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (!toNativePathOfEntry(path, native, error) || !succeeded(::lstat(native.c_str(), &status), error)) {
    return false;
  }
  // A link has no marks, and those of what it leads to don't stand in the way of its removal.
  if (S_ISLNK(status.st_mode)) return true;
  changeFatAttributes(native, ATTR_RO | ATTR_HIDDEN, 0);
  return (status.st_mode & S_IWUSR) != 0 ||
         succeeded(::chmod(native.c_str(), (status.st_mode & 07777) | S_IWUSR), error);
}

bool LinuxFileSystem::setHidden(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (!toNativePathOfEntry(path, native, error) || !succeeded(::lstat(native.c_str(), &status), error)) {
    return false;
  }
  if (!S_ISLNK(status.st_mode)) changeFatAttributes(native, 0, ATTR_HIDDEN);
  return true;
}

bool LinuxFileSystem::creationTime(const WideText& path, std::int64_t& secondsSinceEpoch, ErrorCode& error) {
  std::string native;
  struct statx status {};
  if (!toNativePath(path, native, error) ||
      !succeeded(::statx(AT_FDCWD, native.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BTIME | STATX_MTIME, &status),
                 error))
    return false;
  secondsSinceEpoch =
      (status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime.tv_sec : status.stx_mtime.tv_sec;
  return true;
}

bool LinuxFileSystem::setTimes(const WideText& path, std::int64_t secondsSinceEpoch, ErrorCode& error) {
  std::string native;
  if (!toNativePath(path, native, error)) return false;
  timespec times[2] = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = secondsSinceEpoch;
  return succeeded(::utimensat(AT_FDCWD, native.c_str(), times, 0), error);
}

bool LinuxFileSystem::syncVolume(const WideText& folder, ErrorCode& error) {
  std::string native;
  if (!toNativePath(folder, native, error)) return false;
  const int descriptor = ::open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (!succeeded(descriptor, error)) return false;
  const bool synced = succeeded(::syncfs(descriptor), error);
  ::close(descriptor);
  return synced;
}

bool LinuxFileSystem::areOnSameVolume(const WideText& left, const WideText& right, ErrorCode& error) {
  dev_t devices[2] = {};
  for (const auto& [folder, device] : {std::pair(&left, &devices[0]), std::pair(&right, &devices[1])}) {
    std::string native;
    struct ::stat status;
    if (!toNativePath(*folder, native, error) || !succeeded(::stat(native.c_str(), &status), error))
      return false;
    *device = status.st_dev;
  }
  return devices[0] == devices[1];
}

bool LinuxFileSystem::areSame(const WideText& left, const WideText& right, ErrorCode& error) {
  HeldEntry one;
  HeldEntry other;
  if (one.hold(left, error) && other.hold(right, error)) return one.is(other);
  if (isAbsent(error)) error.clear();
  return false;
}

WideText LinuxFileSystem::resolved(const WideText& path) {
  return absolutePath(path);
}

std::optional<FileIdentity> LinuxFileSystem::identity(const WideText& path, ErrorCode& error) {
  std::string native;
  struct stat status {};
  if (!toNativePath(path, native, error) || !succeeded(::stat(native.c_str(), &status), error)) return {};
  return FileIdentity{status.st_dev, status.st_ino};
}

bool LinuxFileSystem::syncFolder(const WideText& folder, ErrorCode& error) {
  std::string native;
  if (!toNativePath(folder, native, error)) return false;
  const int descriptor = ::open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (!succeeded(descriptor, error)) return false;
  // A FAT keeps a file's size and place in the folder's entry, and they are written with the file, not with
  // the folder: a renamed file would be an empty one for a while.
  struct statfs volume {};
  const bool isOnFat = ::fstatfs(descriptor, &volume) == 0 && isFat(volume);
  const bool synced = succeeded(isOnFat ? ::syncfs(descriptor) : ::fsync(descriptor), error);
  ::close(descriptor);
  // Some file systems write entries at once and know no such request.
  if (!synced && error == boost::system::errc::invalid_argument) error.clear();
  return !error;
}

}  // namespace ZelmoraTevra::platform
