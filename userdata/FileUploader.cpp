#include "userdata/FileUploader.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

#include "core/BackendLogger.h"
#include "core/File_platformIndependent.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "platform/Machine.h"
#include "userdata/UploadSource.h"

namespace ZelmoraTevra {

namespace {

constexpr const char* protocols = "http,https";
constexpr std::size_t maximalAnswerBytes = 1 << 20;
constexpr long patienceSeconds = 300;  // without a byte in either direction

// Of an answer without end no more is taken; `left` are the bytes that still may come.
std::size_t throwAway(char*, std::size_t size, std::size_t count, void* left) {
  auto& bytesLeft = *static_cast<std::size_t*>(left);
  const std::size_t bytes = size * count;
  if (bytes > bytesLeft) return 0;
  bytesLeft -= bytes;
  return bytes;
}

// One spelling for the paths that are the same as a text: "\" alone as separator, no empty component, no ".".
WideText inOneSpelling(const WideText& path) {
  const WideText text = toBackslashes(path);
  // What leads in front of a path stays: two separators may name a computer.
  const std::size_t start = std::min(text.find_first_not_of(u'\\'), text.size());
  WideText plain = text.substr(0, start);
  for (const WideText& name : split(WideView(text).substr(start), u'\\')) {
    if (name.empty() || name == u".") continue;
    if (plain.size() > start) plain += u'\\';
    plain += name;
  }
  return plain;
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

std::string targetOf(const UploadEntry& entry) {
  return toReadableUtf8(entry.url) + '/' + uniquePrefix() + "__" +
         percentEncoded(toReadableUtf8(lastComponent(entry.path)));
}

}  // namespace

FileUploader::~FileUploader() {
  entries_.clear();
  handle_.reset();
  if (curl_ != nullptr) curl_->globalCleanup();
}

int FileUploader::initialise(const WideText& baseUrl) {
  if (initialised_) return -1;
  if (baseUrl.empty() || testUrl(baseUrl) != 0) return 1;
  handle_ = newHandle();
  if (handle_ == nullptr) return 1;
  baseUrl_ = baseUrl;
  initialised_ = true;
  return 0;
}

int FileUploader::addFile(const WideText& path, const WideText& doNotDelete, const WideText& ownUrl) {
  if (!initialised_) return 1;
  if (path.empty() || File_platformIndependent(path).size() < 0) return -1;
  const WideText key = inOneSpelling(path);
  if (isKnown(key)) return 0;
  const bool goesElsewhere = !ownUrl.empty() && testUrl(ownUrl) == 0;
  entries_.emplace(key, UploadEntry{path, doNotDelete, goesElsewhere ? ownUrl : baseUrl_});
  keysByAnyCase_.emplace(comparablePath(key), key);
  return 0;
}

// A device may take two spellings for one file. Sent twice, it would be gone at the second time; and the
// first one says whether it may be deleted.
bool FileUploader::isKnown(const WideText& key) const {
  if (entries_.contains(key)) return true;
  const auto [first, last] = keysByAnyCase_.equal_range(comparablePath(key));
  const File_platformIndependent file(key);
  return std::any_of(first, last, [&](const auto& known) { return file.isSameAs(known.second); });
}

int FileUploader::uploadAll() {
  if (!initialised_) return 1;
  for (const auto& [key, entry] : entries_) {
    const CURLcode result = upload(entry);
    if (result != CURLE_OK) {
      writeLog(u"Fail to upload " + entry.path + u": " + toReadableWide(curl_->easyStrerror(result)));
      return result;
    }
    if (entry.doNotDelete == u"0") File_platformIndependent(entry.path).remove();
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
  if (library == nullptr || library->globalInit(CURL_GLOBAL_ALL) != CURLE_OK) {
    writeLog(u"The library for uploads is missing!");
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
  if (result == CURLE_OK) result = set(handle, CURLOPT_LOW_SPEED_TIME, patienceSeconds);
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

}  // namespace ZelmoraTevra
