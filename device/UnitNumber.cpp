#include "device/UnitNumber.h"

#include <cstddef>

namespace ZelmoraTevra {

namespace {

constexpr WideView maker = u"ZELMORA";
constexpr WideView revision = u"&REV_";

bool endsInOneOf(WideView text, WideView units) {
  return !text.empty() && units.find(text.back()) != WideView::npos;
}

WideView behindRevision(WideView id) {
  const std::size_t start = id.find(revision);
  return start == WideView::npos ? WideView() : id.substr(start + revision.size());
}

}  // namespace

UnitNumber unitNumberOf(WideView deviceId, bool windows7Mode) {
  const std::size_t name = deviceId.find(maker);
  if (name == WideView::npos || name == 0) return {};
  if (windows7Mode) {
    if (deviceId.find(u"&0#", name) != WideView::npos) return {true, 0};
    return {true, deviceId.find(u"&1#", name) != WideView::npos ? 1 : -1};
  }
  if (endsInOneOf(deviceId, u"&0")) return {true, 0};
  return {true, endsInOneOf(deviceId, u"&1") ? 1 : -1};
}

bool areUnitsOfOneDevice(WideView oneId, WideView otherId) {
  const WideView one = behindRevision(oneId);
  const WideView other = behindRevision(otherId);
  std::size_t mismatch = 0;
  while (mismatch < one.size() && mismatch < other.size() && one[mismatch] == other[mismatch]) ++mismatch;
  if (mismatch == 0 || one[mismatch - 1] != u'&') return false;
  const std::size_t behind = mismatch + 1;
  return behind < one.size() && behind < other.size() && one[behind] == u'#' && other[behind] == u'#';
}

}  // namespace ZelmoraTevra
