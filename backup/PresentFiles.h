#pragma once

#include <functional>
#include <unordered_map>
#include <unordered_set>

#include "platform/Text.h"

namespace ZelmoraTevra {

// Tells which files lie below a folder. Each folder that is asked about is listed once, which costs a
// fraction of a question for each of its files.
class PresentFiles {
 public:
  explicit PresentFiles(WideText root);

  // Whether there is a file at a relative path. False for a path that leaves the root, be it by a symbolic
  // link, and for a link.
  [[nodiscard]] bool has(WideView path);

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(WideView text) const { return std::hash<WideView>()(text); }
  };
  using Names = std::unordered_set<WideText, Hash, std::equal_to<>>;
  struct Listing {
    Names files;
    Names folders;
  };

  // Null if the folder isn't there under this very name, or only behind a link.
  [[nodiscard]] const Listing* listingOf(WideView folder);
  // Lists a folder that isn't behind a link.
  [[nodiscard]] const Listing* listed(WideView folder);
  [[nodiscard]] bool asksForIt(WideView path) const;

  WideText root_;
  std::unordered_map<WideText, Listing, Hash, std::equal_to<>> listings_;
};

}  // namespace ZelmoraTevra
