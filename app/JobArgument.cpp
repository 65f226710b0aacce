#include "app/JobArgument.h"

#include <exception>
#include <string>

#include "core/Base64.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

WideView trimmed(WideView text, WideView left, WideView right) {
  const std::size_t start = text.find_first_not_of(left);
  if (start == WideView::npos) return {};
  const std::size_t last = text.find_last_not_of(right);
  return last == WideView::npos || last < start ? WideView() : text.substr(start, last - start + 1);
}

}  // namespace

std::optional<WideText> decodeJobArgument(std::string_view argument) {
  std::string bytes;
  decodeBase64(argument, bytes);
  try {
    WideText text(trimmed(toWide(bytes), u"\"' ", u"\"' "));
    if (text.empty()) return std::nullopt;
    return text;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::vector<WideText> splitJobArgument(WideView text) {
  std::vector<WideText> fields = split(text, u'|');
  for (WideText& field : fields) field = WideText(trimmed(field, u" \t", u" \t\n"));
  return fields;
}

}  // namespace ZelmoraTevra
