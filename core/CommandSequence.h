#pragma once

#include <tinyxml.h>

#include <memory>
#include <vector>

#include "core/CommandTable.h"
#include "core/IndicatorFile.h"

namespace ZelmoraTevra {

// The commands of a job: read and checked as a whole first, then run one after the other.
class CommandSequence {
 public:
  // The table must outlive the sequence.
  explicit CommandSequence(const CommandTable& table);
  // Removes the indicator file wherever the job has put it.
  ~CommandSequence();
  CommandSequence(const CommandSequence&) = delete;
  CommandSequence& operator=(const CommandSequence&) = delete;

  // The source is the shared block of that name or the path of a command document, by
  // `commandsInSharedMemory`. False at the first bad command: nothing is to be run then. What is wrong has
  // been reported, but for a command that isn't in the table: only the log tells of it.
  [[nodiscard]] bool readCommandSequence(WideText commandSource, WideText tempFolder, WideText backupFolder);
  // 0, or -1 as soon as a command fails.
  [[nodiscard]] int runCommandSequence();

  [[nodiscard]] const std::vector<CommandRecord>& commands() const { return commands_; }
  // With what the front end wants to stand in it; null if it wants none.
  [[nodiscard]] const std::shared_ptr<IndicatorFile>& indicatorFile() const { return indicatorFile_; }

 private:
  [[nodiscard]] bool loadDocument(const WideText& commandSource);
  [[nodiscard]] bool readCommandParameters(const TiXmlElement& element, const WideText& name);
  [[nodiscard]] bool runCommand(std::size_t index);
  void createIndicatorFile(const TiXmlElement& element);
  const CommandTable& table_;
  std::shared_ptr<TiXmlDocument> document_;
  std::vector<CommandRecord> commands_;
  std::shared_ptr<IndicatorFile> indicatorFile_;
};

// Makes the folders that every command needs and sets the folder values of the process. A failure has been
// reported.
[[nodiscard]] bool prepareFolders(const WideText& tempFolder, const WideText& backupFolder, bool movesFolder);

}  // namespace ZelmoraTevra
