#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/Text.h"

namespace ZelmoraTevra {

struct ProgressEntry {
  std::uint64_t total = 0;  // bytes
  WideText name;            // first text shown
  WideText detail;          // second text shown
  std::uint64_t done = 0;   // bytes
};

// Turns reports of bytes done into status snapshots, at most one a second, with speed and time left for
// downloads.
class ProgressObserver {
 public:
  static ProgressObserver& instance();
  static void destroy();

  // False for an empty list. What a list before it had reported stays counted: a new list that is to start
  // from nothing needs the observer to be destroyed first.
  bool load(std::vector<ProgressEntry> entries);
  [[nodiscard]] std::uint32_t position() const { return position_; }
  bool setPosition(std::uint32_t index);
  // The texts shown for the current entry.
  void setTexts(const WideText& name, const WideText& detail);
  // Counts bytes of the current entry. False, and nothing counted, if they exceed the entry's total.
  bool addProgress(std::uint64_t bytes, std::int32_t state);
  // Sets the position reached in the current entry, in bytes from its start.
  bool setDownloadPosition(std::uint64_t position, std::int32_t state);
  // A snapshot of the abort, without regard to the time. An empty identifier leaves the package's attributes
  // out.
  void reportAbort(const WideText& packageId);

 private:
  [[nodiscard]] bool isReady() const;
  [[nodiscard]] ProgressEntry& current() { return entries_[position_]; }
  [[nodiscard]] std::uint32_t millisecondsSinceReport() const;
  void describeAmounts();

  std::uint64_t overallDone_ = 0;
  std::uint64_t overallTotal_ = 0;
  std::uint32_t position_ = 0;
  std::vector<ProgressEntry> entries_;
  bool ready_ = false;
  std::uint32_t lastReport_ = 0;  // tick in milliseconds
  std::uint64_t lastOverallDone_ = 0;
  double speedSum_ = 0;
  std::int64_t speedSamples_ = 0;
};

}  // namespace ZelmoraTevra
