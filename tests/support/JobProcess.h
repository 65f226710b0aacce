#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/JobTest.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

// A storage of the simulated machine.
struct SimulatedStorage {
  bool present = true;
  bool readOnly = false;
  std::optional<std::int64_t> capacity;  // bytes; without it that of the disk
};

struct JobResult {
  int exitValue = -1;  // -1 if a signal ended the process
  int signal = 0;
  std::string errors;  // standard error
  std::string output;  // standard output, unless the job was given another one
  std::vector<SavedStatus>
      statuses;      // in order, those that were seen: a front end that polls misses some too
  SavedStatus last;  // what stands there at the end

  // The last document, with "*" for the seconds that the job took. Empty if there is none.
  [[nodiscard]] std::string document() const;
};

// What the program writes as a terminal status, byte for byte, with "*" for the seconds.
[[nodiscard]] std::string terminalDocument(int state, const std::vector<std::string>& descriptions,
                                           const std::map<std::string, std::string>& attributes);

// Path to content: "folder", "link to ..." or the MD5 of a file.
using Tree = std::map<std::string, std::string>;

[[nodiscard]] Tree treeOf(const std::filesystem::path& folder);
[[nodiscard]] std::string md5Of(const std::string& content);
// `size` bytes that differ for each seed and can't be compressed.
[[nodiscard]] std::string noise(std::size_t size, std::uint64_t seed);

// A job of the real program, played as a front end does it, in a folder of its own: "tmp" with the status,
// "temp", "backups", and the device's storages "flash" (E:) and "card" (F:) on a simulated machine. The
// folder outlives a job, so that a second one finds what the first one left.
class JobProcess {
  TemporaryFolder folder_;  // the first member: the others name paths in it

 public:
  using Observer = std::function<void(const SavedStatus&)>;

  explicit JobProcess(std::string program);
  ~JobProcess();
  JobProcess(const JobProcess&) = delete;
  JobProcess& operator=(const JobProcess&) = delete;

  // What the next job is given.
  SimulatedStorage flash;
  SimulatedStorage card;
  bool simulatesMachine = true;  // else there are no letters, and "flash" and "card" are plain folders
  bool makesMachine = true;      // else "machine.xml" is what the test wrote, or an earlier job left
  int standardOutput = -1;       // a descriptor to write to, instead of one whose text the result holds
  bool keepsLog = true;
  std::string commandSource;                       // the path of the command document, unless it is changed
  std::string tempFolder;                          // "temp", unless it is changed
  std::map<std::string, std::string> environment;  // besides the usual variables

  // An absolute path in the job's folder.
  [[nodiscard]] std::string path(const std::string& relative) const;
  void write(const std::string& relative, const std::string& content) const;
  // "<missing>" if there is no such file.
  [[nodiscard]] std::string read(const std::string& relative) const;
  [[nodiscard]] bool exists(const std::string& relative) const;
  [[nodiscard]] Tree tree(const std::string& relative) const { return treeOf(path(relative)); }

  // Writes the command document and starts the program on it.
  void start(const std::string& commandDocument);
  // Starts it on a command source that the test has made, or hasn't.
  void start() { startWith({argument()}); }
  // Starts it with these arguments.
  void startWith(const std::vector<std::string>& arguments);
  // Starts a function in a child of the test instead; it gets what `main` would get, and its result is the
  // exit value. The status then bears the name of the test program.
  void startInside(const std::string& commandDocument,
                   const std::function<int(int argc, const char* const* argv)>& entry);
  // Waits until the process has ended. The observer gets each status document that is seen.
  JobResult wait(const Observer& observer = {});
  JobResult run(const std::string& commandDocument) {
    start(commandDocument);
    return wait();
  }
  JobResult runInside(const std::string& commandDocument,
                      const std::function<int(int argc, const char* const* argv)>& entry) {
    startInside(commandDocument, entry);
    return wait();
  }
  // SIGKILL; `wait` comes after it.
  void kill() const;
  [[nodiscard]] pid_t pid() const { return child_; }

  // The one argument of the program.
  [[nodiscard]] std::string argument() const;
  [[nodiscard]] std::string statusFolder() const { return path("tmp/ZELMORATevra_tmp"); }
  // As a front end does it: complete in one go.
  void writeAbortFile() const;
  [[nodiscard]] bool abortFileExists() const;
  // The log's texts in order, without its first line, over all jobs so far.
  [[nodiscard]] std::vector<std::string> logLines() const;
  // The same with the blanks as they are in the file, where a reader would condense them.
  [[nodiscard]] std::vector<std::string> logLinesToTheLetter() const;
  // The names of the states that the log tells of.
  [[nodiscard]] std::vector<std::string> loggedStates() const;

 private:
  [[nodiscard]] std::string statusFile() const;
  void writeMachine() const;
  void startChild(const std::function<int()>& body, const std::string& programName);
  void setUpChild() const;

  std::string program_;
  std::string programName_;  // names the status file
  pid_t child_ = -1;
  int inotify_ = -1;
};

}  // namespace ZelmoraTevra
