#include "platform/linux/LinuxFileHandle.h"

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/linux/FatVolume.h"
#include "platform/linux/SystemCall.h"

namespace ZelmoraTevra::platform {

namespace {

bool fitsOffset(std::uint64_t position, ErrorCode& error) {
  if (position <= static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return true;
  error.assign(EINVAL, boost::system::system_category());
  return false;
}

}  // namespace

LinuxFileHandle::~LinuxFileHandle() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

std::int64_t LinuxFileHandle::read(void* buffer, std::size_t size, ErrorCode& error) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::read(descriptor_, static_cast<char*>(buffer) + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (!succeeded(count, error)) return -1;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  error.clear();
  return static_cast<std::int64_t>(done);
}

bool LinuxFileHandle::write(const void* data, std::size_t size, ErrorCode& error) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::write(descriptor_, static_cast<const char*>(data) + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (!succeeded(count, error)) return false;
    if (count == 0) {
      error.assign(EIO, boost::system::system_category());
      return false;
    }
    done += static_cast<std::size_t>(count);
  }
  error.clear();
  return true;
}

std::optional<std::int64_t> LinuxFileHandle::writeFrom(FileHandle& source, std::size_t size,
                                                       ErrorCode& error) {
  auto* const from = dynamic_cast<LinuxFileHandle*>(&source);
  if (from == nullptr) return std::nullopt;
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = ::sendfile(descriptor_, from->descriptor_, nullptr, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && done == 0 && (errno == EINVAL || errno == ENOSYS)) return std::nullopt;
    if (!succeeded(count, error)) return -1;
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  error.clear();
  return static_cast<std::int64_t>(done);
}

bool LinuxFileHandle::seek(std::uint64_t position, ErrorCode& error) {
  return fitsOffset(position, error) &&
         succeeded(::lseek(descriptor_, static_cast<off_t>(position), SEEK_SET), error);
}

std::int64_t LinuxFileHandle::size(ErrorCode& error) {
  struct stat status {};
  return succeeded(::fstat(descriptor_, &status), error) ? status.st_size : -1;
}

bool LinuxFileHandle::truncate(std::uint64_t size, ErrorCode& error) {
  return fitsOffset(size, error) && succeeded(::ftruncate(descriptor_, static_cast<off_t>(size)), error);
}

bool LinuxFileHandle::flush(ErrorCode& error) {
  // A device's volume is slow and may be pulled out, so that what was written shall reach it steadily. A
  // computer's own disk takes it best at the time that the kernel chooses.
  struct statfs volume {};
  if (!succeeded(::fstatfs(descriptor_, &volume), error)) return false;
  return !isFat(volume) || succeeded(::sync_file_range(descriptor_, 0, 0, SYNC_FILE_RANGE_WRITE), error);
}

bool LinuxFileHandle::sync(ErrorCode& error) {
  return succeeded(::fsync(descriptor_), error);
}

void LinuxFileHandle::forgetCached() {
  ::posix_fadvise(descriptor_, 0, 0, POSIX_FADV_DONTNEED);
}

bool LinuxFileHandle::close(ErrorCode& error) {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  // After EINTR the descriptor is closed all the same, and nothing was lost.
  if (::close(descriptor) < 0 && errno != EINTR) return succeeded(-1, error);
  error.clear();
  return true;
}

}  // namespace ZelmoraTevra::platform
