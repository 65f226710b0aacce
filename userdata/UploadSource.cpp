#include "userdata/UploadSource.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace ZelmoraTevra {

UploadSource::UploadSource(WideText path) : file_(std::move(path)) {}

bool UploadSource::open() {
  if (!file_.open()) return false;
  size_ = file_.openSize();
  left_ = size_;
  return size_ >= 0;
}

bool UploadSource::isExhausted() const {
  return left_ == 0 && file_.openSize() == size_;
}

std::size_t UploadSource::read(char* buffer, std::size_t size, std::size_t count, void* source) {
  auto& self = *static_cast<UploadSource*>(source);
  const auto wanted =
      static_cast<std::size_t>(std::min(std::uint64_t{size} * count, static_cast<std::uint64_t>(self.left_)));
  if (wanted == 0) return 0;
  std::int64_t bytes = 0;
  self.file_.read(buffer, wanted, bytes);
  if (bytes <= 0) return CURL_READFUNC_ABORT;
  self.left_ -= bytes;
  return static_cast<std::size_t>(bytes);
}

int UploadSource::seek(void* source, std::int64_t offset, int origin) {
  auto& self = *static_cast<UploadSource*>(source);
  if (origin != SEEK_SET || offset < 0 || offset > self.size_) return CURL_SEEKFUNC_FAIL;
  if (!self.file_.seek(static_cast<std::uint64_t>(offset))) return CURL_SEEKFUNC_FAIL;
  self.left_ = self.size_ - offset;
  return CURL_SEEKFUNC_OK;
}

}  // namespace ZelmoraTevra
