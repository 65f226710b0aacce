#include "install/HttpUpdateZipDownloader.h"

#include <algorithm>
#include <boost/system/system_error.hpp>
#include <exception>
#include <string>
#include <string_view>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/ProcessEnd.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/CheckFile.h"
#include "install/CompanionFile.h"
#include "install/HttpConnection.h"
#include "install/ProxyConnect.h"
#include "install/ReadingLimit.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::int32_t maximalRetries = 3;
constexpr std::uint32_t retryMilliseconds = 1000;
constexpr std::size_t chunksPerParentCheck = 100;

// What the work folder holds of a job's file.
struct Remains {
  bool complete = false;
  platform::OpenMode mode = platform::OpenMode::truncate;
  std::int64_t offset = 0;
};

// The name of a part is known beforehand: what others have put there is no part. A link makes way, so that no
// file elsewhere is written; false for what is neither file nor folder.
bool makeWayForPart(const WideText& workingPath) {
  platform::FileSystem& disk = *platform::machine().files;
  platform::ErrorCode error;
  if (isLinkAt(workingPath)) disk.removeFile(workingPath, error);
  return !isLinkAt(workingPath) && disk.kind(workingPath, error) != platform::EntryKind::other;
}

Remains examineRemains(const WideText& workingPath, const UpdateDownloadJob& job) {
  const File_platformIndependent file(workingPath);
  if (!file.exists()) return {false, platform::OpenMode::append, 0};
  if (checkSize(workingPath, job.fileSize)) {
    if (checkFile(workingPath, job.fileSize, job.md5)) return {true};
    writeLog(u"File as big as suppose to be, MD5 not agree, truncate it! " + workingPath);
    return {};
  }
  const std::int64_t openedSize = sizeOfOpenedFile(workingPath);
  const std::int64_t size = file.size();
  const bool sizesMatch = size >= 0 && size == openedSize;
  if (!sizesMatch) {
    writeLog(u"File size not match on computations!");
    writeLog(u"Boost size: " + numberText(openedSize));
    writeLog(u"Local computed size: " + numberText(size));
  }
  if (sizesMatch && openedSize <= job.fileSize && companionMatches(workingPath + u".xml", job.md5))
    return {false, platform::OpenMode::append, openedSize};
  return {};
}

// A file and the document that belongs to it.
void removeWithXml(const WideText& path) {
  if (path.empty()) return;
  File_platformIndependent(path).remove();
  File_platformIndependent(path + u".xml").remove();
}

bool renameFile(const WideText& from, const WideText& to) {
  File_platformIndependent(to).remove();
  if (File_platformIndependent(from).renameTo(to)) return true;
  writeLog(u"Downloader: rename from " + from + u" to " + to + u" fail!");
  return false;
}

WideText accessDeniedText() {
  constexpr int accessDenied = 5;
  return widenBytes(boost::system::error_code(accessDenied, boost::system::system_category()).message());
}

std::string userAgent() {
  constexpr std::size_t maximalLength = 1024;
  const WideText key = u"SOFTWARE\\ZELMORA\\ZELMORA tevra";
  platform::Registry& registry = *platform::machine().registry;
  std::string agent = toReadableUtf8(registry.text(key, u"Product").substr(0, maximalLength)) + '/' +
                      toReadableUtf8(registry.text(key, u"Version").substr(0, maximalLength));
  std::replace(agent.begin(), agent.end(), ' ', '-');
  return agent;
}

// The request line is in absolute form also without a proxy.
std::string getRequest(const std::string& host, const HttpUrlParts& url, std::int64_t offset) {
  return "GET http://" + host + toUtf8(url.pathWithQuery) + " HTTP/1.1\r\n" +  //
         "Host: " + host + "\r\n" +                                            //
         "User-Agent: " + userAgent() + "\r\n" +                               //
         "Range: bytes=" + std::to_string(offset) + "-\r\n" +                  //
         "Connection: close\r\n\r\n";
}

}  // namespace

struct HttpUpdateZipDownloader::Proxy {
  std::string host;  // empty: there is no proxy
  std::string port;
  std::string user;
  std::string password;
};

std::int32_t HttpUpdateZipDownloader::downloadRetryCount = 0;

WideText downloadedFilePath(const WideText& url) {
  const WideText name = fileNameOfUrl(splitUrl(url));
  if (name.empty() || StatusXml::instance().isFrontEndsName(name)) return {};
  return workTempFolder + u'\\' + name;
}

HttpUpdateZipDownloader::~HttpUpdateZipDownloader() {
  downloadRetryCount = 0;
  for (const WideText& path : downloadedFiles_) {
    if (File_platformIndependent(path).exists()) removeWithXml(path);
  }
}

std::unique_ptr<IUpdateZipDownloader> HttpUpdateZipDownloader::clone() const {
  return std::unique_ptr<IUpdateZipDownloader>(new HttpUpdateZipDownloader(*this));
}

bool HttpUpdateZipDownloader::download(const UpdateDownloadJob& job, ProgressObserver* observer,
                                       bool replacePrevious, const char* proxyHost, const char* proxyPort,
                                       const char* proxyUser, const char* proxyPassword) {
  const WideText finalPath = downloadedFilePath(job.url);
  const WideText previousPath = replacePrevious ? downloadedFilePath(job.previousUrl) : WideText();
  if (checkFile(finalPath, job.fileSize, job.md5)) {
    removeLater(previousPath, finalPath);
    return true;
  }
  removeWithXml(previousPath);

  const HttpUrlParts url = splitUrl(job.url);
  if (!isValidHttpUrl(url) || finalPath.empty()) {
    report(job, ErrorReport(1138, u"Invalid http path."));
    return false;
  }

  const WideText workingPath = finalPath + u"_INCOMPLETE";
  const bool hasPlace = makeWayForPart(workingPath);
  const Remains remains = hasPlace ? examineRemains(workingPath, job) : Remains{};
  if (remains.complete) {
    if (renameFile(workingPath, finalPath)) {
      removeLater(previousPath, finalPath);
      return true;
    }
    writeLog(u"File OK! But could not rename " + workingPath + u". File will be deleted!");
    removeWithXml(workingPath);
    report(job, ErrorReport(1139, accessDeniedText()).attribute(u"FILE", toForwardSlashes(workingPath)));
    return false;
  }

  File_platformIndependent output(workingPath, false);  // its path as it is goes into reports
  if (!hasPlace || !output.openForWriting(remains.mode)) {
    report(job, ErrorReport(1140, u"Error while trying to open the output file."));
    return false;
  }
  companionWrite(workingPath + u".xml", job.md5);

  received_.reset();
  receivedBytes_ = 0;
  try {
    const auto text = [](const char* value) { return std::string(value != nullptr ? value : ""); };
    const Proxy proxy{text(proxyHost), text(proxyPort), text(proxyUser), text(proxyPassword)};
    ProgressObserver unloaded;  // reports an abort, and nothing else
    if (!fetch(job, url, proxy, remains.offset, output, observer != nullptr ? *observer : unloaded))
      return false;
  } catch (const boost::system::system_error& error) {
    output.abandon();
    const WideText text = widenBytes(error.what());
    report(job, HttpConnection::isServiceNotFound(error.code())
                    ? ErrorReport(1143, text).state(statConnectionLost).percent(118)
                    : ErrorReport(1144, text).state(statConnectionLost));
    return false;
  } catch (const std::exception& error) {
    output.abandon();
    report(job, ErrorReport(1169, widenBytes(error.what())).state(statConnectionLost));
    return false;
  }
  // A disk may tell only now that it could not keep what was written.
  if (!output.finish()) failOnDisk(job, workingPath);

  if (isWhole(workingPath, job)) {
    if (renameFile(workingPath, finalPath)) {
      removeLater(previousPath, finalPath);
      return true;
    }
    writeLog(u"File downloaded OK but fail to rename it! File will be removed!" + workingPath);
    removeWithXml(workingPath);
    report(job, ErrorReport(1145, accessDeniedText())
                    .state(statConnectionLost)
                    .attribute(u"FILE", toForwardSlashes(workingPath)));
    return false;
  }
  if (checkSize(workingPath, job.fileSize)) {
    // The file stays: the next run finds its MD5 wrong and begins it anew.
    report(job, ErrorReport(1146, finalPath).state(statConnectionLost).percent(108));
    return false;
  }

  writeLog(
      u"Download was not successful. The file size is not the one we expect. Try to resume the download.");
  if (downloadRetryCount < maximalRetries) {
    ++downloadRetryCount;
    platform::machine().clock->sleepMilliseconds(retryMilliseconds);
    return download(job, observer, false, proxyHost, proxyPort, proxyUser, proxyPassword);
  }
  removeWithXml(workingPath);
  report(job,
         ErrorReport(1170, finalPath)
             .state(statConnectionLost)
             .percent(108)
             .description(u"We tried a lot of times but did not manage to download the file completely."));
  return false;
}

bool HttpUpdateZipDownloader::fetch(const UpdateDownloadJob& job, const HttpUrlParts& url, const Proxy& proxy,
                                    std::int64_t offset, File_platformIndependent& output,
                                    ProgressObserver& observer) {
  const std::string host = toUtf8(url.host);
  const std::string port = "80";
  const bool useProxy = !proxy.host.empty();
  HttpConnection connection(useProxy ? proxy.host : host,
                            useProxy && !proxy.port.empty() ? proxy.port : port);
  if (useProxy && !proxy.user.empty() && !proxy.password.empty() &&
      !proxyConnect(connection, host, port, proxy.user, proxy.password, downloadOffset_))
    return false;

  connection.send(getRequest(host, url, offset));
  const HttpStatusLine status = connection.readStatusLine();
  const bool good = status.code == 200 || status.code == 206;
  if (!status.usable || !good) {
    output.abandon();
    report(job, ErrorReport(!status.usable ? 1141 : 1142, numberText(status.code))
                    .state(statConnectionLost)
                    .percent(103)
                    .description(downloadedFilePath(job.url)));
    return false;
  }
  connection.readHeaders();

  // A whole reply to a request for a part is appended like a part: the file's size then tells.
  append(job, connection.received(), output);
  std::uint64_t position = static_cast<std::uint64_t>(offset) + connection.received().size();
  connection.dropReceived();
  StatusXml& front = StatusXml::instance();
  ReadingLimit limit(workTempFolder, job.fileSize);
  for (std::size_t chunks = 0;;) {
    if (*front.abortRequested()) {
      output.abandon();
      writeLog(u"Abort triggered!");
      observer.reportAbort(job.id);
      return false;
    }
    const std::size_t count = connection.receive();
    if (count == 0) return true;
    append(job, connection.received(), output);
    connection.dropReceived();

    position += count;
    observer.setDownloadPosition(position, statDownloadInProgress);
    downloadOffset_ = numberText(static_cast<std::int64_t>(position));
    front.checkAbort();
    // What came at once from a fast server counts for as many chunks as it could have come in.
    chunks += std::max<std::size_t>(count / HttpConnection::minimalReceive, 1);
    if (chunks > chunksPerParentCheck) {
      chunks = 0;
      if (!front.isParentRunning()) {
        writeLog(u"Parent process not running! Exit time!");
        endProcess(1);
      }
    }
    if (!limit.allowsMoreBehind(position)) return true;
  }
}

void HttpUpdateZipDownloader::append(const UpdateDownloadJob& job, std::string_view bytes,
                                     File_platformIndependent& output) {
  if (bytes.empty()) return;
  if (output.write(bytes.data(), bytes.size()) != static_cast<std::int64_t>(bytes.size()))
    failOnDisk(job, output.path());
  received_.add(bytes.data(), bytes.size());
  receivedBytes_ += static_cast<std::int64_t>(bytes.size());
}

// A file that came whole was digested as it came, while the server was at work. Only one of which a part lay
// there before is read for it.
bool HttpUpdateZipDownloader::isWhole(const WideText& workingPath, const UpdateDownloadJob& job) {
  if (sizeOfOpenedFile(workingPath) != receivedBytes_) return checkFile(workingPath, job.fileSize, job.md5);
  received_.finish();
  return checkSize(workingPath, job.fileSize) && checkDigest(received_.text(), job.md5);
}

void HttpUpdateZipDownloader::failOnDisk(const UpdateDownloadJob& job, const WideText& workingPath) const {
  writeLog(u"Fail to write on disk! File: " + workingPath);
  report(job, ErrorReport(1133, u"An error occurred when trying to write the content downloaded.")
                  .attribute(u"FILE", toForwardSlashes(workingPath))
                  .size(job.fileSize)
                  .pathAndDrive(userTempFolder));
  writeLog(u"Abort triggered!");
  // The front end learns of a full or lost disk from the saved status alone.
  endProcess(1);
}

void HttpUpdateZipDownloader::removeLater(const WideText& previousPath, const WideText& finalPath) {
  if (!previousPath.empty() && previousPath != finalPath) downloadedFiles_.push_back(previousPath);
}

void HttpUpdateZipDownloader::report(const UpdateDownloadJob& job, ErrorReport report) const {
  report.attribute(u"downloadPackageID", job.id)
      .attribute(u"downloadPackageSize", numberText(job.fileSize))
      .attribute(u"downloadPackageOffset", downloadOffset_)
      .save();
}

}  // namespace ZelmoraTevra
