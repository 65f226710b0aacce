#include "core/Digest.h"
#include "core/MD5.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

// A file system on which reading stops: at the end of what there is, or with an error.
class StoppingFileSystem : public platform::ForwardingFileSystem {
 public:
  StoppingFileSystem(platform::FileSystem& target, bool withError)
      : ForwardingFileSystem(target), withError_(withError) {}

  std::int64_t fileSize(const WideText& path, platform::ErrorCode& error) override {
    return target().fileSize(path, error) + (withError_ ? 0 : 1);
  }
  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (!withError_ || mode != platform::OpenMode::read) return target().open(path, mode, error);
    return std::make_unique<FailingHandle>();
  }

 private:
  class FailingHandle : public platform::FileHandle {
   public:
    std::int64_t read(void*, std::size_t, platform::ErrorCode& error) override { return fail(error), -1; }
    bool write(const void*, std::size_t, platform::ErrorCode& error) override { return fail(error); }
    bool seek(std::uint64_t, platform::ErrorCode& error) override { return fail(error); }
    std::int64_t size(platform::ErrorCode& error) override { return fail(error), -1; }
    bool truncate(std::uint64_t, platform::ErrorCode& error) override { return fail(error); }
    bool flush(platform::ErrorCode& error) override { return fail(error); }
    bool sync(platform::ErrorCode& error) override { return fail(error); }
    bool close(platform::ErrorCode& error) override { return fail(error); }

   private:
    static bool fail(platform::ErrorCode& error) {
      error = boost::system::errc::make_error_code(boost::system::errc::io_error);
      return false;
    }
  };

  bool withError_;
};

class DigestTest : public JobTest {
 protected:
  WideText file = path(u"data.bin");

  void writeBytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<char>(i * 131 + i / 977);
    writeFile(file, bytes);
  }
  [[nodiscard]] WideText expected(std::size_t count) const {
    const std::string bytes = readFile(file);
    setup2::MD5 md5;
    md5.add(bytes.data(), std::min(count, bytes.size()));
    md5.finish();
    return md5.text();
  }
};

TEST_F(DigestTest, OfAnEmptyFileIsThatOfNoData) {
  writeFile(file, "");
  EXPECT_EQ(fileDigest(file), u"D41D8CD98F00B204E9800998ECF8427E");
  EXPECT_EQ(fileStartDigest(file, 102'400, 102'400), u"D41D8CD98F00B204E9800998ECF8427E");
}

TEST_F(DigestTest, OfAMissingFileOrAFolderIsEmptyWithoutALogLine) {
  startLog();
  EXPECT_EQ(fileDigest(file), u"");
  EXPECT_EQ(fileStartDigest(file, 102'400, 102'400), u"");
  EXPECT_EQ(fileDigest(path(u"temp")), u"");
  EXPECT_TRUE(logLines().empty());
}

TEST_F(DigestTest, CoversTheWholeFileAroundItsBlockSize) {
  for (const std::size_t size : {1, 64, 1'048'575, 1'048'576, 1'048'577, 2'500'000}) {
    writeBytes(size);
    EXPECT_EQ(fileDigest(file), expected(size)) << size;
  }
}

TEST_F(DigestTest, OfTheStartOfAShortFileIsThatOfTheFile) {
  writeBytes(50'000);
  EXPECT_EQ(fileStartDigest(file, 102'400, 102'400), fileDigest(file));
}

TEST_F(DigestTest, OfTheStartStopsAtTheGivenNumberOfBytes) {
  writeBytes(300'000);
  EXPECT_EQ(fileStartDigest(file, 102'400, 102'400), expected(102'400));
  EXPECT_EQ(fileStartDigest(file, 102'400, 1'000), expected(102'400));
  EXPECT_NE(fileStartDigest(file, 102'400, 102'400), fileDigest(file));
}

TEST_F(DigestTest, OfAFileThatEndsTooEarlyIsEmptyAndLogged) {
  startLog();
  writeBytes(50'000);
  StoppingFileSystem stopping(files(), false);
  useFileSystem(stopping);
  EXPECT_EQ(fileDigest(file), u"");
  EXPECT_EQ(fileStartDigest(file, 102'400, 102'400), u"");
  EXPECT_EQ(logLines(), (std::vector<WideText>{u"Error on reading " + file + u"!!!",
                                               u"Error on reading " + file + u"!"}));
}

TEST_F(DigestTest, OfAFileThatCannotBeReadIsEmptyAndLogged) {
  startLog();
  writeBytes(50'000);
  StoppingFileSystem stopping(files(), true);
  useFileSystem(stopping);
  EXPECT_EQ(fileDigest(file), u"");
  EXPECT_TRUE(logHas(u"Error on reading " + file + u"!!!"));
}

}  // namespace
}  // namespace ZelmoraTevra
