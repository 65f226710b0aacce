#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "core/Base64.h"
#include "core/Text.h"
#include "tests/support/JobTest.h"

namespace ZelmoraTevra {
namespace {

struct Outcome {
  int exitValue = -1;
  std::string output;
  std::string errors;
};

// The real program, as a front end starts it.
class TevraProgramTest : public JobTest {
 protected:
  Outcome start(std::vector<std::string> arguments,
                const std::vector<std::pair<std::string, std::string>>& variables = {}) {
    const std::string output = (folder.native() / "output").string();
    const std::string errors = (folder.native() / "errors").string();
    std::string program = TEVRA_PROGRAM;
    std::vector<char*> pointers{program.data()};
    for (std::string& each : arguments) pointers.push_back(each.data());
    pointers.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
      ::unsetenv("TEVRA_MACHINE");
      for (const auto& [name, value] : variables) ::setenv(name.c_str(), value.c_str(), 1);
      ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
      ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      for (const int descriptor : closedDescriptors) ::close(descriptor);
      ::execv(pointers[0], pointers.data());
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(path(u"output")),
            readFile(path(u"errors"))};
  }
  // Which of the standard streams the program is started without.
  std::vector<int> closedDescriptors;

  [[nodiscard]] std::string fields() const {
    return encodeBase64(toUtf8(path(u"commands.xml")) + "|" + toUtf8(path(u"temp")) + "|" +
                        toUtf8(path(u"backups")) + "|" + toUtf8(path(u"log.xml")));
  }
};

TEST_F(TevraProgramTest, WrongParametersAreToldOnStandardErrorWithTheCompanyInFront) {
  writeFile(path(u"registry.ini"),
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\ZELMORA\\ZELMORA tevra]\nCompany=ZELMORA\n");
  const Outcome outcome = start({"QUI"}, {{"TEVRA_REGISTRY", toUtf8(path(u"registry.ini"))}});
  EXPECT_EQ(outcome.exitValue, 255);
  EXPECT_EQ(outcome.errors, "ZELMORA: Wrong parameters.\n");
  EXPECT_EQ(outcome.output, "");
}

TEST_F(TevraProgramTest, WithoutACaptionTheBoxHoldsTheTextAlone) {
  const Outcome outcome = start({}, {{"TEVRA_REGISTRY", toUtf8(path(u"none.ini"))}});
  EXPECT_EQ(outcome.exitValue, 255);
  EXPECT_EQ(outcome.errors, "Wrong parameters.\n");
}

TEST_F(TevraProgramTest, AnEmptySequenceEndsWithZeroAndSaysNothing) {
  writeFile(path(u"commands.xml"), "<CommandSequence/>");
  const Outcome outcome = start({fields()});
  EXPECT_EQ(outcome.exitValue, 0);
  EXPECT_EQ(outcome.errors, "");
  EXPECT_EQ(outcome.output, "");
}

TEST_F(TevraProgramTest, ABadDocumentEndsWithMinusOneAndLeavesItsStatusUnderTheProgramsName) {
  writeFile(path(u"commands.xml"), "no xml");
  writeFile(path(u"log.xml"), "");
  EXPECT_EQ(start({fields()}).exitValue, 255);
  const std::string document = readFile(path(u"tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"));
  EXPECT_TRUE(document.ends_with("</TevraCLI>\n"));
  EXPECT_EQ(parseStatus(document).exitCode(), u"1027");
  EXPECT_EQ(logLines().back(), u"Backend finish!");
}

TEST_F(TevraProgramTest, ATextThatIsNoUtf8EndsWithMinusOne) {
  writeFile(path(u"commands.xml"), "<CommandSequence><Command CommandName='\xFF'/></CommandSequence>");
  const Outcome outcome = start({fields()});
  EXPECT_EQ(outcome.exitValue, 255);
  EXPECT_EQ(outcome.errors, "TevraCLI: Invalid UTF-8\n");
}

TEST_F(TevraProgramTest, WithoutStandardStreamsWhatItPrintsGetsIntoNoFile) {
  // So many drives that the program prints more than it logs afterwards.
  std::string nodes;
  for (char letter = 'E'; letter <= 'Z'; ++letter)
    nodes += std::string("<node id='USB\\A'><node id='USBSTOR\\ZELMORA'><volume letter='") + letter +
             "' folder='flash'/></node></node>";
  const std::string machine = "<machine><node id='R'>" + nodes + "</node></machine>";
  const std::string commands =
      "<CommandSequence><Command CommandName='REMOVE_DEVICE'><StorageCardDriveLetter>" + encodeBase64("E:") +
      "</StorageCardDriveLetter></Command></CommandSequence>";
  const auto run = [&] {
    makeFolder(path(u"flash"));
    writeFile(path(u"machine.xml"), machine);
    writeFile(path(u"commands.xml"), commands);
    writeFile(path(u"log.xml"), "");
    return start({fields()}, {{"TEVRA_MACHINE", toUtf8(path(u"machine.xml"))}});
  };
  const std::string printed = run().output;
  ASSERT_GT(printed.size(), 1'000U);
  const auto expected = logLines();
  for (const std::vector<int>& closed :
       {std::vector{1}, std::vector{0, 1}, std::vector{1, 2}, std::vector{0, 1, 2}, std::vector{0, 2}}) {
    closedDescriptors = closed;
    const Outcome outcome = run();
    EXPECT_NE(outcome.exitValue, -1);
    EXPECT_EQ(readFile(path(u"log.xml")).find(printed.substr(printed.size() - 100)), std::string::npos);
    EXPECT_EQ(logLines().size(), expected.size());
    EXPECT_EQ(logLines().back(), u"Backend finish!");
  }
}

}  // namespace
}  // namespace ZelmoraTevra
