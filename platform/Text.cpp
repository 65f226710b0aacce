#include "platform/Text.h"

#include <utf8.h>

#include <iterator>

namespace ZelmoraTevra {

std::string toUtf8(WideView text) {
  std::string result;
  result.reserve(text.size());
  utf8::utf16to8(text.begin(), text.end(), std::back_inserter(result));
  return result;
}

WideText toWide(std::string_view text) {
  WideText result;
  result.reserve(text.size());
  utf8::utf8to16(text.begin(), text.end(), std::back_inserter(result));
  return result;
}

}  // namespace ZelmoraTevra
