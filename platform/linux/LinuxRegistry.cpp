#include "platform/linux/LinuxRegistry.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/AsciiCase.h"
#include "platform/linux/NativePath.h"

namespace ZelmoraTevra::platform {

namespace {

constexpr std::size_t largestFile = 1024 * 1024;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::string_view trimmed(std::string_view text) {
  constexpr const char* blanks = " \t\r";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

WideText LinuxRegistry::text(const WideText& key, const WideText& valueName) {
  const std::string all = content();
  const std::string section = "[HKEY_LOCAL_MACHINE\\" + toNativeText(key) + "]";
  const std::string name = toNativeText(valueName);
  std::string_view left = all;
  if (left.starts_with(byteOrderMark)) left.remove_prefix(byteOrderMark.size());
  bool inSection = false;
  while (!left.empty()) {
    const std::size_t length = std::min(left.find('\n'), left.size());
    const std::string_view line = trimmed(left.substr(0, length));
    left.remove_prefix(std::min(length + 1, left.size()));
    if (line.starts_with('[')) {
      inSection = equalsIgnoringCase(line, section);
      continue;
    }
    const std::size_t equals = line.find('=');
    if (inSection && equals != line.npos && equalsIgnoringCase(trimmed(line.substr(0, equals)), name)) {
      return fromNativeText(trimmed(line.substr(equals + 1)));
    }
  }
  return {};
}

WideText LinuxRegistry::path() const {
  const WideText named = processes_.environment(u"TEVRA_REGISTRY");
  if (!named.empty()) return named;
  const WideText program = processes_.modulePath();
  const std::size_t separator = program.rfind(u'/');
  if (separator == WideText::npos) return {};
  return program.substr(0, separator) + u"/../etc/Tevra/registry.ini";
}

std::string LinuxRegistry::content() const {
  ErrorCode error;
  const auto file = files_.open(path(), OpenMode::read, error);
  if (file == nullptr) return {};
  const std::int64_t size = file->size(error);
  if (size <= 0 || size > static_cast<std::int64_t>(largestFile)) return {};
  std::string content(static_cast<std::size_t>(size), '\0');
  const std::int64_t count = file->read(content.data(), content.size(), error);
  content.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return content;
}

}  // namespace ZelmoraTevra::platform
