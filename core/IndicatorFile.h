#pragma once

#include <set>
#include <string>
#include <utility>

#include "platform/Text.h"

namespace ZelmoraTevra {

// "tevra-action.xml" in the root of a device's main storage tells, for as long as it lies there, that a job
// is at work on the device. Its content is the front end's.
class IndicatorFile {
 public:
  explicit IndicatorFile(std::string content = {}) : content_(std::move(content)) {}

  [[nodiscard]] const std::string& content() const { return content_; }
  // From the next writing on.
  void setContent(std::string content) { content_ = std::move(content); }

  // Creates or replaces it. False if the root isn't there, a link would lead out of it, or it takes no file.
  bool write(const WideText& root);
  // Removes it wherever it was created, and nowhere else: on another device it is the mark of another job.
  // False if it was created nowhere, or if one of them may still be there.
  bool remove();

 private:
  std::string content_;
  std::set<WideText> roots_;  // in which it was created
};

}  // namespace ZelmoraTevra
