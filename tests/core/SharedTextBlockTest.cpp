#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <tinyxml.h>
#include <unistd.h>

#include <atomic>
#include <boost/interprocess/shared_memory_object.hpp>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "core/Globals.h"
#include "core/SharedTextBlock.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "tests/support/JobTest.h"
#include "tests/support/SmallVolume.h"

namespace ZelmoraTevra {
namespace {

// The block as the front end sees it: the object itself, mapped by means of its own.
class FrontEndBlock {
 public:
  explicit FrontEndBlock(const std::string& name) {
    const int descriptor = ::shm_open(("/" + name).c_str(), O_RDWR, 0);
    if (descriptor < 0) return;
    size_ = static_cast<std::size_t>(::lseek(descriptor, 0, SEEK_END));
    address_ = ::mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    ::close(descriptor);
  }
  ~FrontEndBlock() {
    if (exists()) ::munmap(address_, size_);
  }
  FrontEndBlock(const FrontEndBlock&) = delete;
  FrontEndBlock& operator=(const FrontEndBlock&) = delete;

  [[nodiscard]] bool exists() const { return address_ != nullptr; }
  [[nodiscard]] std::size_t size() const { return size_; }
  [[nodiscard]] std::uint32_t& lockWord() { return *static_cast<std::uint32_t*>(address_); }
  [[nodiscard]] char* text() { return static_cast<char*>(address_) + 4; }

 private:
  void* address_ = nullptr;
  std::size_t size_ = 0;
};

// Ends with the scope, and is waited for.
class ChildProcess {
 public:
  template <typename Action>
  explicit ChildProcess(Action action) : id_(::fork()) {
    if (id_ != 0) return;
    action();
    ::_exit(0);
  }
  ~ChildProcess() { wait(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The exit value, -1 if a signal ended it.
  int wait() {
    if (id_ <= 0) return result_;
    int status = 0;
    ::waitpid(id_, &status, 0);
    id_ = 0;
    result_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result_;
  }
  void kill() const { ::kill(id_, SIGKILL); }

 private:
  pid_t id_;
  int result_ = -2;
};

// Stops whoever reads from a memory page, looks at a lock word at this moment, and lets the reader go on. One
// at a time.
class PageWatch {
 public:
  PageWatch(const char* page, std::uint32_t& lockWord) {
    watched_ = const_cast<char*>(page);
    seen_ = -1;
    lockWord_ = &lockWord;
    struct sigaction action = {};
    action.sa_handler = look;
    ::sigaction(SIGSEGV, &action, &before_);
    ::mprotect(watched_, pageBytes(), PROT_NONE);
  }
  ~PageWatch() {
    open();
    ::sigaction(SIGSEGV, &before_, nullptr);
  }
  PageWatch(const PageWatch&) = delete;
  PageWatch& operator=(const PageWatch&) = delete;

  [[nodiscard]] static std::size_t pageBytes() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }
  // The lock word when the page was read; -1 if it wasn't.
  [[nodiscard]] std::int64_t seen() const { return seen_; }

 private:
  static void open() { ::mprotect(watched_, pageBytes(), PROT_READ | PROT_WRITE); }
  static void look(int) {
    if (seen_ >= 0) ::_exit(1);  // it isn't the page that stops the reader
    seen_ = *lockWord_;
    open();
  }

  static inline char* watched_ = nullptr;
  static inline volatile std::uint32_t* lockWord_ = nullptr;
  static inline volatile std::int64_t seen_ = -1;
  struct sigaction before_ = {};
};

class SharedTextBlockTest : public JobTest {
 protected:
  SharedTextBlockTest() {
    commandsInSharedMemory = true;
    channelName = name_;
  }
  ~SharedTextBlockTest() override {
    boost::interprocess::shared_memory_object::remove(name_.c_str());
    commandsInSharedMemory = false;
  }

  const std::string name_ = "tevra_test_" + std::to_string(::getpid()) + "_block";

  void createWith(const std::string& text) {
    SharedTextBlock block(name_);
    ASSERT_EQ(block.create(), 0);
    ASSERT_EQ(block.write(text), 0);
  }
  [[nodiscard]] std::string readBack() const {
    SharedTextBlock block(name_);
    std::string text = "unread";
    EXPECT_EQ(block.open(), 0);
    EXPECT_EQ(block.read(text), 0);
    return text;
  }
};

TEST_F(SharedTextBlockTest, AnEmptyNameIsUnusable) {
  SharedTextBlock block("");
  std::string text = "kept";
  EXPECT_EQ(block.open(), -1);
  EXPECT_EQ(block.create(), -1);
  EXPECT_EQ(block.read(text), -1);
  EXPECT_EQ(block.write("x"), -1);
  EXPECT_EQ(text, "kept");
}

TEST_F(SharedTextBlockTest, WithoutAnObjectOpeningFails) {
  SharedTextBlock block(name_);
  std::string text;
  EXPECT_EQ(block.open(), -1);
  EXPECT_EQ(block.read(text), -1);
  EXPECT_EQ(block.write("x"), -1);
}

TEST_F(SharedTextBlockTest, ANameThatIsAPathIsNoObject) {
  EXPECT_EQ(SharedTextBlock(toUtf8(path(u"commands.xml"))).open(), -1);
  EXPECT_EQ(SharedTextBlock("../../etc/passwd").open(), -1);
  EXPECT_EQ(SharedTextBlock(std::string(5000, 'x')).open(), -1);
  EXPECT_EQ(SharedTextBlock(std::string(5000, 'x')).create(), -1);
}

TEST_F(SharedTextBlockTest, TheObjectHoldsALockWordAndATextOf8388608Bytes) {
  createWith("text \xC3\xA4");
  FrontEndBlock block(name_);
  ASSERT_TRUE(block.exists());
  EXPECT_EQ(block.size(), 0x800004U);
  EXPECT_EQ(block.lockWord(), 0U);
  EXPECT_STREQ(block.text(), "text \xC3\xA4");
}

TEST_F(SharedTextBlockTest, ANewObjectIsEmptyAndReplacesAnOldOne) {
  createWith("old");
  SharedTextBlock block(name_);
  ASSERT_EQ(block.create(), 0);
  EXPECT_EQ(readBack(), "");
}

TEST_F(SharedTextBlockTest, WhatIsWrittenIsReadBack) {
  createWith("a longer text");
  EXPECT_EQ(readBack(), "a longer text");
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  ASSERT_EQ(block.write("short"), 0);
  EXPECT_EQ(readBack(), "short");
  ASSERT_EQ(block.write(""), 0);
  EXPECT_EQ(readBack(), "");
}

TEST_F(SharedTextBlockTest, ATextThatHasNoRoomForItsEndIsRefused) {
  createWith("before");
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  EXPECT_EQ(block.write(std::string(8'388'609, 'x')), -1);
  EXPECT_EQ(block.write(std::string(8'388'608, 'x')), -1);
  EXPECT_EQ(readBack(), "before");
  const std::string longest(8'388'607, 'x');
  EXPECT_EQ(block.write(longest), 0);
  EXPECT_TRUE(readBack() == longest);
}

TEST_F(SharedTextBlockTest, ATextWithoutAnEndIsReadUpToTheBlocksEnd) {
  createWith("");
  FrontEndBlock front(name_);
  std::memset(front.text(), 'y', 8'388'608);
  EXPECT_TRUE(readBack() == std::string(8'388'608, 'y'));
}

TEST_F(SharedTextBlockTest, ABlockThatIsTooSmallIsNeverLeft) {
  for (const off_t size : {0, 1, 4, 5, 10}) {
    boost::interprocess::shared_memory_object::remove(name_.c_str());
    const int descriptor = ::shm_open(("/" + name_).c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(::ftruncate(descriptor, size), 0);
    ::close(descriptor);
    SharedTextBlock block(name_);
    ASSERT_EQ(block.open(), 0);
    std::string text;
    EXPECT_EQ(block.read(text), size > 4 ? 0 : -1) << size;
    EXPECT_EQ(block.write("123456"), -1) << size;
    EXPECT_EQ(block.write("12345"), size == 10 ? 0 : -1) << size;
  }
}

TEST_F(SharedTextBlockTest, AWritingHoldsTheLockFromItsFirstByteToItsLast) {
  createWith("before");
  FrontEndBlock front(name_);
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  const std::size_t page = PageWatch::pageBytes();
  const std::string text(1'000'000, 'x');
  const char* first = text.data() + (page - reinterpret_cast<std::uintptr_t>(text.data()) % page);
  const char* last = first + (text.size() / page - 2) * page;
  for (const char* watched : {first, last}) {
    const PageWatch watch(watched, front.lockWord());
    EXPECT_EQ(block.write(text), 0);
    EXPECT_EQ(watch.seen(), 1);
    EXPECT_EQ(front.lockWord(), 0U);
  }
  EXPECT_TRUE(readBack() == text);
}

TEST_F(SharedTextBlockTest, AReaderThatDiedWithTheLockBlocksNoWriter) {
  createWith("commands");
  ChildProcess reader([&] {
    FrontEndBlock block(name_);
    block.lockWord() = 1;
  });
  EXPECT_EQ(reader.wait(), 0);
  ASSERT_EQ(FrontEndBlock(name_).lockWord(), 1U);
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  EXPECT_EQ(block.write("status"), 0);
  EXPECT_EQ(FrontEndBlock(name_).lockWord(), 0U);
  EXPECT_EQ(readBack(), "status");
}

TEST_F(SharedTextBlockTest, ATextThatIsTooLongFreesTheLockOfADeadReader) {
  createWith("commands");
  FrontEndBlock front(name_);
  front.lockWord() = 1;
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  EXPECT_EQ(block.write(std::string(8'388'608, 'x')), -1);
  ASSERT_EQ(front.lockWord(), 0U);
  EXPECT_EQ(readBack(), "commands");
}

TEST_F(SharedTextBlockTest, ATextWithoutMemoryForItFreesTheLockOfADeadReader) {
  const SmallVolume memory("/dev/shm", 64 * 1024);
  if (!memory.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  createWith("commands");
  FrontEndBlock front(name_);
  front.lockWord() = 1;
  SharedTextBlock block(name_);
  ASSERT_EQ(block.open(), 0);
  EXPECT_EQ(block.write(std::string(1'000'000, 'x')), -1);
  ASSERT_EQ(front.lockWord(), 0U);
  EXPECT_EQ(readBack(), "commands");
}

TEST_F(SharedTextBlockTest, WithoutMemoryForTheLockWordNothingIsWritten) {
  const SmallVolume memory("/dev/shm", 64 * 1024);
  if (!memory.isMounted()) GTEST_SKIP() << "a volume of its own needs the rights of the superuser";
  std::ofstream(std::filesystem::path("/dev/shm/full")) << std::string(64 * 1024, 'x');
  SharedTextBlock block(name_);
  ASSERT_EQ(block.create(), 0);
  EXPECT_EQ(block.write("status"), -1);
  std::filesystem::remove("/dev/shm/full");
  EXPECT_EQ(block.write("status"), 0);
  EXPECT_EQ(readBack(), "status");
}

TEST_F(SharedTextBlockTest, AReaderThatWasKilledWithTheLockBlocksNoStatus) {
  createWith("commands");
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  ChildProcess reader([&] {
    FrontEndBlock block(name_);
    block.lockWord() = 1;
    if (::write(ready[1], "x", 1) != 1) ::_exit(1);
    for (;;) ::pause();
  });
  char byte;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  reader.kill();
  EXPECT_EQ(reader.wait(), -1);
  ::close(ready[0]);
  ::close(ready[1]);
  StatusXml::instance().setState(9);
  EXPECT_TRUE(StatusXml::instance().save());
  EXPECT_EQ(parseStatus(readBack()).state, 9);
}

TEST_F(SharedTextBlockTest, AReadingWaitsUntilTheOtherProcessFreesTheLock) {
  createWith("half");
  FrontEndBlock front(name_);
  front.lockWord() = 1;
  // The other process writes its text to the end while the reader gives way.
  int waits = 0;
  clock.onSleep = [&](std::uint32_t milliseconds) {
    EXPECT_EQ(milliseconds, 1U);
    if (++waits < 3) return;
    std::strcpy(front.text(), "whole");
    std::atomic_ref<std::uint32_t>(front.lockWord()).store(0);
  };
  EXPECT_EQ(readBack(), "whole");
  EXPECT_EQ(waits, 3);
  EXPECT_EQ(front.lockWord(), 0U);
}

TEST_F(SharedTextBlockTest, AFrontEndInAnotherProcessReadsTheStatusUnderTheLock) {
  createWith("<CommandSequence />");
  ChildProcess frontEnd([&] {
    FrontEndBlock block(name_);
    std::atomic_ref<std::uint32_t> lock(block.lockWord());
    for (;;) {
      std::uint32_t free = 0;
      if (!lock.compare_exchange_strong(free, 1)) continue;
      const std::string text(block.text(), ::strnlen(block.text(), SharedTextBlock::textBytes));
      std::uint32_t held = 1;
      lock.compare_exchange_strong(held, 0);
      if (text.ends_with("<executionTime>0</executionTime>\n</status>\n")) ::_exit(42);
    }
  });
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& root = addElement(document, "status");
  addElement(root, "description0", WideText(100'000, u'x'));
  addElement(root, "executionTime", u"0");
  EXPECT_TRUE(writeDocumentToSharedMemory(document));
  EXPECT_EQ(frontEnd.wait(), 42);
}

TEST_F(SharedTextBlockTest, AStatusGoesIntoTheBlockAsTheXmlLibraryPrintsIt) {
  createWith("<CommandSequence />");
  StatusXml& status = StatusXml::instance();
  status.setState(1);
  status.setPercent(7);
  ASSERT_TRUE(status.save());
  const std::string name = toUtf8(status.executableBaseName());
  EXPECT_EQ(readBack(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<" + name +
                            ">\n    <stat>1</stat>\n    <description0>7</description0>\n</" + name + ">\n");
  EXPECT_FALSE(fileExists(status.statusFilePath()));
}

TEST_F(SharedTextBlockTest, ABlockThatVanishedIsMadeAnew) {
  createWith("<CommandSequence />");
  ASSERT_TRUE(boost::interprocess::shared_memory_object::remove(name_.c_str()));
  StatusXml::instance().setState(1);
  ASSERT_TRUE(StatusXml::instance().save());
  EXPECT_EQ(parseStatus(readBack()).state, 1);
  EXPECT_EQ(FrontEndBlock(name_).size(), 0x800004U);
}

TEST_F(SharedTextBlockTest, ADocumentWithoutABlockIsLogged) {
  startLog();
  channelName = "";
  EXPECT_FALSE(writeDocumentToSharedMemory(newXmlDocument("UTF-8")));
  channelName = "no/such/folder";
  EXPECT_FALSE(writeDocumentToSharedMemory(newXmlDocument("UTF-8")));
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"Fail to open shared memory!!! ",
                                               u"Fail to open shared memory!!! no/such/folder"}));
}

TEST_F(SharedTextBlockTest, ADocumentThatDoesNotFitIsLogged) {
  startLog();
  TiXmlDocument document = newXmlDocument("UTF-8");
  addElement(document, "root", WideText(8'388'608, u'x'));
  EXPECT_FALSE(writeDocumentToSharedMemory(document));
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"Fail to write into shared memory!!! " + toWide(name_)}));
}

TEST_F(SharedTextBlockTest, ATerminalStatusThatFindsNoBlockIsTriedFiveTimes) {
  startLog();
  channelName = "";
  StatusXml::instance().setState(7);
  EXPECT_FALSE(StatusXml::instance().save());
  const std::vector<WideText> lines = logLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), u"Fail to open shared memory!!! "), 5);
  EXPECT_EQ(clock.slept, 50U);
}

}  // namespace
}  // namespace ZelmoraTevra
