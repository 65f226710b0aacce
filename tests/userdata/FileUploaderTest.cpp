#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "core/Text.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobTest.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/ScriptedServer.h"
#include "userdata/FileUploader.h"

namespace ZelmoraTevra {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Reply = ScriptedServer::Reply;
using End = ScriptedServer::End;

// Reading a file goes wrong in one of the ways in which a device can do that.
class DamagedFileSystem : public platform::ForwardingFileSystem {
 public:
  using ForwardingFileSystem::ForwardingFileSystem;

  std::int64_t failsBehind = -1;  // a read beyond this byte fails
  std::int64_t missingBytes = 0;  // the file promises so many more than it has
  std::int64_t growsBy = 0;       // at the second question for its size
  int opened = 0;

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    std::unique_ptr<platform::FileHandle> handle = target().open(path, mode, error);
    if (handle == nullptr || mode != platform::OpenMode::read) return handle;
    ++opened;
    return std::make_unique<Handle>(*this, std::move(handle));
  }

 private:
  class Handle : public platform::ForwardingFileHandle {
   public:
    Handle(DamagedFileSystem& owner, std::unique_ptr<platform::FileHandle> target)
        : ForwardingFileHandle(std::move(target)), owner_(owner) {}
    std::int64_t read(void* buffer, std::size_t size, platform::ErrorCode& error) override {
      const std::int64_t count = target().read(buffer, size, error);
      position_ += std::max<std::int64_t>(count, 0);
      if (owner_.failsBehind < 0 || position_ <= owner_.failsBehind) return count;
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return -1;
    }
    std::int64_t size(platform::ErrorCode& error) override {
      return target().size(error) + owner_.missingBytes + owner_.growsBy * asked_++;
    }

   private:
    DamagedFileSystem& owner_;
    std::int64_t position_ = 0;
    int asked_ = 0;
  };
};

class FileUploaderTest : public JobTest {
 protected:
  // Answers requests for the head with 200 and takes what is put.
  static Reply accept(const std::string& request) {
    if (request.starts_with("HEAD ")) return {"HTTP/1.1 200 OK\r\n\r\n"};
    return {"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "", End::nextRequest,
            ScriptedServer::wholeBody};
  }
  void serve(ScriptedServer::Script script = accept) {
    server = ScriptedServer::start(std::move(script), 0);
    ASSERT_NE(server, nullptr);
  }
  // The test request goes well, and each PUT gets this reply.
  void servePutsWith(const Reply& reply) {
    serve([reply](const std::string& request) {
      return request.starts_with("HEAD ") ? accept(request) : reply;
    });
  }
  [[nodiscard]] WideText url(WideView folder = u"/in") const {
    return toWide("http://" + server->host() + ":" + std::to_string(server->port())) + WideText(folder);
  }
  // The URL of a server that has gone.
  [[nodiscard]] static WideText unreachableUrl() {
    LoopbackListener listener(0);
    return toWide("http://" + listener.host() + ":" + std::to_string(listener.port()) + "/in");
  }
  WideText put(WideView name, const std::string& content = "content") const {
    const WideText file = path(u"device/") + WideText(name);
    writeFile(file, content);
    return file;
  }
  // Another name for a file in its folder.
  [[nodiscard]] WideText linked(const WideText& file, WideView name) const {
    const WideText alias = parentFolder(file) + u'/' + WideText(name);
    if (!fileExists(alias))
      std::filesystem::create_hard_link(toUtf8(toForwardSlashes(file)), toUtf8(toForwardSlashes(alias)));
    return alias;
  }
  // Method, path and version of all requests.
  [[nodiscard]] std::vector<std::string> requestLines() const {
    std::vector<std::string> lines;
    for (const std::string& request : server->requests())
      lines.push_back(request.substr(0, request.find('\r')));
    return lines;
  }
  // The names under which files arrived, without their unique prefix.
  [[nodiscard]] std::vector<std::string> arrivedNames() const {
    std::vector<std::string> names;
    for (const std::string& line : requestLines()) {
      std::smatch match;
      if (std::regex_match(line, match, std::regex("PUT .*/[0-9]+__([^/ ]*) HTTP/1.1")))
        names.push_back(match[1]);
    }
    return names;
  }
  // A PUT with this reply fails, and neither the file nor those behind it are touched.
  void expectNothingIsDeletedAfter(const Reply& reply, const std::string& content) {
    servePutsWith(reply);
    const WideText first = put(u"a.log", content);
    const WideText second = put(u"b.log", content);
    FileUploader uploader;
    ASSERT_EQ(uploader.initialise(url()), 0);
    EXPECT_EQ(uploader.addFile(first, u"0"), 0);
    EXPECT_EQ(uploader.addFile(second, u"0"), 0);
    EXPECT_NE(uploader.uploadAll(), 0) << reply.bytes;
    EXPECT_TRUE(readFile(first) == content) << reply.bytes;
    EXPECT_TRUE(readFile(second) == content) << reply.bytes;
    const std::vector<std::string> lines = requestLines();
    EXPECT_EQ(
        std::count_if(lines.begin(), lines.end(), [](const auto& line) { return line.starts_with("PUT"); }),
        1)
        << reply.bytes;
  }

  std::unique_ptr<ScriptedServer> server;

 private:
  ScopedEnvironment noProxy_{"no_proxy", "*"};
};

TEST_F(FileUploaderTest, InitialisingAsksForTheHeadOfTheUrl) {
  serve();
  FileUploader uploader;
  EXPECT_EQ(uploader.initialise(url()), 0);
  EXPECT_THAT(requestLines(), ElementsAre("HEAD /in HTTP/1.1"));
}

TEST_F(FileUploaderTest, InitialisingTwiceIsAFailureAndAsksNothing) {
  serve();
  FileUploader uploader;
  EXPECT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.initialise(url()), -1);
  EXPECT_EQ(uploader.initialise({}), -1);
  EXPECT_THAT(requestLines(), SizeIs(1));
}

TEST_F(FileUploaderTest, InitialisingFailsWithoutAUrlOrAServerAndMayBeTriedAgain) {
  serve();
  FileUploader uploader;
  EXPECT_EQ(uploader.initialise({}), 1);
  EXPECT_EQ(uploader.initialise(unreachableUrl()), 1);
  EXPECT_EQ(uploader.initialise(u"no such scheme://x"), 1);
  EXPECT_EQ(uploader.addFile(put(u"a.log"), u"0"), 1);
  EXPECT_EQ(uploader.uploadAll(), 1);
  EXPECT_EQ(uploader.initialise(url()), 0);
}

TEST_F(FileUploaderTest, AUrlToWhichNoNameCanBeAddedIsAFailureAndAsksNothing) {
  startLog();
  serve();
  FileUploader uploader;
  for (const WideText end : {u"?box=1", u"#box", u"?", u"#"})
    EXPECT_EQ(uploader.initialise(url(u"/in" + end)), 1) << toUtf8(end);
  EXPECT_THAT(requestLines(), IsEmpty());
  EXPECT_THAT(logLines(), testing::Each(WideText(u"The URL for uploads has a query or a fragment!")));
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(put(u"a"), u"1", url(u"/own?box=1")), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(requestLines(), ElementsAre("HEAD /in HTTP/1.1", StartsWith("PUT /in/")));
}

TEST_F(FileUploaderTest, AServerThatAnswersWithAnErrorIsThere) {
  for (const std::string status : {"404 Not Found", "403 Forbidden", "500 Internal Server Error"}) {
    serve([&](const std::string&) { return Reply{"HTTP/1.1 " + status + "\r\n\r\n"}; });
    FileUploader uploader;
    EXPECT_EQ(uploader.initialise(url()), 0) << status;
  }
}

TEST_F(FileUploaderTest, ARedirectionOfTheTestIsNotFollowed) {
  serve([](const std::string&) { return Reply{"HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\n\r\n"}; });
  FileUploader uploader;
  EXPECT_EQ(uploader.testUrl(url()), 0);
  EXPECT_THAT(requestLines(), SizeIs(1));
}

TEST_F(FileUploaderTest, ATestNeedsAnAnswerInHttp) {
  serve([](const std::string&) { return Reply{"220 ftp.example ready\r\n\r\n"}; });
  FileUploader uploader;
  EXPECT_EQ(uploader.testUrl(url()), -1);
  EXPECT_EQ(uploader.testUrl(unreachableUrl()), -1);
  EXPECT_EQ(uploader.testUrl({}), -1);
}

TEST_F(FileUploaderTest, AnUploadNeverWritesOnThisComputer) {
  makeFolder(path(u"local"));
  FileUploader uploader;
  EXPECT_EQ(uploader.testUrl(u"file://" + path(u"local")), -1);
  EXPECT_EQ(uploader.initialise(u"file://" + path(u"local")), 1);
  EXPECT_THAT(tree(path(u"local")), IsEmpty());
}

TEST_F(FileUploaderTest, NothingIsAddedBeforeInitialising) {
  FileUploader uploader;
  EXPECT_EQ(uploader.addFile(put(u"a.log"), u"0"), 1);
  EXPECT_EQ(uploader.addFile({}, u"0"), 1);
  EXPECT_EQ(uploader.uploadAll(), 1);
}

TEST_F(FileUploaderTest, WhatIsNoFileIsNotAdded) {
  serve();
  put(u"folder/a.log");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile({}, u"0"), -1);
  EXPECT_EQ(uploader.addFile(path(u"device/missing"), u"0"), -1);
  EXPECT_EQ(uploader.addFile(path(u"device/folder"), u"0"), -1);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), IsEmpty());
}

TEST_F(FileUploaderTest, FilesGoUpInTheOrderOfTheirPathsByteForByte) {
  serve();
  const std::string large = std::string(300'000, '\0') + "\r\n\r\n" + std::string(300'000, '\xFF');
  const WideText c = put(u"c.log", large);
  const WideText a = put(u"a.log", "first");
  const WideText b = put(u"b/a.log", "second");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  for (const WideText& file : {c, b, a}) EXPECT_EQ(uploader.addFile(file, u"1"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log", "a.log", "c.log"));
  ASSERT_THAT(server->bodies(), SizeIs(4));
  EXPECT_EQ(server->bodies()[1], "first");
  EXPECT_EQ(server->bodies()[2], "second");
  EXPECT_TRUE(server->bodies()[3] == large);
}

TEST_F(FileUploaderTest, AFileOfManyBlocksGoesUpByteForByte) {
  serve();
  std::string content(3'000'000, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31 + i / 4'096);
  const WideText file = put(u"a.log", content);
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_TRUE(server->bodies().back() == content);
  EXPECT_FALSE(fileExists(file));
}

TEST_F(FileUploaderTest, AnEmptyFileGoesUpToo) {
  serve();
  const WideText file = put(u"empty.log", "");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(server->requests().back(), HasSubstr("Content-Length: 0\r\n"));
  EXPECT_THAT(arrivedNames(), ElementsAre("empty.log"));
  EXPECT_FALSE(fileExists(file));
}

TEST_F(FileUploaderTest, OnlyExactlyZeroLetsAFileBeDeleted) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(put(u"deleted"), u"0"), 0);
  const std::vector<WideText> others = {u"1", u"", u"00", u" 0", u"false", u"-0"};
  for (std::size_t i = 0; i < others.size(); ++i)
    EXPECT_EQ(uploader.addFile(put(u"kept" + numberText(static_cast<std::int64_t>(i))), others[i]), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(tree(path(u"device")), ElementsAre("kept0", "kept1", "kept2", "kept3", "kept4", "kept5"));
  EXPECT_THAT(arrivedNames(), SizeIs(7));
}

TEST_F(FileUploaderTest, AFileThatCannotBeDeletedDoesNotEndTheUpload) {
  serve();
  FaultyFileSystem faulty(files());
  const WideText first = put(u"a");
  const WideText second = put(u"b");
  useFileSystem(faulty);
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(first, u"0"), 0);
  EXPECT_EQ(uploader.addFile(second, u"0"), 0);
  faulty.failAt = 1;
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_TRUE(fileExists(first));
  EXPECT_FALSE(fileExists(second));
  EXPECT_THAT(arrivedNames(), ElementsAre("a", "b"));
}

TEST_F(FileUploaderTest, ATargetIsTheUrlTheTicksARandomNumberAndTheName) {
  serve();
  clock.ticks = 4'000'000'000;
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url(u"/in/box")), 0);
  EXPECT_EQ(uploader.addFile(put(u"logs/a.log"), u"1"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(requestLines().back(),
              testing::MatchesRegex("PUT /in/box/4000000000[0-9]{1,10}__a.log HTTP/1.1"));
}

TEST_F(FileUploaderTest, FilesOfOneNameGoUpUnderDifferentOnes) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  for (const WideText folder : {u"a", u"b", u"c"})
    EXPECT_EQ(uploader.addFile(put(folder + u"/x.log"), u"1"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);  // and the same ones another time
  std::vector<std::string> lines = requestLines();
  std::sort(lines.begin(), lines.end());
  EXPECT_EQ(std::unique(lines.begin(), lines.end()), lines.end());
  EXPECT_THAT(arrivedNames(), SizeIs(6));
}

TEST_F(FileUploaderTest, TheNameIsWhatStandsBehindTheLastSeparatorOfEitherKind) {
  serve();
  put(u"logs/old/a.log");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(path(u"device") + u"/logs\\old\\a.log", u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_FALSE(fileExists(path(u"device/logs/old/a.log")));
}

TEST_F(FileUploaderTest, NamesArePercentEncoded) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(put(u"a b?c#d%e&+.~-_Ä\U0001F9ED.log"), u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a%20b%3Fc%23d%25e%26%2B.~-_%C3%84%F0%9F%A7%AD.log"));
}

TEST_F(FileUploaderTest, ANameThatIsNoUtf8GoesUpUnderAReadableOne) {
  serve();
  const std::filesystem::path native = std::filesystem::path(toUtf8(path(u"device"))) / "a\xFF.log";
  put(u"other");
  std::filesystem::copy_file(toUtf8(path(u"device/other")), native);
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(path(u"device/a\xDCFF.log"), u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a%EF%BF%BD.log"));
  EXPECT_FALSE(std::filesystem::exists(native));
}

TEST_F(FileUploaderTest, AFileWithAnOwnUrlGoesThereIfItAnswers) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(put(u"a"), u"1", url(u"/own")), 0);
  EXPECT_EQ(uploader.addFile(put(u"b"), u"1", unreachableUrl()), 0);
  EXPECT_EQ(uploader.addFile(put(u"c"), u"1", {}), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(requestLines(), ElementsAre("HEAD /in HTTP/1.1", "HEAD /own HTTP/1.1", StartsWith("PUT /own/"),
                                          StartsWith("PUT /in/"), StartsWith("PUT /in/")));
}

TEST_F(FileUploaderTest, AFileThatIsNamedInSeveralSpellingsGoesUpOnceAsItWasNamedFirst) {
  serve();
  const WideText file = put(u"logs/a.log");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  for (const WideText spelling :
       {u"/logs/a.log", u"\\logs\\a.log", u"/logs//a.log", u"/./logs/./a.log", u"//logs/a.log"})
    EXPECT_EQ(uploader.addFile(path(u"device") + spelling, u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a.log"));
  EXPECT_FALSE(fileExists(file));
}

// Hard links stand for the other names under which a device finds a file: upper and lower case, short names.
TEST_F(FileUploaderTest, AFileThatADeviceFindsUnderSeveralNamesGoesUpOnceUnderTheFirst) {
  serve();
  const WideText file = put(u"Ä long name.txt");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"1"), 0);
  for (const WideText name : {u"ä long name.txt", u"ÄLONGN~1.TXT", u"ä LONG NAME.TXT"})
    EXPECT_EQ(uploader.addFile(linked(file, name), u"1", url(u"/own")), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("%C3%84%20long%20name.txt"));
  EXPECT_THAT(requestLines(), SizeIs(2));  // nobody asks at a URL that isn't needed
}

TEST_F(FileUploaderTest, AFileThatIsToBeKeptUnderOneOfItsNamesIsNeverDeleted) {
  serve();
  for (const WideText name : {u"ä.log", u"LONGNA~1.LOG"}) {
    for (const bool keptFirst : {true, false}) {
      const WideText file = put(u"Ä.log");
      const WideText alias = linked(file, name);
      FileUploader uploader;
      ASSERT_EQ(uploader.initialise(url()), 0);
      EXPECT_EQ(uploader.addFile(file, keptFirst ? u"1" : u"0"), 0);
      EXPECT_EQ(uploader.addFile(alias, keptFirst ? u"0" : u"1"), 0);
      EXPECT_EQ(uploader.addFile(file, u"0"), 0);
      EXPECT_EQ(uploader.uploadAll(), 0);
      EXPECT_TRUE(fileExists(file)) << keptFirst;
      EXPECT_TRUE(fileExists(alias)) << keptFirst;
    }
  }
}

TEST_F(FileUploaderTest, TheOrderDoesNotDependOnTheSeparator) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  put(u"a/1");
  put(u"a0/2");
  put(u"b/3");
  for (const WideText file : {u"\\b\\3", u"/a0/2", u"\\a\\1"})
    EXPECT_EQ(uploader.addFile(path(u"device") + file, u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("1", "2", "3"));
}

TEST_F(FileUploaderTest, FilesThatDifferOnlyInTheCaseOfTheirNamesBothGoUp) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(put(u"A.log", "upper"), u"0"), 0);
  EXPECT_EQ(uploader.addFile(put(u"a.log", "lower"), u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("A.log", "a.log"));
}

TEST_F(FileUploaderTest, AFileThatTheServerDidNotTakeStays) {
  for (const std::string status : {"500 Internal Server Error", "400 Bad Request", "403 Forbidden",
                                   "404 Not Found", "405 Method Not Allowed", "413 Payload Too Large",
                                   "507 Insufficient Storage", "304 Not Modified", "300 Multiple Choices"})
    expectNothingIsDeletedAfter(
        {"HTTP/1.1 " + status + "\r\nContent-Length: 0\r\n\r\n", "", End::close, ScriptedServer::wholeBody},
        "content");
}

TEST_F(FileUploaderTest, ARedirectedFileStays) {
  for (const std::string status : {"301 Moved Permanently", "302 Found", "307 Temporary Redirect"})
    expectNothingIsDeletedAfter({"HTTP/1.1 " + status + "\r\nLocation: /login\r\nContent-Length: 0\r\n\r\n",
                                 "", End::close, ScriptedServer::wholeBody},
                                "content");
}

TEST_F(FileUploaderTest, AServerThatBreaksDownHalfWayGetsNoFurtherFileAndNothingIsDeleted) {
  const std::string content(900'000, 'x');
  expectNothingIsDeletedAfter({"", "", End::reset, 100'000}, content);
  expectNothingIsDeletedAfter({"", "", End::reset, ScriptedServer::wholeBody}, content);
  expectNothingIsDeletedAfter({"", "", End::reset, 0}, content);
}

TEST_F(FileUploaderTest, AServerThatClosesWithoutAnAnswerHasNotTakenTheFile) {
  expectNothingIsDeletedAfter({"", "", End::close, ScriptedServer::wholeBody}, "content");
  expectNothingIsDeletedAfter({"HTTP/1.1 201 Cre", "", End::close, ScriptedServer::wholeBody}, "content");
  expectNothingIsDeletedAfter({"OK, I have it\r\n\r\n", "", End::close, ScriptedServer::wholeBody},
                              "content");
}

TEST_F(FileUploaderTest, AnAnswerThatComesBeforeTheWholeFileWasSentIsNoSuccess) {
  const std::string content(30'000'000, 'x');
  expectNothingIsDeletedAfter({"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "", End::reset, 1},
                              content);
  // At this one the library stops sending, and is content with it.
  expectNothingIsDeletedAfter(
      {"HTTP/1.1 201 Created\r\nConnection: close\r\nContent-Length: 0\r\n\r\n", "", End::close, 1}, content);
}

TEST_F(FileUploaderTest, AnAnswerWithoutEndIsNone) {
  expectNothingIsDeletedAfter(
      {"HTTP/1.1 201 Created\r\n\r\n", "and so on ", End::close, ScriptedServer::wholeBody}, "content");
  serve([](const std::string&) { return Reply{"HTTP/1.1 200 OK\r\n", "X-More: follows\r\n"}; });
  FileUploader uploader;
  EXPECT_EQ(uploader.testUrl(url()), -1);
}

TEST_F(FileUploaderTest, AServerThatClosesEachConnectionGetsAllFiles) {
  servePutsWith(
      {"HTTP/1.1 201 Created\r\nContent-Length: 0\r\n\r\n", "", End::close, ScriptedServer::wholeBody});
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  for (const WideText name : {u"a", u"b", u"c"}) EXPECT_EQ(uploader.addFile(put(name), u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), 0);
  EXPECT_THAT(arrivedNames(), ElementsAre("a", "b", "c"));
  EXPECT_THAT(tree(path(u"device")), IsEmpty());
}

TEST_F(FileUploaderTest, WhatWentUpBeforeAFailureStaysUploadedAndDeleted) {
  serve([puts = 0](const std::string& request) mutable {
    Reply reply = accept(request);
    if (request.starts_with("PUT ") && ++puts == 2)
      reply.bytes = "HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n";
    return reply;
  });
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  for (const WideText name : {u"a", u"b", u"c"}) EXPECT_EQ(uploader.addFile(put(name), u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), CURLE_HTTP_RETURNED_ERROR);
  EXPECT_THAT(arrivedNames(), ElementsAre("a", "b"));
  EXPECT_THAT(tree(path(u"device")), ElementsAre("b", "c"));
}

TEST_F(FileUploaderTest, AFileThatCannotBeReadToItsEndIsNotDeleted) {
  serve([](const std::string& request) {
    Reply reply = accept(request);
    reply.end = End::close;
    return reply;
  });
  DamagedFileSystem damaged(files());
  const std::string content(500'000, 'x');
  const WideText file = put(u"a.log", content);
  useFileSystem(damaged);
  const auto upload = [&] {
    FileUploader uploader;
    EXPECT_EQ(uploader.initialise(url()), 0);
    EXPECT_EQ(uploader.addFile(file, u"0"), 0);
    return uploader.uploadAll();
  };
  damaged.failsBehind = 0;
  EXPECT_NE(upload(), 0);
  damaged.failsBehind = 200'000;
  EXPECT_NE(upload(), 0);
  damaged.failsBehind = -1;
  damaged.missingBytes = 10;
  EXPECT_NE(upload(), 0);
  damaged.missingBytes = 0;
  damaged.growsBy = 1;
  EXPECT_NE(upload(), 0);
  EXPECT_EQ(readFile(file), content);
  damaged.growsBy = 0;
  EXPECT_EQ(upload(), 0);
  EXPECT_FALSE(fileExists(file));
  EXPECT_EQ(damaged.opened, 5);
}

TEST_F(FileUploaderTest, AFileThatHasGoneFailsTheUpload) {
  serve();
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  const WideText file = put(u"a");
  const WideText other = put(u"b");
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_EQ(uploader.addFile(other, u"0"), 0);
  std::filesystem::remove(toUtf8(file));
  EXPECT_EQ(uploader.uploadAll(), CURLE_READ_ERROR);
  EXPECT_THAT(arrivedNames(), IsEmpty());
  EXPECT_TRUE(fileExists(other));
}

TEST_F(FileUploaderTest, WhatTheServerSaysReachesNoOutput) {
  serve([](const std::string& request) {
    Reply reply = accept(request);
    reply.bytes = "HTTP/1.1 200 OK\r\nX-Noise: yes\r\nContent-Length: 5\r\n\r\n";
    if (request.starts_with("PUT ")) reply.bytes += "hello";
    return reply;
  });
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  {
    FileUploader uploader;
    EXPECT_EQ(uploader.initialise(url()), 0);
    EXPECT_EQ(uploader.addFile(put(u"a"), u"0"), 0);
    EXPECT_EQ(uploader.uploadAll(), 0);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(FileUploaderTest, TheLogTellsWhatFailedButNoUrl) {
  startLog();
  servePutsWith(
      {"HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n", "", End::close, ScriptedServer::wholeBody});
  const WideText file = put(u"a");
  FileUploader uploader;
  EXPECT_EQ(uploader.initialise(u"http://user:secret@" + unreachableUrl().substr(7)), 1);
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_NE(uploader.uploadAll(), 0);
  ASSERT_THAT(logLines(), SizeIs(2));
  EXPECT_TRUE(logLines()[0].starts_with(u"The server for uploads doesn't answer: "));
  EXPECT_TRUE(logLines()[1].starts_with(u"Fail to upload " + file + u": "));
  EXPECT_TRUE(logLines()[1].ends_with(u" (HTTP 500)"));
  EXPECT_EQ(logLines()[0].find(u"secret"), WideText::npos);
}

TEST_F(FileUploaderTest, TheLogNamesAnAnswerOfTheServerOnlyWhereThatIsTheFailure) {
  startLog();
  servePutsWith({"HTTP/1.1 302 Found\r\nLocation: /login\r\nContent-Length: 0\r\n\r\n", "", End::close,
                 ScriptedServer::wholeBody});
  const WideText file = put(u"a");
  FileUploader uploader;
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_NE(uploader.uploadAll(), 0);
  std::filesystem::remove(toUtf8(file));
  EXPECT_NE(uploader.uploadAll(), 0);
  ASSERT_THAT(logLines(), SizeIs(2));
  EXPECT_TRUE(logLines()[0].ends_with(u" (HTTP 302)"));
  EXPECT_EQ(logLines()[1].find(u"HTTP"), WideText::npos);
}

TEST_F(FileUploaderTest, AServerThatSaysNothingMoreIsGivenUp) {
  constexpr long patienceSeconds = 1;
  servePutsWith({"", "", End::nextRequest, ScriptedServer::wholeBody});
  const WideText file = put(u"a");
  FileUploader uploader(patienceSeconds);
  ASSERT_EQ(uploader.initialise(url()), 0);
  EXPECT_EQ(uploader.addFile(file, u"0"), 0);
  EXPECT_EQ(uploader.uploadAll(), CURLE_OPERATION_TIMEDOUT);
  EXPECT_TRUE(fileExists(file));
}

TEST_F(FileUploaderTest, SeveralUploadersInOneProcessWork) {
  serve();
  for (int round = 0; round < 3; ++round) {
    FileUploader uploader;
    EXPECT_EQ(uploader.initialise(url()), 0);
    EXPECT_EQ(uploader.addFile(put(u"a"), u"0"), 0);
    EXPECT_EQ(uploader.uploadAll(), 0);
  }
  EXPECT_THAT(arrivedNames(), ElementsAre("a", "a", "a"));
}

}  // namespace
}  // namespace ZelmoraTevra
