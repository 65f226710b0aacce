#pragma once

#include "platform/Text.h"

namespace ZelmoraTevra {

// A drive in the three forms in which it is named.
struct ClientDrive {
  WideText letter;     // "E"; empty: no drive
  WideText colonForm;  // "E:"
  WideText rootForm;   // "E:\"

  ClientDrive() = default;
  // The drive that any text beginning with its letter names.
  explicit ClientDrive(WideView text) {
    if (text.empty()) return;
    letter = text.front();
    colonForm = letter + u':';
    rootForm = colonForm + u'\\';
  }

  [[nodiscard]] bool isValid() const { return !letter.empty(); }
};

}  // namespace ZelmoraTevra
