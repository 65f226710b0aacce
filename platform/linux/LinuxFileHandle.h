#pragma once

#include "platform/FileSystem.h"

namespace ZelmoraTevra::platform {

// Owns a file descriptor.
class LinuxFileHandle : public FileHandle {
 public:
  explicit LinuxFileHandle(int descriptor) : descriptor_(descriptor) {}
  ~LinuxFileHandle() override;
  LinuxFileHandle(const LinuxFileHandle&) = delete;
  LinuxFileHandle& operator=(const LinuxFileHandle&) = delete;

  std::int64_t read(void* buffer, std::size_t size, ErrorCode& error) override;
  bool write(const void* data, std::size_t size, ErrorCode& error) override;
  std::optional<std::int64_t> writeFrom(FileHandle& source, std::size_t size, ErrorCode& error) override;
  bool seek(std::uint64_t position, ErrorCode& error) override;
  std::int64_t size(ErrorCode& error) override;
  bool truncate(std::uint64_t size, ErrorCode& error) override;
  bool flush(ErrorCode& error) override;
  bool sync(ErrorCode& error) override;
  void forgetCached() override;
  bool close(ErrorCode& error) override;

 private:
  int descriptor_;
};

}  // namespace ZelmoraTevra::platform
