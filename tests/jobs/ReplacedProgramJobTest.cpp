#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

class ReplacedProgramJobTest : public ProgramTest {};

// As when an update of the content manager puts another program in its place.
TEST_F(ReplacedProgramJobTest, AProgramWhoseFileIsGoneWritesItsStatusUnderItsOwnName) {
  const std::string program = job.path("Renamed.exe");
  std::filesystem::copy_file(TEVRA_PROGRAM, program);
  std::filesystem::create_directory(job.statusFolder());
  const JobResult result = job.runInside("<Commands/>", [&](int, const char* const* argv) {
    const int descriptor = ::open(program.c_str(), O_RDONLY | O_CLOEXEC);
    ::unlink(program.c_str());
    ::fexecve(descriptor, const_cast<char* const*>(argv), environ);
    return 127;
  });
  EXPECT_EQ(result.exitValue, 255) << result.errors;
  const std::string status = job.read("tmp/ZELMORATevra_tmp/ud_Renamed.xml");
  EXPECT_NE(status.find("\n<Renamed>\n    <stat>7</stat>\n"), std::string::npos) << status;
}

}  // namespace
}  // namespace ZelmoraTevra
