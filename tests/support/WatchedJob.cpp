#include "tests/support/WatchedJob.h"

#include <stdlib.h>

#include <filesystem>
#include <memory>

#include "app/ProcessEntry.h"
#include "core/Text.h"
#include "tests/support/UnsyncedFileSystem.h"

namespace ZelmoraTevra {

namespace {

std::string inSlashes(const WideText& path) {
  return toUtf8(toForwardSlashes(path));
}

// Sees what the process does, before faults come into it. The status documents go past the faults.
class WatchedFileSystem : public platform::ForwardingFileSystem {
 public:
  WatchedFileSystem(JobWatch& watch, platform::FileSystem& disk, const JobProcess& job)
      : ForwardingFileSystem(static_cast<platform::FileSystem&>(watch.files)),
        watch_(watch),
        disk_(disk),
        job_(job) {}

  std::unique_ptr<platform::FileHandle> open(const WideText& path, platform::OpenMode mode,
                                             platform::ErrorCode& error) override {
    if (isOfFrontEnd(path)) return disk_.open(path, mode, error);
    if (mode == platform::OpenMode::read && watch_.onRead) watch_.onRead(inSlashes(path));
    return target().open(path, mode, error);
  }
  bool createFolder(const WideText& path, platform::ErrorCode& error) override {
    return isOfFrontEnd(path) ? disk_.createFolder(path, error) : target().createFolder(path, error);
  }
  bool rename(const WideText& from, const WideText& to, platform::ErrorCode& error) override {
    if (isOfFrontEnd(to)) {
      const bool renamed = disk_.rename(from, to, error);
      if (renamed) keepStatus(inSlashes(to));
      return renamed;
    }
    const bool renamed = target().rename(from, to, error);
    if (renamed && watch_.onNamed) watch_.onNamed(inSlashes(to));
    return renamed;
  }
  bool removeFile(const WideText& path, platform::ErrorCode& error) override {
    if (isOfFrontEnd(path)) return disk_.removeFile(path, error);
    if (!watch_.keeps || !watch_.keeps(inSlashes(path))) return target().removeFile(path, error);
    error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    return false;
  }

 private:
  [[nodiscard]] bool isOfFrontEnd(const WideText& path) const {
    return inSlashes(path).starts_with(job_.path("tmp/"));
  }
  void keepStatus(const std::string& path) {
    const std::string document = job_.read(std::filesystem::relative(path, job_.path("")).string());
    job_.write("statuses/" + std::to_string(++count_), document);
    if (watch_.onStatus) watch_.onStatus(parseStatus(document));
  }

  JobWatch& watch_;
  platform::FileSystem& disk_;
  const JobProcess& job_;
  int count_ = 0;
};

}  // namespace

JobResult runWatched(JobProcess& job, const std::string& commandDocument,
                     const std::function<void(JobWatch&)>& setup) {
  std::filesystem::remove_all(job.path("statuses"));
  JobResult result = job.runInside(commandDocument, [&](int argc, const char* const* argv) {
    platform::Machine machine = platform::nativeMachine();
    std::unique_ptr<platform::SimulatedMachine> simulated;
    if (job.simulatesMachine) {
      simulated = platform::openSimulatedMachine(toWide(job.path("machine.xml")));
      machine = simulated->machine();
      ::unsetenv("TEVRA_MACHINE");
    }
    UnsyncedFileSystem disk(*machine.files);
    JobWatch watch(disk);
    WatchedFileSystem files(watch, disk, job);
    machine.files = &files;
    machine.clock = &watch.clock;
    setup(watch);
    const platform::ScopedMachine scope(machine);
    return runProcess(argc, argv);
  });
  result.statuses.clear();
  for (int number = 1; job.exists("statuses/" + std::to_string(number)); ++number)
    result.statuses.push_back(parseStatus(job.read("statuses/" + std::to_string(number))));
  return result;
}

}  // namespace ZelmoraTevra
