#include "core/SetAsideFiles.h"

#include <algorithm>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

#include "core/Directory_new.h"
#include "core/File_platformIndependent.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::size_t digitsOfPart = 10;  // of the largest 32-bit number
constexpr std::size_t digits = 2 * digitsOfPart;

WideText paddedNumber(std::uint32_t number) {
  const WideText text = numberText(number);
  return WideText(digitsOfPart - text.size(), u'0') + text;
}

// Without the number; empty if there is none.
WideView originalOf(WideView path) {
  if (path.size() <= digits) return {};
  const WideView number = path.substr(path.size() - digits);
  const bool isNumber =
      std::all_of(number.begin(), number.end(), [](char16_t c) { return c >= u'0' && c <= u'9'; });
  return isNumber ? path.substr(0, path.size() - digits) : WideView();
}

// The files of one folder that were set aside, by the path of what they were, in capitals.
using Folder = std::unordered_map<WideText, std::vector<WideText>>;

struct Memory {
  int users = 0;
  std::unordered_map<WideText, Folder> folders;
};

Memory& memory() {
  static Memory known;
  return known;
}

// False if the folder couldn't be read to its end.
bool lookAt(const WideText& path, Folder& found) {
  std::vector<WideText> entries;
  const bool isRead = Directory_new(path).files(entries, false);
  for (WideText& entry : entries) {
    const WideView original = originalOf(entry);
    if (!original.empty()) found[toUpperAscii(WideText(original))].push_back(std::move(entry));
  }
  return isRead;
}

std::vector<WideText> inAnyCapitals(const WideText& path) {
  const WideText folder = parentFolder(path);
  const auto known = memory().folders.find(folder);
  if (known != memory().folders.end()) {
    const auto files = known->second.find(toUpperAscii(path));
    if (files == known->second.end()) return {};
    // What was known may have got its name back or gone.
    std::erase_if(files->second,
                  [](const WideText& file) { return File_platformIndependent(file).isCertainlyMissing(); });
    return files->second;
  }
  Folder found;
  const bool isRead = lookAt(folder, found);
  std::vector<WideText> files = found[toUpperAscii(path)];
  if (isRead && memory().users > 0) memory().folders[folder] = std::move(found);
  return files;
}

// On a device where capitals make no difference both names lead to one file, or to none. Where they do make
// one, the other name may be that of another file.
bool canBeOf(const WideText& path, const WideText& setAside) {
  const File_platformIndependent original{WideText(originalOf(setAside))};
  if (File_platformIndependent(path).isCertainlyMissing()) return original.isCertainlyMissing();
  return original.isSameAs(path);
}

}  // namespace

SetAsideFiles::SetAsideFiles() {
  ++memory().users;
}

SetAsideFiles::~SetAsideFiles() {
  if (--memory().users == 0) memory().folders.clear();
}

// The tick count and a counter of the process, at full length: the order of the texts is that of the numbers,
// and no file that somebody else has numbered is taken for one that was set aside.
WideText SetAsideFiles::newPath(const WideText& path) {
  static std::uint32_t counter = 0;
  WideText made =
      path + paddedNumber(platform::machine().clock->tickMilliseconds()) + paddedNumber(counter++);
  const auto known = memory().folders.find(parentFolder(path));
  if (known != memory().folders.end()) {
    std::vector<WideText>& files = known->second[toUpperAscii(path)];
    std::erase_if(files,
                  [](const WideText& file) { return File_platformIndependent(file).isCertainlyMissing(); });
    files.push_back(made);
  }
  return made;
}

std::vector<WideText> SetAsideFiles::of(const WideText& path) {
  std::vector<WideText> files = inAnyCapitals(path);
  const auto isOwn = [&path](const WideText& file) { return originalOf(file) == path; };
  if (std::any_of(files.begin(), files.end(), isOwn)) {
    std::erase_if(files, std::not_fn(isOwn));
  } else {
    std::erase_if(files, [&path](const WideText& file) { return !canBeOf(path, file); });
  }
  const auto number = [](const WideText& file) { return WideView(file).substr(file.size() - digits); };
  std::sort(files.begin(), files.end(),
            [number](const WideText& left, const WideText& right) { return number(left) > number(right); });
  return files;
}

}  // namespace ZelmoraTevra
