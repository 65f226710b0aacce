#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/CurlLibrary.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// A file that goes up.
struct UploadEntry {
  WideText path;         // in full
  WideText doNotDelete;  // exactly "0": the file is deleted when the server has it
  WideText url;          // the base of its target
};

// Sends files to a server with one HTTP PUT each, under names that no other upload has. Reports nothing: the
// log tells what failed. What the server answers is thrown away. Only "http" and "https" are spoken, whatever
// a URL says: with other protocols it could make the program write on this computer.
class FileUploader {
 public:
  // A PUT fails when no byte has come or gone for so long.
  explicit FileUploader(long patienceSeconds = 300);
  ~FileUploader();
  FileUploader(const FileUploader&) = delete;
  FileUploader& operator=(const FileUploader&) = delete;

  // Asks the server whether it is there. 0, 1 on any failure, -1 if it has succeeded before. A URL with a
  // query or a fragment is a failure: no name can be put behind it.
  int initialise(const WideText& baseUrl);
  // 0; -1 if the path is no file; 1 when not initialised. With an own URL the file goes there, if that one
  // answers. A file that was added before, be it under another spelling of its path, stays as it was, but one
  // that is to be kept by any of its marks is kept.
  int addFile(const WideText& path, const WideText& doNotDelete, const WideText& ownUrl = {});
  // Sends all files in the order of their paths and deletes those that may be deleted, each as soon as the
  // server has taken it. The first failure ends it: that file and those behind it stay. 0, the failure as a
  // number of libcurl's, or 1 when not initialised.
  int uploadAll();
  // 0 if a server answers there, whatever it says, else -1.
  int testUrl(const WideText& url);

 private:
  using Handle = std::unique_ptr<CURL, decltype(&::curl_easy_cleanup)>;

  [[nodiscard]] bool prepareLibrary();
  [[nodiscard]] Handle newHandle() const;
  // What every request needs. Nothing may be left out of it, so a failure is that of the request. So many
  // bytes of the answer are taken and thrown away; the number is counted down.
  [[nodiscard]] CURLcode prepareRequest(CURL* handle, const std::string& url, std::size_t& answerBytes) const;
  [[nodiscard]] CURLcode askForAnswer(CURL* handle, const std::string& url) const;
  [[nodiscard]] CURLcode upload(const UploadEntry& entry);
  [[nodiscard]] bool wasStored(std::int64_t size);
  [[nodiscard]] WideText failureText(CURLcode result) const;

  const long patienceSeconds_;
  const platform::CurlLibrary* curl_ = nullptr;
  Handle handle_{nullptr, nullptr};
  bool initialised_ = false;
  WideText baseUrl_;
  std::map<WideText, UploadEntry> entries_;  // by the path, with "/" as separator
  // Of the entries. A device may take two spellings for one file: sent twice, it would be gone at the second
  // time, and one that is to be kept could be deleted under its other name.
  std::map<platform::FileIdentity, WideText> keys_;
};

}  // namespace ZelmoraTevra
