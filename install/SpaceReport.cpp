#include "install/SpaceReport.h"

#include <algorithm>

#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/SaturatingInt64.h"
#include "core/StatusXml.h"
#include "core/Text.h"

namespace ZelmoraTevra {

namespace {

WideText clampedText(std::int64_t bytes) {
  return numberText(std::max<std::int64_t>(bytes, 0));
}

WideText leftText(SaturatingInt64 available, std::int64_t needed, std::int64_t temporary) {
  return numberText((available - needed + temporary).value());
}

struct Needs {
  std::int64_t software;
  std::int64_t content;
};

Needs needsOf(const SpaceFigures& figures, NeededSpace needed) {
  return needed == NeededSpace::missing ? Needs{figures.missingSoftware, figures.missingContent}
                                        : Needs{figures.neededSoftware, figures.neededContent};
}

// Something is always needed.
Needs orReserve(Needs needs) {
  if (needs.software == 0 && needs.content == 0) needs.software = reserveBytes;
  return needs;
}

void setSpaceAttributes(const SpaceFigures& figures, const Needs& needs) {
  StatusXml& status = StatusXml::instance();
  status.setAttribute(u"availableSpaceSoftwareStorage", numberText(figures.availableSoftware));
  status.setAttribute(u"neededSpaceSoftwareStorage", clampedText(needs.software));
  status.setAttribute(u"availableSpaceContentStorage", numberText(figures.availableContent));
  status.setAttribute(u"neededSpaceContentStorage", clampedText(needs.content));
}

void setSpaceAfterwards(const SpaceFigures& figures) {
  StatusXml& status = StatusXml::instance();
  status.setAttribute(u"availableSpacePostInstSoftwareStorage",
                      leftText(figures.availableSoftware, figures.neededSoftware, figures.temporarySoftware));
  status.setAttribute(u"availableSpacePostInstContentStorage",
                      leftText(figures.availableContent, figures.neededContent, figures.temporaryContent));
}

int codeFor(const SpaceFigures& figures, const NotEnoughSpaceCodes& codes) {
  if (figures.missingContent <= 0) return codes.software;
  return figures.missingSoftware <= 0 ? codes.content : codes.both;
}

}  // namespace

SpaceFigures spaceFigures(const Distribution& distribution) {
  return {.missingSoftware = distribution.deficitSoftware,
          .missingContent = distribution.deficitContent,
          .neededSoftware = distribution.neededSoftware,
          .neededContent = distribution.neededContent};
}

void reportNotEnoughSpace(const SpaceFigures& figures, const NotEnoughSpaceCodes& codes,
                          const WideText& primaryDrive, const WideText& secondaryDrive,
                          SpaceAfterwards afterwards, NeededSpace needed) {
  setSpaceAttributes(figures, orReserve(needsOf(figures, needed)));
  if (afterwards == SpaceAfterwards::told) setSpaceAfterwards(figures);
  ErrorReport(codeFor(figures, codes))
      .state(statNotEnoughSpace)
      .percent(110)
      .attribute(u"DriveName", primaryDrive)
      .attribute(u"DriveNameExternal", secondaryDrive)
      .save();
}

void reportFits(const SpaceFigures& figures, int exitCode, NeededSpace needed) {
  const Needs needs = needsOf(figures, needed);
  setSpaceAttributes(figures, needed == NeededSpace::placed ? orReserve(needs) : needs);
  setSpaceAfterwards(figures);
  saveState(statFitsToTarget, exitCode);
}

}  // namespace ZelmoraTevra
