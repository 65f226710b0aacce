#pragma once

#include <cstddef>
#include <cstdint>

#include "core/File_platformIndependent.h"

namespace ZelmoraTevra {

// A file as an upload reads it, block by block. What can't be read to the end that the file had when it was
// opened breaks the upload off: half a file must not count as sent.
class UploadSource {
 public:
  explicit UploadSource(WideText path);

  [[nodiscard]] bool open();
  // Bytes, at the opening.
  [[nodiscard]] std::int64_t size() const { return size_; }
  // Whether everything was read and the file hasn't grown meanwhile.
  [[nodiscard]] bool isExhausted() const;

  // For libcurl, whose types these are; `source` is the UploadSource. The second one is asked for when a
  // request has to begin anew.
  static std::size_t read(char* buffer, std::size_t size, std::size_t count, void* source);
  static int seek(void* source, std::int64_t offset, int origin);

 private:
  File_platformIndependent file_;
  std::int64_t size_ = 0;
  std::int64_t left_ = 0;
};

}  // namespace ZelmoraTevra
