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

WideText differenceText(SaturatingInt64 available, SaturatingInt64 needed) {
  return numberText((available - needed).value());
}

void setSpaceAttributes(const SpaceFigures& figures) {
  StatusXml& status = StatusXml::instance();
  status.setAttribute(u"availableSpaceSoftwareStorage", numberText(figures.availableSoftware));
  status.setAttribute(u"neededSpaceSoftwareStorage", clampedText(figures.missingSoftware));
  status.setAttribute(u"availableSpaceContentStorage", numberText(figures.availableContent));
  status.setAttribute(u"neededSpaceContentStorage", clampedText(figures.missingContent));
}

void setSpaceAfterwards(const SpaceFigures& figures) {
  StatusXml& status = StatusXml::instance();
  status.setAttribute(u"availableSpacePostInstSoftwareStorage",
                      differenceText(figures.availableSoftware, figures.neededSoftware));
  status.setAttribute(u"availableSpacePostInstContentStorage",
                      differenceText(figures.availableContent, figures.neededContent));
}

int codeFor(const SpaceFigures& figures, const NotEnoughSpaceCodes& codes) {
  if (figures.missingContent <= 0) return codes.software;
  return figures.missingSoftware <= 0 ? codes.content : codes.both;
}

}  // namespace

void reportNotEnoughSpace(SpaceFigures figures, const NotEnoughSpaceCodes& codes,
                          const WideText& primaryDrive, const WideText& secondaryDrive,
                          SpaceAfterwards afterwards) {
  if (figures.missingSoftware == 0 && figures.missingContent == 0) figures.missingSoftware = reserveBytes;
  setSpaceAttributes(figures);
  if (afterwards == SpaceAfterwards::told) setSpaceAfterwards(figures);
  ErrorReport(codeFor(figures, codes))
      .state(statNotEnoughSpace)
      .percent(110)
      .attribute(u"DriveName", primaryDrive)
      .attribute(u"DriveNameExternal", secondaryDrive)
      .save();
}

void reportFits(const SpaceFigures& figures, int exitCode) {
  setSpaceAttributes(figures);
  setSpaceAfterwards(figures);
  saveState(statFitsToTarget, exitCode);
}

}  // namespace ZelmoraTevra
