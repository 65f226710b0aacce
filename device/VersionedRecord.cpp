#include "device/VersionedRecord.h"

#include <algorithm>

namespace ZelmoraTevra {

namespace {

// Takes what stands before the next dot, "0" if that is nothing.
WideText takePart(WideView& rest) {
  const std::size_t end = std::min(rest.find(u'.'), rest.size());
  const WideView part = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return WideText(part.empty() ? WideView(u"0") : part);
}

}  // namespace

WideText VersionedRecord::normalizeVersion(const WideText& text) const {
  WideView rest = text;
  const WideText major = takePart(rest);
  const WideText minor = takePart(rest);
  const WideText patch(rest.empty() ? WideView(u"0") : rest);
  return major + u'.' + minor + u'.' + patch;
}

}  // namespace ZelmoraTevra
