#pragma once

#include <cstdint>
#include <string>

#include "install/XmlEdits.h"

namespace ZelmoraTevra {

// What one XML entry makes of a document, told as plainly as possible: the text is parsed, searched from its
// beginning, changed and printed. A second opinion on the edits that are made on an indexed document.
struct PlainEdit {
  std::string document;  // the text as it was if nothing is to be saved
  bool result = false;
};

[[nodiscard]] PlainEdit plainEdit(const std::string& document, std::int32_t creationFlag,
                                  const XmlEdit& edit);

// Parsed and printed once more.
[[nodiscard]] std::string readAndPrinted(const std::string& document);

}  // namespace ZelmoraTevra
