#pragma once

#include <functional>
#include <string>

#include "platform/Machine.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FaultyFileSystem.h"
#include "tests/support/JobProcess.h"

namespace ZelmoraTevra {

// What a test has in its hands in the process of a watched job: its clock, its disk, and the moments at which
// it may act.
struct JobWatch {
  explicit JobWatch(platform::FileSystem& disk) : files(disk) {}

  // Stands still but for sleeps.
  FakeClock clock;
  // Counts the operations that change something, those on the status documents excepted.
  FaultyFileSystem files;
  // Called when a status document has got its name.
  std::function<void(const SavedStatus&)> onStatus;
  // Called before a file is opened for reading, with its path in "/".
  std::function<void(const std::string& path)> onRead;
  // Called when a file has got its name, with the path in "/".
  std::function<void(const std::string& path)> onNamed;
  // The removal of a file fails if this is true for its path in "/".
  std::function<bool(const std::string& path)> keeps;
};

// Runs a job to its end in a child of the test, on a disk that loses nothing when a process is killed. The
// result has all statuses that were saved. In simulation the machine is the one of the job's storages.
[[nodiscard]] JobResult runWatched(JobProcess& job, const std::string& commandDocument,
                                   const std::function<void(JobWatch&)>& setup);

}  // namespace ZelmoraTevra
