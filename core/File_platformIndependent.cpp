#include "core/File_platformIndependent.h"

#include <cstdio>
#include <ctime>
#include <utility>

#include "core/BackendLogger.h"
#include "core/Directory_new.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

using platform::EntryKind;
using platform::ErrorCode;
using platform::OpenMode;

platform::FileSystem& disk() {
  return *platform::machine().files;
}

bool tellsMissing(const ErrorCode& error) {
  return error == boost::system::errc::no_such_file_or_directory ||
         error == boost::system::errc::not_a_directory;
}

}  // namespace

File_platformIndependent::File_platformIndependent(WideText path, bool normalise)
    : path_(normalise ? toBackslashes(std::move(path)) : std::move(path)) {}

bool File_platformIndependent::exists() const {
  ErrorCode error;
  const EntryKind kind = disk().kind(path_, error);
  if (error) writeLog(u"FILE: Exception when try to check if file exists " + path_);
  return kind == EntryKind::file;
}

bool File_platformIndependent::isCertainlyMissing() const {
  ErrorCode error;
  return disk().kind(path_, error) == EntryKind::missing && !error;
}

std::int64_t File_platformIndependent::size() const {
  ErrorCode error;
  const std::int64_t bytes = disk().fileSize(path_, error);
  if (!error) return bytes;
  if (!tellsMissing(error) && exists()) writeLog(u"FILE: exception when try to get size of " + path_);
  return -1;
}

WideText File_platformIndependent::creationDate() const {
  ErrorCode error;
  std::int64_t seconds = 0;
  if (!disk().creationTime(path_, seconds, error)) return {};
  const std::tm made = platform::machine().clock->localTimeAt(seconds);
  char text[40];
  const int length =
      std::snprintf(text, sizeof text, "%.2i-%.2i-%.2i", made.tm_year + 1900, made.tm_mon + 1, made.tm_mday);
  return {text, text + length};
}

bool File_platformIndependent::isSameAs(const WideText& other) const {
  ErrorCode error;
  return disk().areSame(path_, other, error);
}

std::optional<platform::FileIdentity> File_platformIndependent::identity() const {
  ErrorCode error;
  return disk().identity(path_, error);
}

bool File_platformIndependent::create() {
  const WideText parent = parentFolder(path_);
  ErrorCode error;
  if (!parent.empty() && disk().kind(parent, error) != EntryKind::folder) disk().createFolder(parent, error);
  handle_ = disk().open(path_, OpenMode::truncate, error);
  if (error) writeLog(u"FILE: exception when try to create " + path_);
  return handle_ != nullptr;
}

bool File_platformIndependent::open() {
  ErrorCode error;
  handle_ = disk().open(path_, OpenMode::read, error);
  if (handle_) return true;
  // A drive that gives no answer is told of in the log, where a missing file is not.
  if (!tellsMissing(error)) static_cast<void>(exists());
  return false;
}

bool File_platformIndependent::openForWriting(OpenMode mode) {
  ErrorCode error;
  handle_ = disk().open(path_, mode, error);
  return handle_ != nullptr;
}

bool File_platformIndependent::close() {
  const bool closed = finish();
  return exists() && closed;
}

std::int64_t File_platformIndependent::read(void* buffer, std::size_t size, std::int64_t& count) {
  count = -1;
  if (!handle_) return count;
  ErrorCode error;
  const std::int64_t bytes = handle_->read(buffer, size, error);
  count = bytes < 0 ? 0 : bytes;
  if (count > 0) return count;
  return error ? 0 : 1;
}

std::int64_t File_platformIndependent::write(const void* data, std::size_t size) {
  if (!handle_) return -1;
  ErrorCode error;
  return handle_->write(data, size, error) ? static_cast<std::int64_t>(size) : 0;
}

std::optional<std::int64_t> File_platformIndependent::writeFrom(File_platformIndependent& source,
                                                                std::size_t size) {
  if (!handle_ || !source.handle_) return -1;
  ErrorCode error;
  return handle_->writeFrom(*source.handle_, size, error);
}

std::int64_t File_platformIndependent::openSize() const {
  ErrorCode error;
  return handle_ ? handle_->size(error) : -1;
}

bool File_platformIndependent::seek(std::uint64_t position) {
  ErrorCode error;
  return handle_ && handle_->seek(position, error);
}

void File_platformIndependent::forgetCached() {
  if (handle_) handle_->forgetCached();
}

bool File_platformIndependent::flush() {
  ErrorCode error;
  return handle_ && handle_->flush(error);
}

bool File_platformIndependent::sync() {
  ErrorCode error;
  return handle_ && handle_->sync(error);
}

bool File_platformIndependent::finish() {
  if (!handle_) return false;
  ErrorCode error;
  const bool closed = handle_->close(error);
  handle_.reset();
  return closed;
}

bool File_platformIndependent::remove() {
  if (!exists()) return false;
  clearMarks();
  ErrorCode error;
  const bool removed = disk().removeFile(path_, error);
  if (!removed) writeLog(u"FILE: exception when try to delete " + path_);
  return removed;
}

void File_platformIndependent::clearMarks() {
  ErrorCode error;
  disk().clearReadOnlyAndHidden(path_, error);
}

bool File_platformIndependent::renameTo(const WideText& destination) {
  ErrorCode error;
  return disk().rename(path_, destination, error);
}

bool File_platformIndependent::setTimes(std::int64_t secondsSinceEpoch) {
  ErrorCode error;
  return disk().setTimes(path_, secondsSinceEpoch, error);
}

}  // namespace ZelmoraTevra
