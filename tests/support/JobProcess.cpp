#include "tests/support/JobProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tinyxml.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <system_error>

#include "core/Base64.h"
#include "core/MD5.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

namespace fs = std::filesystem;

constexpr int patienceMilliseconds = 120'000;  // a program that hangs is killed, which fails the test

std::string contentOf(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return "<missing>";
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string escaped(const std::string& text) {
  std::string result;
  TiXmlBase::EncodeString(text, &result);
  return result;
}

std::string volumeNode(char letter, const std::string& folder, const SimulatedStorage& storage) {
  std::string volume = "<volume letter=\"" + std::string(1, letter) + "\" folder=\"" + folder + "\"";
  if (storage.capacity) volume += " capacity=\"" + std::to_string(*storage.capacity) + "\"";
  if (storage.readOnly) volume += " readOnly=\"true\"";
  if (!storage.present) volume += " ejected=\"true\"";
  return "<node id=\"USBSTOR\\DISK\\" + folder + "\">" + volume + "/></node>";
}

void redirect(int stream, const std::string& file) {
  const int target = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(target, stream);
  ::close(target);
}

}  // namespace

std::string JobResult::document() const {
  std::string text = last.document;
  const std::string open = "<executionTime>";
  const std::size_t start = text.find(open);
  if (start == std::string::npos) return text;
  const std::size_t digits = start + open.size();
  return text.replace(digits, text.find('<', digits) - digits, "*");
}

std::string terminalDocument(int state, const std::vector<std::string>& descriptions,
                             const std::map<std::string, std::string>& attributes) {
  std::ostringstream text;
  text << "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<TevraCLI>\n    <stat>" << state << "</stat>\n";
  const auto element = [&text](const std::string& name, const std::string& value) {
    text << "    <" << name << '>' << escaped(value) << "</" << name << ">\n";
  };
  for (std::size_t i = 0; i < descriptions.size(); ++i)
    element("description" + std::to_string(i), descriptions[i]);
  for (const auto& [name, value] : attributes) element(name, value);
  element("executionTime", "*");
  text << "</TevraCLI>\n";
  return text.str();
}

Tree treeOf(const fs::path& folder) {
  Tree tree;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::string& content = tree[fs::relative(entry.path(), folder).generic_string()];
    if (entry.is_symlink()) {
      content = "link to " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      content = "folder";
    } else {
      content = md5Of(contentOf(entry.path()));
    }
  }
  return tree;
}

std::string md5Of(const std::string& content) {
  setup2::MD5 md5;
  md5.add(content.data(), content.size());
  md5.finish();
  return toUtf8(md5.text());
}

std::string noise(std::size_t size, std::uint64_t seed) {
  std::mt19937_64 generator(seed);
  std::string bytes;
  bytes.reserve(size + sizeof(std::uint64_t));
  while (bytes.size() < size) {
    const std::uint64_t word = generator();
    bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
  }
  bytes.resize(size);
  return bytes;
}

JobProcess::JobProcess(std::string program)
    : commandSource(path("commands.xml")),
      tempFolder(path("temp")),
      program_(std::move(program)),
      programName_(fs::path(program_).stem()) {
  for (const char* name : {"tmp", "temp", "backups", "flash/ZELMORA", "card"})
    fs::create_directories(path(name));
}

JobProcess::~JobProcess() {
  if (child_ > 0) {
    kill();
    ::waitpid(child_, nullptr, 0);
  }
  if (inotify_ >= 0) ::close(inotify_);
}

std::string JobProcess::path(const std::string& relative) const {
  return (folder_.native() / relative).string();
}

void JobProcess::write(const std::string& relative, const std::string& content) const {
  fs::create_directories(fs::path(path(relative)).parent_path());
  std::ofstream(path(relative), std::ios::binary) << content;
}

std::string JobProcess::read(const std::string& relative) const {
  return contentOf(path(relative));
}

bool JobProcess::exists(const std::string& relative) const {
  return fs::exists(fs::symlink_status(path(relative)));
}

void JobProcess::start(const std::string& commandDocument) {
  write("commands.xml", commandDocument);
  start();
}

void JobProcess::startWith(const std::vector<std::string>& arguments) {
  std::vector<std::string> words = {program_};
  words.insert(words.end(), arguments.begin(), arguments.end());
  startChild(
      [this, &words] {
        std::vector<char*> argv;
        for (std::string& word : words) argv.push_back(word.data());
        argv.push_back(nullptr);
        ::execv(program_.c_str(), argv.data());
        return 127;
      },
      fs::path(program_).stem());
}

void JobProcess::startInside(const std::string& commandDocument,
                             const std::function<int(int, const char* const*)>& entry) {
  write("commands.xml", commandDocument);
  const std::string encoded = argument();
  startChild(
      [&] {
        const std::array<const char*, 3> argv = {program_.c_str(), encoded.c_str(), nullptr};
        return entry(2, argv.data());
      },
      fs::read_symlink("/proc/self/exe").stem());
}

JobResult JobProcess::wait(const Observer& observer) {
  JobResult result;
  const auto look = [&] {
    if (inotify_ >= 0) ::inotify_add_watch(inotify_, statusFolder().c_str(), IN_MOVED_TO | IN_CLOSE_WRITE);
    SavedStatus status = parseStatus(contentOf(statusFile()));
    if (status.state == -100 ||
        (!result.statuses.empty() && result.statuses.back().document == status.document))
      return;
    result.statuses.push_back(std::move(status));
    if (observer) observer(result.statuses.back());
  };

  const int process = static_cast<int>(::syscall(SYS_pidfd_open, child_, 0));
  std::array<pollfd, 2> sources = {pollfd{process, POLLIN, 0}, pollfd{inotify_, POLLIN, 0}};
  look();
  for (;;) {
    const int ready = ::poll(sources.data(), sources.size(), patienceMilliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) kill();
    if ((sources[1].revents & POLLIN) != 0) {
      std::array<char, 8192> events;
      static_cast<void>(::read(inotify_, events.data(), events.size()));
      look();
    }
    if (ready <= 0 || (sources[0].revents & POLLIN) != 0) break;
  }
  ::close(process);
  int state = 0;
  ::waitpid(child_, &state, 0);
  child_ = -1;
  look();

  result.exitValue = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
  result.signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
  result.errors = read("stderr.txt");
  result.output = read("stdout.txt");
  if (!result.statuses.empty()) result.last = result.statuses.back();
  return result;
}

void JobProcess::kill() const {
  if (child_ > 0) ::kill(child_, SIGKILL);
}

std::string JobProcess::argument() const {
  std::string fields = commandSource + "|" + tempFolder + "|" + path("backups");
  if (keepsLog) fields += "|" + path("log.xml");
  return encodeBase64(fields);
}

void JobProcess::writeAbortFile() const {
  const std::string beside = path("tmp/abort.xml");
  std::ofstream(beside)
      << "<tevraCLIAbortSequence><Command><abortFlag>true</abortFlag></Command></tevraCLIAbortSequence>";
  fs::create_directories(statusFolder());
  fs::rename(beside, statusFolder() + "/ud_" + programName_ + "_abort.xml");
}

bool JobProcess::abortFileExists() const {
  return fs::exists(statusFolder() + "/ud_" + programName_ + "_abort.xml");
}

std::vector<std::string> JobProcess::logLines() const {
  std::vector<std::string> lines;
  TiXmlDocument document;
  document.Parse(read("log.xml").c_str(), nullptr, TIXML_ENCODING_UTF8);
  const TiXmlElement* root = document.RootElement();
  for (const TiXmlElement* line = root != nullptr ? root->FirstChildElement() : nullptr; line != nullptr;
       line = line->NextSiblingElement())
    lines.emplace_back(line->GetText() != nullptr ? line->GetText() : "");
  if (!lines.empty()) lines.erase(lines.begin());
  return lines;
}

std::vector<std::string> JobProcess::logLinesToTheLetter() const {
  TiXmlBase::SetCondenseWhiteSpace(false);
  std::vector<std::string> lines = logLines();
  TiXmlBase::SetCondenseWhiteSpace(true);
  return lines;
}

std::vector<std::string> JobProcess::loggedStates() const {
  const std::string prefix = "Status changed: ";
  std::vector<std::string> states;
  for (const std::string& line : logLines())
    if (line.starts_with(prefix)) states.push_back(line.substr(prefix.size()));
  return states;
}

std::string JobProcess::statusFile() const {
  return statusFolder() + "/ud_" + programName_ + ".xml";
}

void JobProcess::writeMachine() const {
  std::ofstream(path("machine.xml"))
      << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<machine><node id=\"HTREE\\ROOT\\0\">"
      << "<node id=\"USB\\VID_1F5A&amp;PID_0001\\A1\">" << volumeNode('E', "flash", flash)
      << volumeNode('F', "card", card) << "</node></node></machine>\n";
}

void JobProcess::startChild(const std::function<int()>& body, const std::string& programName) {
  programName_ = programName;
  if (keepsLog && !exists("log.xml")) write("log.xml", "");
  if (simulatesMachine && makesMachine) writeMachine();
  if (inotify_ < 0) inotify_ = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  ::inotify_add_watch(inotify_, path("tmp").c_str(), IN_CREATE);
  child_ = ::fork();
  if (child_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child_ > 0) return;
  setUpChild();
  ::_exit(body());
}

void JobProcess::setUpChild() const {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  redirect(STDERR_FILENO, path("stderr.txt"));
  if (standardOutput >= 0) {
    ::dup2(standardOutput, STDOUT_FILENO);
  } else {
    redirect(STDOUT_FILENO, path("stdout.txt"));
  }
  ::setenv("TMP", path("tmp").c_str(), 1);
  ::unsetenv("TEVRA_MACHINE");
  if (simulatesMachine) ::setenv("TEVRA_MACHINE", path("machine.xml").c_str(), 1);
  for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
}

}  // namespace ZelmoraTevra
