#include "userdata/FileUploader.h"

#include <optional>
#include <random>
#include <string_view>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"
#include "userdata/UploadSource.h"

namespace ZelmoraTevra {

namespace {

constexpr const char* protocols = "http,https";
constexpr std::size_t maximalAnswerBytes = 1 << 20;

// Of an answer without end no more is taken; `left` are the bytes that still may come.
std::size_t throwAway(char*, std::size_t size, std::size_t count, void* left) {
  auto& bytesLeft = *static_cast<std::size_t*>(left);
  const std::size_t bytes = size * count;
  if (bytes > bytesLeft) return 0;
  bytesLeft -= bytes;
  return bytes;
}

// The name of each file is put behind it, so it must end with its path.
bool canBeExtended(const WideText& url) {
  return url.find_first_of(u"?#") == WideText::npos;
}

bool isUnreserved(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
         byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char byte : text) {
    if (isUnreserved(byte)) {
      encoded += byte;
      continue;
    }
    const auto value = static_cast<unsigned char>(byte);
    encoded += {'%', digits[value / 16], digits[value % 16]};
  }
  return encoded;
}

// The random number is a real one: many computers upload, and each may have just been started.
std::string uniquePrefix() {
  constexpr std::uint32_t maximalRandom = 0x7FFFFFFF;
  return std::to_string(platform::machine().clock->tickMilliseconds()) +
         std::to_string(std::random_device{}() & maximalRandom);
}

bool mayBeDeleted(const UploadEntry& entry) {
  return entry.doNotDelete == u"0";
}

std::string targetOf(const UploadEntry& entry) {
  return toReadableUtf8(entry.url) + '/' + uniquePrefix() + "__" +
         percentEncoded(toReadableUtf8(lastComponent(entry.path)));
}

}  // namespace

FileUploader::FileUploader(long patienceSeconds) : patienceSeconds_(patienceSeconds) {}

FileUploader::~FileUploader() {
  keys_.clear();
  entries_.clear();
  handle_.reset();
  if (curl_ != nullptr) curl_->globalCleanup();
}

int FileUploader::initialise(const WideText& baseUrl) {
  if (initialised_) return -1;
  if (baseUrl.empty()) return 1;
  if (!canBeExtended(baseUrl)) {
    writeLog(u"The URL for uploads has a query or a fragment!");
    return 1;
  }
  if (testUrl(baseUrl) != 0) return 1;
  handle_ = newHandle();
  if (handle_ == nullptr) return 1;
  baseUrl_ = baseUrl;
  initialised_ = true;
  return 0;
}

int FileUploader::addFile(const WideText& path, const WideText& doNotDelete, const WideText& ownUrl) {
  if (!initialised_) return 1;
  if (path.empty()) return -1;
  const File_platformIndependent file(path);
  const std::optional<platform::FileIdentity> identity = file.identity();
  if (!identity || file.size() < 0) return -1;
  const WideText& key = keys_.emplace(*identity, toForwardSlashes(path)).first->second;
  const auto [entry, isNew] = entries_.emplace(key, UploadEntry{path, doNotDelete, baseUrl_});
  if (isNew) {
    if (!ownUrl.empty() && canBeExtended(ownUrl) && testUrl(ownUrl) == 0) entry->second.url = ownUrl;
  } else if (mayBeDeleted(entry->second)) {
    entry->second.doNotDelete = doNotDelete;
  }
  return 0;
}

int FileUploader::uploadAll() {
  if (!initialised_) return 1;
  for (const auto& [key, entry] : entries_) {
    const CURLcode result = upload(entry);
    if (result != CURLE_OK) {
      writeLog(u"Fail to upload " + entry.path + u": " + failureText(result));
      return result;
    }
    if (mayBeDeleted(entry)) File_platformIndependent(entry.path).remove();
  }
  return 0;
}

int FileUploader::testUrl(const WideText& url) {
  if (!prepareLibrary()) return -1;
  const Handle handle = newHandle();
  if (handle == nullptr) return -1;
  const CURLcode result = askForAnswer(handle.get(), toReadableUtf8(url));
  if (result == CURLE_OK) return 0;
  // Not the URL: it may hold a password.
  writeLog(u"The server for uploads doesn't answer: " + toReadableWide(curl_->easyStrerror(result)));
  return -1;
}

bool FileUploader::prepareLibrary() {
  if (curl_ != nullptr) return true;
  const platform::CurlLibrary* const library = platform::curlLibrary();
  if (library == nullptr) {
    writeLog(u"The library for uploads is missing!");
    return false;
  }
  const CURLcode result = library->globalInit(CURL_GLOBAL_ALL);
  if (result != CURLE_OK) {
    writeLog(u"The library for uploads doesn't start: " + toReadableWide(library->easyStrerror(result)));
    return false;
  }
  curl_ = library;
  return true;
}

FileUploader::Handle FileUploader::newHandle() const {
  return {curl_->easyInit(), curl_->easyCleanup};
}

CURLcode FileUploader::prepareRequest(CURL* handle, const std::string& url, std::size_t& answerBytes) const {
  const auto set = curl_->easySetopt;
  CURLcode result = set(handle, CURLOPT_URL, url.c_str());
  if (result == CURLE_OK) result = set(handle, CURLOPT_PROTOCOLS_STR, protocols);
  if (result == CURLE_OK) result = set(handle, CURLOPT_NOSIGNAL, 1L);
  // A server that has gone without a word is noticed.
  if (result == CURLE_OK) result = set(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_WRITEFUNCTION, &throwAway);
  if (result == CURLE_OK) result = set(handle, CURLOPT_WRITEDATA, &answerBytes);
  return result;
}

CURLcode FileUploader::askForAnswer(CURL* handle, const std::string& url) const {
  const auto set = curl_->easySetopt;
  std::size_t answerBytes = maximalAnswerBytes;
  CURLcode result = prepareRequest(handle, url, answerBytes);
  if (result == CURLE_OK) result = set(handle, CURLOPT_HEADER, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_NOBODY, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_FOLLOWLOCATION, 0L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_MAXREDIRS, 10L);
  return result == CURLE_OK ? curl_->easyPerform(handle) : result;
}

CURLcode FileUploader::upload(const UploadEntry& entry) {
  UploadSource source(entry.path);
  if (!source.open()) return CURLE_READ_ERROR;
  const auto set = curl_->easySetopt;
  CURL* const handle = handle_.get();
  std::size_t answerBytes = maximalAnswerBytes;
  CURLcode result = prepareRequest(handle, targetOf(entry), answerBytes);
  if (result == CURLE_OK) result = set(handle, CURLOPT_READFUNCTION, &UploadSource::read);
  if (result == CURLE_OK) result = set(handle, CURLOPT_READDATA, &source);
  if (result == CURLE_OK) result = set(handle, CURLOPT_SEEKFUNCTION, &UploadSource::seek);
  if (result == CURLE_OK) result = set(handle, CURLOPT_SEEKDATA, &source);
  if (result == CURLE_OK) result = set(handle, CURLOPT_UPLOAD, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_FAILONERROR, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
  if (result == CURLE_OK) result = set(handle, CURLOPT_LOW_SPEED_TIME, patienceSeconds_);
  if (result == CURLE_OK)
    result = set(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(source.size()));
  if (result == CURLE_OK) result = curl_->easyPerform(handle);
  if (result == CURLE_OK && !source.isExhausted()) result = CURLE_READ_ERROR;
  if (result == CURLE_OK && !wasStored(source.size())) result = CURLE_HTTP_RETURNED_ERROR;
  return result;
}

// A redirection isn't followed and no error to libcurl, and a server may answer before everything is sent.
// The device's copy may be the only one: it goes only when the server says that it has the whole file.
bool FileUploader::wasStored(std::int64_t size) {
  long status = 0;
  curl_off_t sent = -1;
  return curl_->easyGetinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) == CURLE_OK &&
         curl_->easyGetinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &sent) == CURLE_OK && status / 100 == 2 &&
         sent == size;
}

// Behind an answer that is no success the server's own code tells more than the library's text.
WideText FileUploader::failureText(CURLcode result) const {
  const WideText text = toReadableWide(curl_->easyStrerror(result));
  long status = 0;
  if (result != CURLE_HTTP_RETURNED_ERROR ||
      curl_->easyGetinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status) != CURLE_OK)
    return text;
  return text + u" (HTTP " + numberText(status) + u")";
}

}  // namespace ZelmoraTevra
