#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <cstring>

#include "tests/jobs/ProgramTest.h"
#include "tests/support/ScriptedServer.h"

namespace ZelmoraTevra {
namespace {

namespace ipc = boost::interprocess;

// The block as a front end sees it.
class FrontEndBlock {
 public:
  static constexpr std::size_t bytes = 8'388'612;

  // Made anew with this text.
  FrontEndBlock(const std::string& name, const std::string& text)
      : object_(ipc::create_only, name.c_str(), ipc::read_write) {
    object_.truncate(bytes);
    region_ = ipc::mapped_region(object_, ipc::read_write);
    std::memcpy(start() + 4, text.c_str(), text.size() + 1);
  }
  // The one that is there.
  explicit FrontEndBlock(const std::string& name)
      : object_(ipc::open_only, name.c_str(), ipc::read_write), region_(object_, ipc::read_write) {}

  void setLock(std::uint32_t value) { lock().store(value); }
  [[nodiscard]] std::uint32_t lockValue() { return lock().load(); }
  [[nodiscard]] std::size_t size() const { return region_.get_size(); }

  // With "*" for the seconds.
  [[nodiscard]] std::string document() {
    std::uint32_t free = 0;
    while (!lock().compare_exchange_strong(free, 1)) free = 0;
    JobResult result;
    result.last.document = std::string(start() + 4);
    lock().store(0);
    return result.document();
  }

 private:
  char* start() { return static_cast<char*>(region_.get_address()); }
  std::atomic_ref<std::uint32_t> lock() {
    return std::atomic_ref<std::uint32_t>(*static_cast<std::uint32_t*>(region_.get_address()));
  }

  ipc::shared_memory_object object_;
  ipc::mapped_region region_;
};

class SharedMemoryJobTest : public ProgramTest {
 protected:
  SharedMemoryJobTest() { job.commandSource = name; }
  ~SharedMemoryJobTest() override { ipc::shared_memory_object::remove(name.c_str()); }

  const std::string name = "tevra_test_" + std::to_string(::getpid()) + "_" +
                           ::testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(SharedMemoryJobTest, TheCommandsAreReadFromTheBlockAndTheStatusIsLeftThere) {
  FrontEndBlock block(name, installCommand(localSpringPackage(), true));
  job.start();
  const JobResult result = job.wait();
  EXPECT_EQ(result.exitValue, 0);
  EXPECT_EQ(block.document(), success);
  EXPECT_EQ(block.lockValue(), 0U);
  expectSpringInstalled();
  EXPECT_TRUE(result.statuses.empty()) << "no status file is written";
  EXPECT_EQ(job.tree("tmp"), (Tree{{name, "folder"}}));
  EXPECT_EQ(job.tree("temp"), (Tree{{name, "folder"}}));
}

TEST_F(SharedMemoryJobTest, AnErrorIsLeftInTheBlock) {
  FrontEndBlock block(name, "<CommandSequence><Command CommandName=\"INSTALL_PACKAGE\"/></CommandSequence>");
  job.start();
  EXPECT_EQ(job.wait().exitValue, 255);
  EXPECT_EQ(block.document(), errorDocument(1029, "Error on reading the install location!"));
}

TEST_F(SharedMemoryJobTest, TheResponseToGetInfoIsLeftInTheBlock) {
  FrontEndBlock block(name, CommandDocument("GET_INFO").plain("FolderPath", job.path("card")).text());
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  const std::string response = block.document();
  EXPECT_TRUE(
      response.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<TevraCLI>\n"
                           "    <removable type=\"single\">\n        <driveletter>" +
                           job.path("card") + "</driveletter>\n"))
      << response;
  EXPECT_TRUE(response.ends_with("</removable>\n</TevraCLI>\n")) << response;
  EXPECT_EQ(job.tree("tmp"), (Tree{{name, "folder"}}));
}

TEST_F(SharedMemoryJobTest, TheResponseToGetFilesIsLeftInTheBlock) {
  FrontEndBlock block(name, CommandDocument("GET_FILES")
                                .encoded("StorageCardDriveLetter", "E:")
                                .plain("Extensions", "csv")
                                .plain("OptionalExtension", "bmp")
                                .plain("SearchingFolder", "Poi")
                                .text());
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  EXPECT_EQ(block.document(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GetFilesResponse filesNumber=\"0\" />\n");
  EXPECT_EQ(job.tree("tmp"), (Tree{{name, "folder"}}));
}

TEST_F(SharedMemoryJobTest, TheTracksAreToldInTheBlock) {
  FrontEndBlock block(name, CommandDocument("GET_KML_FILES").encoded("StorageCardDriveLetter", "E:").text());
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  EXPECT_EQ(block.document(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<KmlResponse />\n");
  EXPECT_EQ(job.tree("tmp"), (Tree{{name, "folder"}}));
}

TEST_F(SharedMemoryJobTest, TheContactsAreToldInTheBlock) {
  job.write("flash/ZELMORA/Contacts/contacts.txt", "abc");
  FrontEndBlock block(name, CommandDocument("GET_CONTACTS").encoded("StorageCardDriveLetter", "E:").text());
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  EXPECT_EQ(block.document(),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GetContactsResponse>\n    "
            "<contacts>YWJj</contacts>\n    "
            "<utf8>false</utf8>\n</GetContactsResponse>\n");
}

TEST_F(SharedMemoryJobTest, ALockThatADeadReaderHoldsIsBroken) {
  CommandPackage package = springPackage("");
  FrontEndBlock* open = nullptr;
  const auto server = ScriptedServer::start([&](const std::string&) -> ScriptedServer::Reply {
    open->setLock(1);
    return {wholeReply(package.zip)};
  });
  SKIP_WITHOUT(server);
  package.url = "http://" + server->host() + "/spring.zip?id=42";
  FrontEndBlock block(name, installCommand(package, false));
  open = &block;
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  EXPECT_EQ(block.lockValue(), 0U);
  EXPECT_EQ(block.document(), success);
}

TEST_F(SharedMemoryJobTest, ABlockThatWasRemovedMeanwhileIsMadeAnew) {
  CommandPackage package = springPackage("");
  const auto server = ScriptedServer::start([&](const std::string&) -> ScriptedServer::Reply {
    ipc::shared_memory_object::remove(name.c_str());
    return {wholeReply(package.zip)};
  });
  SKIP_WITHOUT(server);
  package.url = "http://" + server->host() + "/spring.zip?id=42";
  const FrontEndBlock removed(name, installCommand(package, false));
  job.start();
  EXPECT_EQ(job.wait().exitValue, 0);
  FrontEndBlock block(name);
  EXPECT_EQ(block.size(), FrontEndBlock::bytes);
  EXPECT_EQ(block.document(), success);
}

TEST_F(SharedMemoryJobTest, TheAbortFileIsAFileInThisModeToo) {
  CommandPackage package = springPackage("");
  const auto server = ScriptedServer::start([&](const std::string&) -> ScriptedServer::Reply {
    job.write(
        "tmp/" + name + "/ud_TevraCLI_abort.xml",
        "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>");
    return {wholeReply(package.zip)};
  });
  SKIP_WITHOUT(server);
  package.url = "http://" + server->host() + "/spring.zip?id=42";
  FrontEndBlock block(name, installCommand(package, false));
  job.start();
  EXPECT_EQ(job.wait().exitValue, 255);
  EXPECT_EQ(parseStatus(block.document()).state, 8);
  EXPECT_EQ(parseStatus(block.document()).exitCode(), u"1020");
  EXPECT_FALSE(job.exists("tmp/" + name + "/ud_TevraCLI_abort.xml"));
}

TEST_F(SharedMemoryJobTest, ASourceThatIsNeitherBlockNorFileIsReportedInANewBlock) {
  job.start();
  EXPECT_EQ(job.wait().exitValue, 255);
  FrontEndBlock block(name);
  EXPECT_EQ(block.document(), errorDocument(1247, "INTERNAL ERROR!!!"));
  EXPECT_TRUE(job.tree("tmp").empty());
}

TEST_F(SharedMemoryJobTest, AMissingCommandFileEndsTheJobThoughNoBlockCanBearItsName) {
  job.commandSource = job.path("missing.xml");
  job.start();
  const JobResult result = job.wait();
  EXPECT_EQ(result.exitValue, 255);
  EXPECT_TRUE(result.statuses.empty());
  const std::vector<std::string> lines = job.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "exitCode: 1247"), lines.end());
}

TEST_F(SharedMemoryJobTest, ABlockThatIsTooSmallEndsTheJob) {
  ipc::shared_memory_object small(ipc::create_only, name.c_str(), ipc::read_write);
  small.truncate(2);
  job.start();
  const JobResult result = job.wait();
  EXPECT_EQ(result.exitValue, 255);
  const std::vector<std::string> lines = job.logLines();
  EXPECT_NE(std::find(lines.begin(), lines.end(), "exitCode: 1248"), lines.end());
  EXPECT_NE(std::find(lines.begin(), lines.end(), "Fail to write into shared memory!!! " + name),
            lines.end());
}

TEST_F(SharedMemoryJobTest, ABlockWithoutXmlIsReported) {
  FrontEndBlock block(name, "no commands at all");
  job.start();
  EXPECT_EQ(job.wait().exitValue, 255);
  EXPECT_EQ(block.document(), errorDocument(1027, "Command xml could not be read!"));
}

TEST_F(SharedMemoryJobTest, ABlockThatIsFilledToTheEndIsNoDanger) {
  FrontEndBlock block(name, std::string(FrontEndBlock::bytes - 5, 'x'));
  job.start();
  EXPECT_EQ(job.wait().exitValue, 255);
  EXPECT_EQ(block.document(), errorDocument(1027, "Command xml could not be read!"));
}

}  // namespace
}  // namespace ZelmoraTevra
