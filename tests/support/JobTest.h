#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ForwardingFileSystem.h"
#include "platform/Machine.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace ZelmoraTevra {

// A status document as a front end reads it.
struct SavedStatus {
  std::string document;  // the bytes
  int state = -100;      // -100: there is none
  std::vector<WideText> descriptions;
  std::vector<WideText> descriptionAttributes;  // "" where there is none
  std::map<WideText, WideText> attributes;  // everything else, "executionTime" and "serialNumber" included

  [[nodiscard]] WideText exitCode() const;
};

// A test of what runs within a job: a temporary folder with the folders that a job has, the status in a file,
// a clock that stands still, and all values of the process as they are at its start.
class JobTest : public ::testing::Test {
 protected:
  JobTest();
  ~JobTest() override;

  // A path below the test's temporary folder, joined by "/".
  [[nodiscard]] WideText path(WideView relative) const;
  // Creates or replaces a file, its folders included.
  void writeFile(const WideText& path, const std::string& content) const;
  // "<missing>" if there is no such file.
  [[nodiscard]] std::string readFile(const WideText& path) const;
  [[nodiscard]] bool fileExists(const WideText& path) const;
  void makeFolder(const WideText& path) const;
  // All files and folders below, relative, sorted, folders with "/" at the end.
  [[nodiscard]] std::vector<std::string> tree(const WideText& path) const;

  // The status document that the front end would find now.
  [[nodiscard]] SavedStatus status() const;
  // All status documents that were saved, in order.
  [[nodiscard]] const std::vector<SavedStatus>& statusHistory() const { return history_; }

  // Turns the log on. Before the first line is written, that is at the start of a test.
  void startLog();
  // The log's lines so far, without the first one.
  [[nodiscard]] std::vector<WideText> logLines() const;
  [[nodiscard]] bool logHas(const WideText& line) const;

  // Puts another file system below everything, as a FaultyFileSystem over `files()`.
  void useFileSystem(platform::FileSystem& files);
  [[nodiscard]] platform::FileSystem& files() { return *machine_.files; }
  void useMachine(const platform::Machine& machine);

  TemporaryFolder folder;
  FakeClock clock;

 private:
  class RecordingFileSystem;

  ScopedEnvironment systemTemp_;
  std::unique_ptr<RecordingFileSystem> recorder_;
  platform::Machine machine_;
  std::unique_ptr<platform::ScopedMachine> scope_;
  std::vector<SavedStatus> history_;
};

// How a status document reads.
[[nodiscard]] SavedStatus parseStatus(const std::string& document);

}  // namespace ZelmoraTevra
