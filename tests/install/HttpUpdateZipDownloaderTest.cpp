#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <utility>

#include "core/Globals.h"
#include "core/MD5.h"
#include "core/ProgressObserver.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "install/HttpUpdateZipDownloader.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/NginxServer.h"
#include "tests/support/ProxyServer.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {

namespace {

using Reply = ScriptedServer::Reply;
using End = ScriptedServer::End;

constexpr const char* cannotListen = "listening on port 80 takes rights that this user doesn't have";

// What ended the process, for tests that go on.
struct ProcessEnded {
  int exitValue;
};

class FrontEndProcesses : public platform::Processes {
 public:
  explicit FrontEndProcesses(platform::Processes& target) : target_(target) {}
  bool isRunning(const WideText& name) override {
    EXPECT_EQ(name, u"Tevra.exe");
    ++questions;
    return running;
  }
  WideText modulePath() override { return target_.modulePath(); }
  WideText environment(const WideText& name) override { return target_.environment(name); }
  void showErrorBox(const WideText& caption, const WideText& text) override {
    target_.showErrorBox(caption, text);
  }
  [[noreturn]] void end(int exitValue) override {
    if (throwsAtEnd) throw ProcessEnded{exitValue};
    target_.end(exitValue);
    std::abort();  // the compiler doesn't see that the call above never returns
  }

  bool running = true;
  bool throwsAtEnd = false;
  int questions = 0;

 private:
  platform::Processes& target_;
};

class ManagerRegistry : public platform::Registry {
 public:
  WideText text(const WideText& key, const WideText& valueName) override {
    EXPECT_EQ(key, u"SOFTWARE\\ZELMORA\\ZELMORA tevra");
    return values[valueName];
  }
  std::map<WideText, WideText> values{{u"Product", u"Content Manager"}, {u"Version", u"5.1 beta 2"}};
};

// Moves on at each look at it.
class SteppingClock : public FakeClock {
 public:
  std::uint32_t tickMilliseconds() override { return ticks += 1500; }
};

// Tells a wrong size of the working file until it is opened for writing.
class MiscountingFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit MiscountingFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}
  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    const std::int64_t size = target().fileSize(path, error);
    return miscounts_ && path.ends_with(u"_INCOMPLETE") ? size + 1 : size;
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (mode != platform::OpenMode::read && path.ends_with(u"_INCOMPLETE")) miscounts_ = false;
    return target().open(path, mode, error);
  }

 private:
  bool miscounts_ = true;
};

// Has so much room as is told.
class RoomyFileSystem : public platform::ForwardingFileSystem {
 public:
  explicit RoomyFileSystem(platform::FileSystem& target) : ForwardingFileSystem(target) {}
  bool space(const WideText&, platform::Space& space, platform::ErrorCode& error) override {
    error.clear();
    space = {2 * free, free, free};
    return true;
  }
  std::uint64_t free = std::uint64_t{1} << 40;
};

// Remembers how large the working file has become.
class WatchingFileSystem : public FaultyFileSystem {
 public:
  WatchingFileSystem(platform::FileSystem& target, const std::filesystem::path& file)
      : FaultyFileSystem(target) {
    before = [this, file](int, const std::string&) {
      std::error_code missing;
      const std::uintmax_t size = std::filesystem::file_size(file, missing);
      if (!missing) largest = std::max(largest, size);
    };
  }
  std::uintmax_t largest = 0;
};

// Counts the bytes that are read of the working file.
class ReadCountingFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    auto handle = target().open(path, mode, error);
    if (handle == nullptr || !path.ends_with(u"_INCOMPLETE")) return handle;
    return std::make_unique<Handle>(std::move(handle), bytes);
  }
  std::int64_t bytes = 0;

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(std::unique_ptr<platform::FileHandle> target, std::int64_t& bytes)
        : ForwardingFileHandle(std::move(target)), bytes_(bytes) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      const std::int64_t count = target().read(buffer, size, error);
      bytes_ += std::max<std::int64_t>(count, 0);
      return count;
    }

   private:
    std::int64_t& bytes_;
  };
};

class MountedTmpfs {
 public:
  MountedTmpfs(const std::filesystem::path& folder, const char* options)
      : folder_(folder), mounted_(::mount("none", folder.c_str(), "tmpfs", 0, options) == 0) {}
  ~MountedTmpfs() {
    if (mounted_) ::umount2(folder_.c_str(), MNT_DETACH);
  }
  MountedTmpfs(const MountedTmpfs&) = delete;
  MountedTmpfs& operator=(const MountedTmpfs&) = delete;
  [[nodiscard]] bool isMounted() const { return mounted_; }

 private:
  std::filesystem::path folder_;
  bool mounted_;
};

WideText md5Of(const std::string& content) {
  setup2::MD5 md5;
  md5.add(content.data(), content.size());
  md5.finish();
  return md5.text();
}

// Bytes of which no two parts are alike.
std::string contentOfSize(std::size_t size) {
  std::string content(size, '\0');
  std::uint32_t state = 12345;
  for (char& byte : content) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<char>(state >> 24);
  }
  return content;
}

}  // namespace

class HttpUpdateZipDownloaderTest : public JobTest {
 protected:
  HttpUpdateZipDownloaderTest() : processes(*platform::machine().processes) { useRoles(); }

  void useRoles(platform::FileSystem* fileSystem = nullptr, platform::Clock* otherClock = nullptr) {
    platform::Machine roles = platform::machine();
    roles.processes = &processes;
    roles.registry = &registry;
    if (fileSystem != nullptr) roles.files = fileSystem;
    if (otherClock != nullptr) roles.clock = otherClock;
    useMachine(roles);
  }

  // Starts the server of the test; its content is what all jobs ask for.
  [[nodiscard]] bool serve(ScriptedServer::Script script) {
    server = ScriptedServer::start(std::move(script));
    if (server != nullptr) host = toWide(server->host());
    return server != nullptr;
  }
  [[nodiscard]] bool serve(std::vector<Reply> replies) {
    server = ScriptedServer::start(std::move(replies));
    if (server != nullptr) host = toWide(server->host());
    return server != nullptr;
  }
  [[nodiscard]] bool serveContent() {
    return serve([this](const std::string& request) { return Reply{rangeReply(request, content)}; });
  }

  [[nodiscard]] UpdateDownloadJob job() const {
    UpdateDownloadJob job;
    job.downloadFolder = workTempFolder;
    job.url = u"http://" + host + u"/maps/a.zip?token=1";
    job.md5 = md5Of(content);
    job.fileSize = static_cast<std::int64_t>(content.size());
    job.id = u"package 7";
    return job;
  }
  bool download(HttpUpdateZipDownloader& downloader, const UpdateDownloadJob& job,
                bool replacePrevious = false) {
    ProgressObserver::destroy();
    ProgressObserver& observer = ProgressObserver::instance();
    observer.load(
        {{static_cast<std::uint64_t>(std::max<std::int64_t>(job.fileSize, 0)), u"name", u"detail"}});
    const auto value = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
    return downloader.download(job, &observer, replacePrevious, value(proxyHost), value(proxyPort),
                               value(proxyUser), value(proxyPassword));
  }
  bool download(const UpdateDownloadJob& job) {
    HttpUpdateZipDownloader downloader;
    return download(downloader, job);
  }
  bool download() { return download(job()); }

  void expectComplete() const {
    EXPECT_TRUE(readFile(finalPath) == content);
    EXPECT_FALSE(fileExists(workingPath));
  }
  // A failed download's report. The attributes are all but "executionTime".
  void expectReport(int state, const std::vector<WideText>& descriptions,
                    std::map<WideText, WideText> attributes) const {
    SavedStatus saved = status();
    saved.attributes.erase(u"executionTime");
    EXPECT_EQ(saved.state, state);
    EXPECT_EQ(saved.descriptions, descriptions);
    EXPECT_EQ(saved.attributes, attributes);
  }
  [[nodiscard]] std::map<WideText, WideText> packageAttributes(const WideText& exitCode,
                                                               const WideText& offset) const {
    return {{u"exitCode", exitCode},
            {u"downloadPackageID", u"package 7"},
            {u"downloadPackageSize", numberText(static_cast<std::int64_t>(content.size()))},
            {u"downloadPackageOffset", offset}};
  }
  // As an interrupted download of the job leaves it.
  void leavePart(std::size_t size, const std::string& part, const WideText& md5) const {
    writeFile(workingPath, part.substr(0, size));
    writeFile(companionPath, "<?xml version=\"1.0\" ?>\n<tevra_a.zip_INCOMPLETE.xml>\n    <md5sum>" +
                                 toUtf8(md5) + "</md5sum>\n</tevra_a.zip_INCOMPLETE.xml>\n");
  }
  // Sends these bytes, ends the connection so, and answers as it should from then on. A proxy's tunnel is
  // opened before each of it.
  [[nodiscard]] ScriptedServer::Script cutOnce(std::string bytes, End end) const {
    return [this, cut = std::optional(Reply{std::move(bytes), "", end})](const std::string& request) mutable {
      if (request.starts_with("CONNECT"))
        return Reply{"HTTP/1.0 200 Connection established\r\n\r\n", "", End::nextRequest};
      const std::optional<Reply> first = std::exchange(cut, std::nullopt);
      return first ? *first : Reply{rangeReply(request, content)};
    };
  }
  void expectEarlyEnd() {
    EXPECT_FALSE(download());
    EXPECT_EQ(status().state, 16);
    EXPECT_EQ(status().exitCode(), u"1144");
    EXPECT_FALSE(fileExists(finalPath));
    EXPECT_TRUE(fileExists(workingPath));
    EXPECT_TRUE(content.starts_with(readFile(workingPath)));
    EXPECT_TRUE(fileExists(companionPath));
  }
  [[nodiscard]] std::vector<std::size_t> requestedStarts() const {
    std::vector<std::size_t> starts;
    for (const std::string& request : server->requests()) starts.push_back(rangeStart(request));
    return starts;
  }
  [[nodiscard]] std::filesystem::path workFolder() const {
    return folder.native() / "temp" / "ZELMORATevra_tmp";
  }
  [[nodiscard]] std::string abortDocument() const {
    return "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>";
  }

  FrontEndProcesses processes;
  ManagerRegistry registry;
  std::string content = contentOfSize(300'000);
  std::unique_ptr<ScriptedServer> server;
  WideText host = u"127.77.77.77";  // nobody listens there
  std::string proxyHost;
  std::string proxyPort;
  std::string proxyUser;
  std::string proxyPassword;
  const WideText finalPath = workTempFolder + u"\\a.zip";
  const WideText workingPath = finalPath + u"_INCOMPLETE";
  const WideText companionPath = workingPath + u".xml";
};

// --- A whole download -------------------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, FetchesTheFileWithOneRequest) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_TRUE(fileExists(companionPath));
  EXPECT_EQ(server->requests(),
            (std::vector<std::string>{"GET http://" + server->host() + "/maps/a.zip?token=1 HTTP/1.1\r\n" +
                                      "Host: " + server->host() + "\r\n" +
                                      "User-Agent: Content-Manager/5.1-beta-2\r\n" + "Range: bytes=0-\r\n" +
                                      "Connection: close\r\n\r\n"}));
}

TEST_F(HttpUpdateZipDownloaderTest, AFileThatCameWholeIsNotReadForItsDigest) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  ReadCountingFileSystem counting(files());
  useRoles(&counting);
  EXPECT_TRUE(download());
  EXPECT_EQ(counting.bytes, 0);
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, AResumedFileIsReadAsAWhole) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(123'456, content, job().md5);
  ReadCountingFileSystem counting(files());
  useRoles(&counting);
  EXPECT_TRUE(download());
  EXPECT_EQ(counting.bytes, static_cast<std::int64_t>(content.size()));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, SendsAnUnknownProductAsEmptyTexts) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  registry.values.clear();
  EXPECT_TRUE(download());
  EXPECT_NE(server->requests().at(0).find("\r\nUser-Agent: /\r\n"), std::string::npos);
}

TEST_F(HttpUpdateZipDownloaderTest, SendsAtMost1024CharactersOfEachProductText) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  registry.values = {{u"Product", WideText(3000, u'p')}, {u"Version", WideText(3000, u'\u00FC')}};
  EXPECT_TRUE(download());
  const std::string request = server->requests().at(0);
  EXPECT_NE(request.find("\r\nUser-Agent: " + std::string(1024, 'p') + "/\xC3\xBC"), std::string::npos);
  EXPECT_EQ(std::count(request.begin(), request.end(), '\xBC'), 1024);
}

TEST_F(HttpUpdateZipDownloaderTest, LeavesPercentSignsAndForeignLettersOfTheUrlAsTheyAre) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  UpdateDownloadJob odd = job();
  odd.url = u"http://" + host + u"/%20stra\u00DFe.zip?a=%2F";
  EXPECT_TRUE(download(odd));
  EXPECT_TRUE(readFile(workTempFolder + u"\\%20stra\u00DFe.zip") == content);
  EXPECT_NE(server->requests().at(0).find("/%20stra\xC3\x9F"
                                          "e.zip?a=%2F HTTP/1.1\r\n"),
            std::string::npos);
}

TEST_F(HttpUpdateZipDownloaderTest, AcceptsAProtocolInCapitalsAndAnMd5InSmallLetters) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  UpdateDownloadJob capitals = job();
  capitals.url.replace(0, 4, u"HTTP");
  for (char16_t& letter : capitals.md5)
    if (letter >= u'A' && letter <= u'F') letter = static_cast<char16_t>(letter + (u'a' - u'A'));
  EXPECT_TRUE(download(capitals));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, FetchesAnEmptyFile) {
  content.clear();
  if (!serve({{"HTTP/1.1 200 OK\r\n\r\n"}})) GTEST_SKIP() << cannotListen;
  EXPECT_TRUE(download());
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, ReplacesAFileOfOtherContentAtTheFinalPath) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  writeFile(finalPath, std::string(content.size(), 'x'));
  EXPECT_TRUE(download());
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, PaysNoRegardToAContentLengthThatIsWrong) {
  const std::string body = content;
  if (!serve({{"HTTP/1.1 200 OK\r\nContent-Length: 5\r\ncontent-length: -1\r\n\r\n" + body}}))
    GTEST_SKIP() << cannotListen;
  EXPECT_TRUE(download());
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, AcceptsAnExpectedSizeFourGibibytesTooLarge) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  UpdateDownloadJob large = job();
  large.fileSize += std::int64_t{1} << 32;
  EXPECT_TRUE(download(large));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, AcceptsAnExpectedSizeFourGibibytesTooSmall) {
  content = contentOfSize(3'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  RoomyFileSystem roomy(files());
  useRoles(&roomy);
  UpdateDownloadJob small = job();
  for (const std::int64_t missing : {1, 2, 1000}) {
    small.fileSize = job().fileSize - missing * (std::int64_t{1} << 32);
    EXPECT_TRUE(download(small)) << missing;
    expectComplete();
    std::filesystem::remove(workFolder() / "a.zip");
  }
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, 0, 0}));
}

TEST_F(HttpUpdateZipDownloaderTest, ACloneDownloadsByItself) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  const HttpUpdateZipDownloader original;
  const std::unique_ptr<IUpdateZipDownloader> clone = original.clone();
  ProgressObserver::instance().load({{content.size(), u"", u""}});
  EXPECT_TRUE(
      clone->download(job(), &ProgressObserver::instance(), false, nullptr, nullptr, nullptr, nullptr));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, WithoutAnObserverItDownloadsWithoutASnapshot) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  HttpUpdateZipDownloader downloader;
  EXPECT_TRUE(downloader.download(job(), nullptr, false, nullptr, nullptr, nullptr, nullptr));
  expectComplete();
  EXPECT_TRUE(statusHistory().empty());
}

// --- Without a connection ---------------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, ACompleteFileNeedsNoConnection) {
  writeFile(finalPath, content);
  EXPECT_TRUE(download());
  EXPECT_TRUE(readFile(finalPath) == content);
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(HttpUpdateZipDownloaderTest, ACompleteWorkingFileIsRenamedWithoutAConnection) {
  leavePart(content.size(), content, u"");
  writeFile(finalPath, "older");
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_TRUE(statusHistory().empty());
}

TEST_F(HttpUpdateZipDownloaderTest, ACompleteWorkingFileThatCannotBeRenamedIs1139) {
  startLog();
  leavePart(content.size(), content, md5Of(content));
  makeFolder(finalPath + u"/in the way");
  EXPECT_FALSE(download());
  auto attributes = packageAttributes(u"1139", u"0");
  attributes[u"FILE"] = toForwardSlashes(workingPath);
  expectReport(7, {u"100", toWide(std::generic_category().message(5))}, attributes);
  EXPECT_FALSE(fileExists(workingPath));
  EXPECT_FALSE(fileExists(companionPath));
  EXPECT_TRUE(logHas(u"Downloader: rename from " + workingPath + u" to " + finalPath + u" fail!"));
  EXPECT_TRUE(logHas(u"File OK! But could not rename " + workingPath + u". File will be deleted!"));
}

TEST_F(HttpUpdateZipDownloaderTest, AnInvalidUrlIs1138) {
  for (const WideText& url : std::initializer_list<WideText>{
           u"", u"http://server/a.zip", u"https://server/a.zip?x", u"ftp://server/a.zip?x",
           u"http:///a.zip?x", u"http://server?x", u"server/a.zip?x", u"http://server/?x",
           u"http://server/..?x", u"http://server/.?x", u"http://server/..\\a.zip?x",
           u"http://server/C:a.zip?x", u"http://server/a.zip?x\r\nHost: b"}) {
    UpdateDownloadJob bad = job();
    bad.url = url;
    const std::vector<std::string> before = tree(path(u"temp"));
    EXPECT_FALSE(download(bad));
    expectReport(7, {u"100", u"Invalid http path."}, packageAttributes(u"1138", u"0"));
    EXPECT_EQ(tree(path(u"temp")), before) << toUtf8(url);
  }
}

TEST_F(HttpUpdateZipDownloaderTest, AWorkingFileThatCannotBeOpenedIs1140) {
  makeFolder(workingPath);
  EXPECT_FALSE(download());
  expectReport(7, {u"100", u"Error while trying to open the output file."}, packageAttributes(u"1140", u"0"));
  EXPECT_FALSE(fileExists(companionPath));
}

TEST_F(HttpUpdateZipDownloaderTest, ALinkInThePlaceOfThePartMakesWay) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  writeFile(path(u"precious"), "user's");
  for (const char* const target : {"precious", "no such file"}) {
    std::filesystem::create_symlink(folder.native() / target, workFolder() / "a.zip_INCOMPLETE");
    EXPECT_TRUE(download());
    expectComplete();
    EXPECT_FALSE(std::filesystem::is_symlink(workFolder() / "a.zip"));
    EXPECT_EQ(readFile(path(u"precious")), "user's");
    EXPECT_FALSE(fileExists(path(u"no such file")));
    std::filesystem::remove(workFolder() / "a.zip");
  }
}

TEST_F(HttpUpdateZipDownloaderTest, WhatIsNoFileInThePlaceOfThePartIs1140) {
  ASSERT_EQ(::mkfifo((workFolder() / "a.zip_INCOMPLETE").c_str(), 0600), 0);
  EXPECT_FALSE(download());
  expectReport(7, {u"100", u"Error while trying to open the output file."}, packageAttributes(u"1140", u"0"));
}

// The work folder may be the folder of the status.
TEST_F(HttpUpdateZipDownloaderTest, AFileCalledAsOneOfTheFrontEndsIs1138) {
  const WideText status = lastComponent(StatusXml::instance().statusFilePath());
  const WideText abort = lastComponent(StatusXml::instance().abortFilePath());
  for (const WideText& name : {status, toUpperAscii(status), status + u".new", abort}) {
    UpdateDownloadJob bad = job();
    bad.url = u"http://server/" + name + u"?x";
    EXPECT_FALSE(download(bad)) << toUtf8(name);
    expectReport(7, {u"100", u"Invalid http path."}, packageAttributes(u"1138", u"0"));
  }
}

// --- Resuming ---------------------------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, ResumesBehindAPartOfTheSameFile) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(123'456, content, job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{123'456});
}

TEST_F(HttpUpdateZipDownloaderTest, ResumesWhereTheCompanionHasTheMd5InSmallLetters) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  WideText small = job().md5;
  for (char16_t& letter : small)
    if (letter >= u'A' && letter <= u'F') letter = static_cast<char16_t>(letter + (u'a' - u'A'));
  leavePart(5, content, small);
  EXPECT_TRUE(download());
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{5});
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWithoutACompanion) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  writeFile(workingPath, content.substr(0, 1000));
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWhereThePartIsOneOfAnotherFile) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(1000, std::string(1000, 'x'), md5Of("another file"));
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
  EXPECT_NE(readFile(companionPath).find(toUtf8(job().md5)), std::string::npos);
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWithADamagedCompanion) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(1000, content, job().md5);
  const std::string companion = readFile(companionPath);
  writeFile(companionPath, companion.substr(0, companion.size() / 2));
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWhereThePartIsBiggerThanTheFile) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(content.size() + 1, content + "x", job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWhereAFullSizedPartHasAnotherMd5) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  leavePart(content.size(), std::string(content.size(), 'x'), job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
  EXPECT_TRUE(logHas(u"File as big as suppose to be, MD5 not agree, truncate it! " + workingPath));
}

TEST_F(HttpUpdateZipDownloaderTest, StartsAnewWhereTwoSizesOfThePartDisagree) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  leavePart(1000, content, job().md5);
  MiscountingFileSystem miscounting(files());
  useRoles(&miscounting);
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>{0});
  EXPECT_TRUE(logHas(u"File size not match on computations!"));
  EXPECT_TRUE(logHas(u"Boost size: 1000"));
  EXPECT_TRUE(logHas(u"Local computed size: 1001"));
}

TEST_F(HttpUpdateZipDownloaderTest, AServerThatIgnoresTheRangeIsAskedForTheWhole) {
  if (!serve({{wholeReply(content)}})) GTEST_SKIP() << cannotListen;
  leavePart(100'000, content, job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{100'000, 0}));
  EXPECT_EQ(clock.slept, 1000U);
}

TEST_F(HttpUpdateZipDownloaderTest, CutAtEveryByteItEndsInTheRightFileOrTellsAnEarlyEnd) {
  content = contentOfSize(150);
  for (const std::string& reply : {wholeReply(content), rangeReply("", content)}) {
    const std::size_t head = reply.size() - content.size();
    for (std::size_t cut = 0; cut < reply.size(); ++cut) {
      SCOPED_TRACE(reply.substr(0, cut));
      if (!serve(cutOnce(reply.substr(0, cut), End::close))) GTEST_SKIP() << cannotListen;
      if (cut < head) {
        expectEarlyEnd();
        EXPECT_TRUE(download());
        EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, 0}));
      } else {
        EXPECT_TRUE(download());
        EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, cut - head}));
      }
      expectComplete();
      std::filesystem::remove(workFolder() / "a.zip");
    }
  }
}

// A reset may drop what came before it.
TEST_F(HttpUpdateZipDownloaderTest, ResetAtEveryByteItTellsAnEarlyEndAndIsResumed) {
  content = contentOfSize(150);
  for (const std::string& reply : {wholeReply(content), rangeReply("", content)}) {
    for (std::size_t cut = 0; cut < reply.size(); ++cut) {
      SCOPED_TRACE(reply.substr(0, cut));
      if (!serve(cutOnce(reply.substr(0, cut), End::reset))) GTEST_SKIP() << cannotListen;
      expectEarlyEnd();
      const std::size_t part = readFile(workingPath).size();
      EXPECT_TRUE(download());
      EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, part}));
      expectComplete();
      std::filesystem::remove(workFolder() / "a.zip");
    }
  }
}

TEST_F(HttpUpdateZipDownloaderTest, AResetInTheBodyIs1144AndTheNextRunResumes) {
  bool first = true;
  if (!serve([this, first](const std::string& request) mutable {
        if (!std::exchange(first, false)) return Reply{rangeReply(request, content)};
        return Reply{wholeReply(content).substr(0, 200'000), "", End::reset};
      }))
    GTEST_SKIP() << cannotListen;
  EXPECT_FALSE(download());
  EXPECT_EQ(status().state, 16);
  EXPECT_EQ(status().exitCode(), u"1144");
  EXPECT_FALSE(fileExists(finalPath));
  EXPECT_TRUE(fileExists(companionPath));
  EXPECT_TRUE(content.starts_with(readFile(workingPath)));
  EXPECT_TRUE(download());
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, GarbageCutAtEveryLengthGivesADocumentedError) {
  content = contentOfSize(20);
  const std::string zeros("HTTP/1.1 200 OK\0\0\r\n\0: \0\r\n\r\n\0\0\0", 30);
  for (const std::string& garbage :
       {std::string("\x00\xFF\xFE\r\n\r\n\r\n", 9), std::string("HTTP/9 -200 \r\n: : :\r\n\r\n"),
        std::string("HTTP/1.1 200\r\n\r\n\n\r\n"), std::string("\r\n\r\nHTTP/1.1 200 OK\r\n"),
        std::string("HTTP/1.1 20\xC0 \xFF\r\nA\r\n\r\n"), zeros}) {
    for (std::size_t length = 0; length <= garbage.size(); ++length) {
      if (!serve({{garbage.substr(0, length)}})) GTEST_SKIP() << cannotListen;
      EXPECT_FALSE(download());
      const WideText code = status().exitCode();
      EXPECT_TRUE(code == u"1141" || code == u"1142" || code == u"1144" || code == u"1146" || code == u"1170")
          << toUtf8(code) << ' ' << garbage << ' ' << length;
      EXPECT_FALSE(fileExists(finalPath));
    }
  }
}

// --- Replies that are no good -----------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, AReplyWithoutAUsableStatusLineIs1141) {
  if (!serve({{"ICY 200 OK\r\n\r\n"}})) GTEST_SKIP() << cannotListen;
  EXPECT_FALSE(download());
  expectReport(16, {u"103", u"200", finalPath}, packageAttributes(u"1141", u"0"));
  if (!serve({{"HTTP/1.1 none\r\n\r\n"}})) GTEST_SKIP() << cannotListen;
  EXPECT_FALSE(download());
  expectReport(16, {u"103", u"0", finalPath}, packageAttributes(u"1141", u"0"));
  EXPECT_TRUE(fileExists(workingPath));
  EXPECT_TRUE(fileExists(companionPath));
}

TEST_F(HttpUpdateZipDownloaderTest, ACodeOtherThan200And206Is1142) {
  for (const char* code : {"404", "500", "302", "201", "100", "0"}) {
    if (!serve({{std::string("HTTP/1.1 ") + code + " Whatever\r\n\r\n" + content}}))
      GTEST_SKIP() << cannotListen;
    EXPECT_FALSE(download());
    expectReport(16, {u"103", toWide(code), finalPath}, packageAttributes(u"1142", u"0"));
  }
}

TEST_F(HttpUpdateZipDownloaderTest, ARefusalLeavesAPartToBeResumed) {
  if (!serve({{"HTTP/1.1 503 Busy\r\n\r\n"}})) GTEST_SKIP() << cannotListen;
  leavePart(1000, content, job().md5);
  EXPECT_FALSE(download());
  EXPECT_TRUE(readFile(workingPath) == content.substr(0, 1000));
  EXPECT_TRUE(fileExists(companionPath));
}

TEST_F(HttpUpdateZipDownloaderTest, AnUnknownServiceIs1143) {
  proxyHost = "127.0.0.1";
  proxyPort = "no-such-service";
  EXPECT_FALSE(download());
  ASSERT_EQ(status().descriptions.size(), 2U);
  EXPECT_FALSE(status().descriptions[1].empty());
  expectReport(16, {u"118", status().descriptions[1]}, packageAttributes(u"1143", u"0"));
}

TEST_F(HttpUpdateZipDownloaderTest, AServerThatIsNotThereIs1144) {
  EXPECT_FALSE(download());
  expectReport(16, {u"100", u"Connection refused"}, packageAttributes(u"1144", u"0"));
  EXPECT_TRUE(fileExists(workingPath));
}

TEST_F(HttpUpdateZipDownloaderTest, AnyOtherExceptionIs1169) {
  UpdateDownloadJob job = this->job();
  job.url = WideText(u"http://") + u'\xD800' + u"/a.zip?x";
  EXPECT_FALSE(download(job));
  ASSERT_EQ(status().descriptions.size(), 2U);
  EXPECT_FALSE(status().descriptions[1].empty());
  expectReport(16, {u"100", status().descriptions[1]}, packageAttributes(u"1169", u"0"));
}

TEST_F(HttpUpdateZipDownloaderTest, ADownloadThatCannotBeRenamedIs1145) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  makeFolder(finalPath + u"/in the way");
  EXPECT_FALSE(download());
  auto attributes = packageAttributes(u"1145", u"300000");
  attributes[u"FILE"] = toForwardSlashes(workingPath);
  expectReport(16, {u"100", toWide(std::generic_category().message(5))}, attributes);
  EXPECT_FALSE(fileExists(workingPath));
  EXPECT_FALSE(fileExists(companionPath));
  EXPECT_TRUE(logHas(u"Downloader: rename from " + workingPath + u" to " + finalPath + u" fail!"));
  EXPECT_TRUE(logHas(u"File downloaded OK but fail to rename it! File will be removed!" + workingPath));
}

TEST_F(HttpUpdateZipDownloaderTest, TheRightSizeWithAWrongMd5Is1146AtOnceAndKeepsTheWorkingFile) {
  const std::string wrong(content.size(), 'x');
  if (!serve({{wholeReply(wrong)}, {wholeReply(content)}})) GTEST_SKIP() << cannotListen;
  EXPECT_FALSE(download());
  expectReport(16, {u"108", finalPath}, packageAttributes(u"1146", u"300000"));
  EXPECT_TRUE(readFile(workingPath) == wrong);
  EXPECT_EQ(requestedStarts().size(), 1U);
  EXPECT_TRUE(download());
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, 0}));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, AResumedFileWithAWrongMd5Is1146AndTheNextRunBeginsAnew) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(100'000, std::string(100'000, 'x'), job().md5);
  EXPECT_FALSE(download());
  expectReport(16, {u"108", finalPath}, packageAttributes(u"1146", u"300000"));
  EXPECT_TRUE(readFile(workingPath) == std::string(100'000, 'x') + content.substr(100'000));
  EXPECT_FALSE(fileExists(finalPath));
  EXPECT_TRUE(download());
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{100'000, 0}));
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, TheOffsetIsReportedFromTheFirstReadBehindTheHeadOn) {
  content = contentOfSize(10);
  if (!serve({{wholeReply("0123456789")}})) GTEST_SKIP() << cannotListen;
  EXPECT_FALSE(download());
  expectReport(16, {u"108", finalPath}, packageAttributes(u"1146", u"0"));
}

TEST_F(HttpUpdateZipDownloaderTest, AfterThreeRetriesAWrongSizeIs1170AndNothingStays) {
  // One byte more at each connection.
  content = "abcdefgh";
  if (!serve({{"HTTP/1.1 200 OK\r\n\r\na"}})) GTEST_SKIP() << cannotListen;
  startLog();
  EXPECT_FALSE(download());
  expectReport(
      16, {u"108", finalPath, u"We tried a lot of times but did not manage to download the file completely."},
      packageAttributes(u"1170", u"0"));
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, 1, 2, 3}));
  EXPECT_EQ(clock.slept, 3000U);
  EXPECT_EQ(tree(workTempFolder), std::vector<std::string>{});
  const std::vector<WideText> lines = logLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(),
                       u"Download was not successful. The file size is not the one we expect. Try to resume "
                       u"the download."),
            4);
}

TEST_F(HttpUpdateZipDownloaderTest, RetriesAreCountedOverTheLifeOfADownloader) {
  content = "abcdefgh";
  if (!serve({{"HTTP/1.1 200 OK\r\n\r\n"}})) GTEST_SKIP() << cannotListen;
  {
    HttpUpdateZipDownloader downloader;
    EXPECT_FALSE(download(downloader, job()));
    EXPECT_EQ(server->requests().size(), 4U);
    EXPECT_FALSE(download(downloader, job()));
    EXPECT_EQ(server->requests().size(), 5U);
    EXPECT_EQ(status().exitCode(), u"1170");
  }
  EXPECT_FALSE(download());
  EXPECT_EQ(server->requests().size(), 9U);
}

TEST_F(HttpUpdateZipDownloaderTest, AHeadWithoutAnEndIsGivenUp) {
  for (const Reply& endless : {Reply{"", std::string(100'000, 'a')},
                               Reply{"HTTP/1.1 200 OK\r\n", "Name: " + std::string(10'000, 'v') + "\r\n"}}) {
    if (!serve({endless})) GTEST_SKIP() << cannotListen;
    EXPECT_FALSE(download());
    EXPECT_EQ(status().state, 16);
    EXPECT_EQ(status().exitCode(), u"1144");
  }
}

// There is no room for a file that is 4 GiB larger, which would compare equal with the expected one.
TEST_F(HttpUpdateZipDownloaderTest, ABodyWithoutAnEndNeitherFillsTheDiskNorLastsForEver) {
  if (!serve({{"HTTP/1.1 200 OK\r\n\r\n", std::string(100'000, 'x')}})) GTEST_SKIP() << cannotListen;
  for (const std::int64_t size : {std::int64_t{300'000}, std::int64_t{-5}, INT64_MIN}) {
    WatchingFileSystem watching(files(), workFolder() / "a.zip_INCOMPLETE");
    RoomyFileSystem narrow(watching);
    narrow.free = std::uint64_t{4'000'000'000};
    useRoles(&narrow);
    UpdateDownloadJob endless = job();
    endless.fileSize = size;
    EXPECT_FALSE(download(endless));
    EXPECT_EQ(status().exitCode(), u"1170");
    EXPECT_GT(watching.largest, 1'000'000U);
    EXPECT_LT(watching.largest, 2'500'000U);
    EXPECT_EQ(tree(workTempFolder), std::vector<std::string>{});
  }
  EXPECT_EQ(requestedStarts(), std::vector<std::size_t>(12, 0));
}

TEST_F(HttpUpdateZipDownloaderTest, WithRoomForASizeThatComparesEqualAnExcessIsReadToItsEnd) {
  const std::string larger = contentOfSize(5'000'000);
  if (!serve({{wholeReply(larger)}})) GTEST_SKIP() << cannotListen;
  WatchingFileSystem watching(files(), workFolder() / "a.zip_INCOMPLETE");
  RoomyFileSystem roomy(watching);
  useRoles(&roomy);
  EXPECT_FALSE(download());
  EXPECT_EQ(status().exitCode(), u"1170");
  EXPECT_EQ(watching.largest, larger.size());
}

// --- Progress, abort, vanished front end ------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, ReportsProgressWithSpeedAndTimeLeft) {
  content = contentOfSize(2'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  SteppingClock stepping;
  useRoles(nullptr, &stepping);
  EXPECT_TRUE(download());
  ASSERT_GE(statusHistory().size(), 2U);
  std::int64_t last = 0;
  for (const SavedStatus& snapshot : statusHistory()) {
    EXPECT_EQ(snapshot.state, 1);
    ASSERT_EQ(snapshot.descriptions.size(), 8U);
    const std::int64_t done = textToInt64(snapshot.descriptions[1]);
    EXPECT_GT(done, last);
    last = done;
    EXPECT_EQ(snapshot.descriptions[0], numberText(done * 100 / 2'000'000));
    EXPECT_EQ(snapshot.descriptions[1], numberText(done) + u" / 2000000");
    EXPECT_EQ(snapshot.descriptions[3], snapshot.descriptions[1]);
    EXPECT_EQ(snapshot.descriptions[4], u"name");
    EXPECT_EQ(snapshot.descriptions[5], u"detail");
    EXPECT_EQ(snapshot.descriptionAttributes[6], u"KB/s");
    EXPECT_EQ(snapshot.descriptionAttributes[7], u"s");
  }
}

TEST_F(HttpUpdateZipDownloaderTest, AResumedDownloadReportsItsPositionInTheWholeFile) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  leavePart(200'000, content, job().md5);
  EXPECT_TRUE(download());
  ASSERT_EQ(statusHistory().size(), 1U);
  EXPECT_EQ(statusHistory()[0].descriptions[1], u"300000 / 300000");
  EXPECT_EQ(statusHistory()[0].descriptions[0], u"100");
}

TEST_F(HttpUpdateZipDownloaderTest, AnAbortInTheMiddleKeepsThePartForALaterRun) {
  content = contentOfSize(1'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  writeFile(StatusXml::instance().abortFilePath(), abortDocument());
  EXPECT_FALSE(download());

  const std::string part = readFile(workingPath);
  EXPECT_GE(part.size(), 131'072U);
  EXPECT_LT(part.size(), content.size());
  EXPECT_TRUE(part == content.substr(0, part.size()));
  EXPECT_TRUE(fileExists(companionPath));
  EXPECT_FALSE(fileExists(StatusXml::instance().abortFilePath()));
  const WideText done = numberText(static_cast<std::int64_t>(part.size()));
  const WideText percent = numberText(static_cast<std::int64_t>(part.size() * 100 / content.size()));
  expectReport(8, {percent, done + u" / 1000000", percent, done + u" / 1000000", u"name"},
               packageAttributes(u"1020", done));
  EXPECT_TRUE(logHas(u"Abort triggered!"));

  StatusXml::destroy();  // as in a new process
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(requestedStarts(), (std::vector<std::size_t>{0, part.size()}));
}

TEST_F(HttpUpdateZipDownloaderTest, AnAbortSeenBehindTheLastBlockWins) {
  // More than can come with the head, and no more than one block.
  content = contentOfSize(100'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  writeFile(StatusXml::instance().abortFilePath(), abortDocument());
  EXPECT_FALSE(download());
  EXPECT_EQ(status().state, 8);
  EXPECT_EQ(status().exitCode(), u"1020");
  EXPECT_TRUE(readFile(workingPath) == content);
}

TEST_F(HttpUpdateZipDownloaderTest, AnAbortWithoutAnObserverIsToldWithoutAmounts) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  writeFile(StatusXml::instance().abortFilePath(), abortDocument());
  HttpUpdateZipDownloader downloader;
  EXPECT_FALSE(downloader.download(job(), nullptr, false, nullptr, nullptr, nullptr, nullptr));
  expectReport(8, {}, {{u"exitCode", u"1020"}});
}

TEST_F(HttpUpdateZipDownloaderTest, AVanishedFrontEndEndsTheProcessWith1) {
  content = contentOfSize(24'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  processes.running = false;
  EXPECT_EXIT((void)download(), ::testing::ExitedWithCode(1), "");
  EXPECT_TRUE(logHas(u"Parent process not running! Exit time!"));
  EXPECT_NE(status().state, 7);
  EXPECT_TRUE(fileExists(workingPath));
  EXPECT_TRUE(fileExists(companionPath));
  processes.running = true;
  EXPECT_TRUE(download());
  EXPECT_GT(requestedStarts().at(1), 101U * 131'072U - 1);
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderTest, TheFrontEndIsLookedForOnceIn101Blocks) {
  content = contentOfSize(12'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  processes.running = false;
  EXPECT_TRUE(download());
  EXPECT_EQ(processes.questions, 0);
  std::filesystem::remove(workFolder() / "a.zip");

  processes.running = true;
  content = contentOfSize(40'000'000);
  EXPECT_TRUE(download());
  EXPECT_GE(processes.questions, 2);
  EXPECT_LE(processes.questions, 3);
}

// --- Full disk --------------------------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, AFailedWriteIs1133AndEndsTheProcessWith1) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  processes.throwsAtEnd = true;
  FaultyFileSystem faulty(files());
  useRoles(&faulty);
  // The log's lines are written through another file. The companion has its name before the first block of
  // the working file is written.
  faulty.before = [&](int number, const std::string& operation) {
    if (operation == "write" && faulty.failAt == 0 && fileExists(companionPath)) faulty.failAt = number;
  };
  int exitValue = -1;
  try {
    (void)download();
  } catch (const ProcessEnded& ended) {
    exitValue = ended.exitValue;
  }
  EXPECT_EQ(exitValue, 1);
  auto attributes = packageAttributes(u"1133", u"0");
  attributes[u"FILE"] = toForwardSlashes(workingPath);
  attributes[u"PATH_SIZE"] = u"0.29";
  attributes[u"UNIT"] = u"MB";
  attributes[u"PATH"] = userTempFolder;
  attributes[u"DRIVE"] = u"";
  expectReport(7, {u"100", u"An error occurred when trying to write the content downloaded."}, attributes);
  EXPECT_TRUE(logHas(u"Fail to write on disk! File: " + workingPath));
  EXPECT_EQ(logLines().back(), u"Abort triggered!");
}

TEST_F(HttpUpdateZipDownloaderTest, AFailedCloseIs1133AndEndsTheProcessWith1) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  startLog();
  processes.throwsAtEnd = true;
  FaultyFileSystem faulty(files());
  faulty.failsToClose = [this](const WideText& path) { return path == workingPath; };
  useRoles(&faulty);
  int exitValue = -1;
  try {
    (void)download();
  } catch (const ProcessEnded& ended) {
    exitValue = ended.exitValue;
  }
  EXPECT_EQ(exitValue, 1);
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 7);
  EXPECT_EQ(saved.exitCode(), u"1133");
  EXPECT_EQ(saved.attributes.at(u"FILE"), toForwardSlashes(workingPath));
  EXPECT_TRUE(logHas(u"Fail to write on disk! File: " + workingPath));
  EXPECT_EQ(logLines().back(), u"Abort triggered!");
  EXPECT_FALSE(fileExists(finalPath));
}

TEST_F(HttpUpdateZipDownloaderTest, AFullDiskIs1133AndEndsTheProcessWith1) {
  content = contentOfSize(3'000'000);
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  const MountedTmpfs small(workFolder(), "size=1m");
  if (!small.isMounted()) GTEST_SKIP() << "mounting a small disk takes root";
  EXPECT_EXIT((void)download(), ::testing::ExitedWithCode(1), "");
  const SavedStatus saved = status();
  EXPECT_EQ(saved.state, 7);
  EXPECT_EQ(saved.exitCode(), u"1133");
  EXPECT_EQ(saved.attributes.at(u"FILE"), toForwardSlashes(workingPath));
  EXPECT_EQ(saved.attributes.at(u"PATH_SIZE"), u"2.86");
  EXPECT_EQ(saved.attributes.at(u"PATH"), userTempFolder);
  EXPECT_GT(textToInt64(saved.attributes.at(u"downloadPackageOffset")), 131'071);
  EXPECT_FALSE(fileExists(finalPath));
}

TEST_F(HttpUpdateZipDownloaderTest, WhateverOperationFailsNoWrongFileStandsAtTheFinalPath) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  processes.throwsAtEnd = true;
  FaultyFileSystem faulty(files());
  useRoles(&faulty);
  for (faulty.failAt = 1;; ++faulty.failAt) {
    faulty.count = 0;
    bool done = false;
    bool ended = false;
    try {
      done = download();
    } catch (const ProcessEnded& end) {
      ended = true;
      EXPECT_EQ(end.exitValue, 1);
    }
    const bool faulted = faulty.count >= faulty.failAt;
    if (done) {
      expectComplete();
    } else {
      EXPECT_TRUE(faulted);
      EXPECT_FALSE(fileExists(finalPath)) << faulty.failAt;
      const WideText code = status().exitCode();
      EXPECT_TRUE(ended ? code == u"1133" : code == u"1140" || code == u"1145") << toUtf8(code);
    }
    std::filesystem::remove(workFolder() / "a.zip");
    const int failed = std::exchange(faulty.failAt, 0);
    EXPECT_TRUE(download()) << "after failure " << failed;
    expectComplete();
    std::filesystem::remove(workFolder() / "a.zip");
    faulty.failAt = failed;
    if (!faulted) break;
    ASSERT_LT(failed, 100);
  }
}

// --- Replacing a previous file ----------------------------------------------------------------------------

TEST_F(HttpUpdateZipDownloaderTest, AReplacingDownloadRemovesThePreviousFileFirst) {
  if (!serveContent()) GTEST_SKIP() << cannotListen;
  UpdateDownloadJob replacing = job();
  replacing.previousUrl = u"http://server/old.zip?x";
  writeFile(workTempFolder + u"\\old.zip", "old");
  writeFile(workTempFolder + u"\\old.zip.xml", "old");
  HttpUpdateZipDownloader downloader;
  EXPECT_TRUE(download(downloader, replacing, true));
  EXPECT_EQ(tree(workTempFolder), (std::vector<std::string>{"a.zip", "a.zip_INCOMPLETE.xml"}));
}

TEST_F(HttpUpdateZipDownloaderTest, WithACompleteFileThePreviousOneGoesWithTheDownloader) {
  UpdateDownloadJob replacing = job();
  replacing.previousUrl = u"http://server/old.zip?x";
  writeFile(finalPath, content);
  writeFile(workTempFolder + u"\\old.zip", "old");
  writeFile(workTempFolder + u"\\old.zip.xml", "old");
  {
    HttpUpdateZipDownloader downloader;
    EXPECT_TRUE(download(downloader, replacing, true));
    EXPECT_EQ(tree(workTempFolder), (std::vector<std::string>{"a.zip", "old.zip", "old.zip.xml"}));
  }
  EXPECT_EQ(tree(workTempFolder), std::vector<std::string>{"a.zip"});
}

TEST_F(HttpUpdateZipDownloaderTest, APreviousFileOfTheSameNameIsTheResultAndStays) {
  UpdateDownloadJob replacing = job();
  replacing.previousUrl = u"http://elsewhere/a.zip?x";
  writeFile(finalPath, content);
  {
    HttpUpdateZipDownloader downloader;
    EXPECT_TRUE(download(downloader, replacing, true));
  }
  EXPECT_TRUE(readFile(finalPath) == content);
}

TEST_F(HttpUpdateZipDownloaderTest, APlainDownloadLeavesThePreviousFileAlone) {
  UpdateDownloadJob plain = job();
  plain.previousUrl = u"http://server/old.zip?x";
  writeFile(finalPath, content);
  writeFile(workTempFolder + u"\\old.zip", "old");
  EXPECT_TRUE(download(plain));
  EXPECT_EQ(readFile(workTempFolder + u"\\old.zip"), "old");
}

// --- Proxy ------------------------------------------------------------------------------------------------

class HttpUpdateZipDownloaderProxyTest : public HttpUpdateZipDownloaderTest {
 protected:
  // Listens as a proxy; the package's server is none that exists.
  void startProxy(ScriptedServer::Script script) {
    constexpr std::uint16_t anyPort = 0;
    server = ScriptedServer::start(std::move(script), anyPort);
    host = u"packages.example";
    proxyHost = server->host();
    proxyPort = std::to_string(server->port());
  }
  [[nodiscard]] Reply answer(const std::string& request) const {
    if (!request.starts_with("CONNECT")) return Reply{rangeReply(request, content)};
    return {"HTTP/1.0 200 Connection established\r\n\r\n", "", End::nextRequest};
  }
  const std::string get =
      "GET http://packages.example/maps/a.zip?token=1 HTTP/1.1\r\nHost: packages.example\r\n"
      "User-Agent: Content-Manager/5.1-beta-2\r\nRange: bytes=0-\r\nConnection: close\r\n\r\n";
};

TEST_F(HttpUpdateZipDownloaderProxyTest, WithoutAUserOrAPasswordTheRequestGoesStraightToTheProxy) {
  for (const auto& [user, password] : {std::pair("", ""), std::pair("user", ""), std::pair("", "pass")}) {
    startProxy([this](const std::string& request) { return answer(request); });
    proxyUser = user;
    proxyPassword = password;
    EXPECT_TRUE(download());
    expectComplete();
    EXPECT_EQ(server->requests(), std::vector<std::string>{get});
    std::filesystem::remove(workFolder() / "a.zip");
  }
}

TEST_F(HttpUpdateZipDownloaderProxyTest, WithUserAndPasswordTheRequestGoesThroughATunnel) {
  startProxy([this](const std::string& request) { return answer(request); });
  proxyUser = "user";
  proxyPassword = "pass";
  EXPECT_TRUE(download());
  expectComplete();
  EXPECT_EQ(
      server->requests(),
      (std::vector<std::string>{
          "CONNECT packages.example:80 HTTP/1.0\r\nProxy-Authorization: Basic dXNlcjpwYXNz\r\n\r\n", get}));
}

TEST_F(HttpUpdateZipDownloaderProxyTest, ARefusedTunnelIsReportedAndNothingIsAsked) {
  startProxy([](const std::string&) { return Reply{"HTTP/1.0 407 Authenticate\r\n\r\n"}; });
  proxyUser = "user";
  proxyPassword = "wrong";
  EXPECT_FALSE(download());
  expectReport(16, {u"103", u"407", u"Proxy [packages.example:80] returned error status code: 407"},
               {{u"exitCode", u"1142"}, {u"downloadPackageOffset", u"0"}});
  EXPECT_EQ(server->requests().size(), 1U);
}

TEST_F(HttpUpdateZipDownloaderProxyTest, AProxyThatIsNoneIsReported) {
  startProxy([](const std::string&) { return Reply{"220 mail ready\r\n"}; });
  proxyUser = "user";
  proxyPassword = "pass";
  EXPECT_FALSE(download());
  expectReport(16,
               {u"103", u"Failed to connect to proxy!",
                u"Expected \"HTTP/\" protocol support instead of [220] from proxy: [packages.example:80]"},
               {{u"exitCode", u"1141"}, {u"downloadPackageOffset", u"0"}});
}

TEST_F(HttpUpdateZipDownloaderProxyTest, AProxyThatGoesAwayIs1144) {
  startProxy([](const std::string&) { return Reply{"HTTP/1.0 200 Conn"}; });
  proxyUser = "user";
  proxyPassword = "pass";
  EXPECT_FALSE(download());
  EXPECT_EQ(status().state, 16);
  EXPECT_EQ(status().exitCode(), u"1144");
}

TEST_F(HttpUpdateZipDownloaderProxyTest, CutInTheBodyThroughATunnelItEndsInTheRightFileOrTellsAnEarlyEnd) {
  content = contentOfSize(50);
  const std::string reply = wholeReply(content);
  proxyUser = "user";
  proxyPassword = "pass";
  for (const End end : {End::close, End::reset}) {
    for (std::size_t cut = reply.size() - content.size(); cut < reply.size(); ++cut) {
      SCOPED_TRACE(reply.substr(0, cut));
      startProxy(cutOnce(reply.substr(0, cut), end));
      if (end == End::reset) expectEarlyEnd();
      EXPECT_TRUE(download());
      EXPECT_EQ(server->requests().size(), 4U);
      expectComplete();
      std::filesystem::remove(workFolder() / "a.zip");
    }
  }
}

TEST_F(HttpUpdateZipDownloaderProxyTest, WithoutAPortTheProxyIsAskedAtPort80) {
  if (!serve([this](const std::string& request) { return answer(request); })) GTEST_SKIP() << cannotListen;
  proxyHost = server->host();
  host = u"packages.example";
  EXPECT_TRUE(download());
  EXPECT_EQ(server->requests(), std::vector<std::string>{get});
}

// --- Real servers -----------------------------------------------------------------------------------------

class HttpUpdateZipDownloaderRealServerTest : public HttpUpdateZipDownloaderTest {
 protected:
  void SetUp() override {
    content = contentOfSize(5'000'000);
    writeFile(path(u"www/maps/a.zip"), content);
    nginx = NginxServer::start(folder.native() / "www");
    if (nginx == nullptr) GTEST_SKIP() << "needs nginx and the right to listen on port 80";
    host = toWide(nginx->host());
  }
  std::unique_ptr<NginxServer> nginx;
};

TEST_F(HttpUpdateZipDownloaderRealServerTest, FetchesTheWholeFile) {
  EXPECT_TRUE(download());
  expectComplete();
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, FetchesTheRestOfAFile) {
  leavePart(4'321'000, content, job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  ASSERT_EQ(statusHistory().size(), 1U);
  EXPECT_GT(textToInt64(statusHistory()[0].descriptions[1]), 4'321'000);
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, AMissingFileIs1142) {
  UpdateDownloadJob missing = job();
  missing.url = u"http://" + host + u"/b.zip?x";
  EXPECT_FALSE(download(missing));
  expectReport(16, {u"103", u"404", workTempFolder + u"\\b.zip"}, packageAttributes(u"1142", u"0"));
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, ARangeBehindTheEndOfTheServersFileIs1142) {
  writeFile(path(u"www/maps/a.zip"), "short");
  leavePart(1000, content, job().md5);
  EXPECT_FALSE(download());
  expectReport(16, {u"103", u"416", finalPath}, packageAttributes(u"1142", u"0"));
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, FetchesTheRestThroughAProxyWithoutAUser) {
  const auto proxy = ProxyServer::start();
  if (proxy == nullptr) GTEST_SKIP() << "needs tinyproxy";
  proxyHost = proxy->host();
  proxyPort = proxy->port();
  leavePart(4'321'000, content, job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  ASSERT_EQ(statusHistory().size(), 1U);
  EXPECT_GT(textToInt64(statusHistory()[0].descriptions[1]), 4'321'000);
  EXPECT_TRUE(proxy->wasAskedTo("GET http://" + nginx->host() + "/maps/a.zip"));
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, FetchesTheRestThroughATunnelOfAProxyWithAUser) {
  const auto proxy = ProxyServer::start("user", "secret");
  if (proxy == nullptr) GTEST_SKIP() << "needs tinyproxy";
  proxyHost = proxy->host();
  proxyPort = proxy->port();
  proxyUser = "user";
  proxyPassword = "secret";
  leavePart(4'321'000, content, job().md5);
  EXPECT_TRUE(download());
  expectComplete();
  ASSERT_EQ(statusHistory().size(), 1U);
  EXPECT_GT(textToInt64(statusHistory()[0].descriptions[1]), 4'321'000);
  EXPECT_TRUE(proxy->wasAskedTo("CONNECT " + nginx->host()));
}

TEST_F(HttpUpdateZipDownloaderRealServerTest, AProxyRefusesAWrongPassword) {
  const auto proxy = ProxyServer::start("user", "secret");
  if (proxy == nullptr) GTEST_SKIP() << "needs tinyproxy";
  proxyHost = proxy->host();
  proxyPort = proxy->port();
  proxyUser = "user";
  proxyPassword = "wrong";
  EXPECT_FALSE(download());
  EXPECT_EQ(status().exitCode(), u"1142");
  EXPECT_TRUE(status().descriptions.at(1) == u"407" || status().descriptions.at(1) == u"401");
  // Without a password the proxy gets the request itself, and refuses that.
  proxyPassword.clear();
  EXPECT_FALSE(download());
  EXPECT_EQ(status().exitCode(), u"1142");
  EXPECT_EQ(status().attributes.at(u"downloadPackageID"), u"package 7");
}

}  // namespace ZelmoraTevra
