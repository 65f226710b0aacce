#pragma once

#include <cstddef>
#include <memory>
#include <string>

class TiXmlDocument;

namespace ZelmoraTevra {

// A named shared-memory object that carries one text between the front end and this program:
//   offset 0, 4 bytes: lock word, 0 free, 1 held
//   offset 4, 8,388,608 bytes: NUL-terminated UTF-8 text
// All operations give 0 on success and -1 on failure; none throws.
class SharedTextBlock {
 public:
  static constexpr std::size_t textBytes = 8'388'608;
  static constexpr std::size_t blockBytes = 4 + textBytes;

  // An empty name leaves the object unusable.
  explicit SharedTextBlock(std::string name);
  ~SharedTextBlock();
  SharedTextBlock(const SharedTextBlock&) = delete;
  SharedTextBlock& operator=(const SharedTextBlock&) = delete;

  // Opens an existing object for reading and writing.
  [[nodiscard]] int open();
  // Removes an object of this name and makes a new one, of zeros.
  [[nodiscard]] int create();
  // Waits for the lock without a limit.
  [[nodiscard]] int read(std::string& text) const;
  // A lock that is held when the call comes is broken: a reader that died can't block the program. A text
  // that doesn't fit with its NUL is refused.
  [[nodiscard]] int write(const std::string& text);

 private:
  struct Object;

  std::string name_;
  std::unique_ptr<Object> object_;
};

// Prints the document into the block `channelName`, which is made anew if it has vanished. A failure is
// logged.
[[nodiscard]] bool writeDocumentToSharedMemory(const TiXmlDocument& document);

}  // namespace ZelmoraTevra
