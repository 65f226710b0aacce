#include "core/ErrorReport.h"

#include "core/Text.h"

namespace ZelmoraTevra {

ErrorReport::ErrorReport(int exitCode, WideText message) {
  if (!message.empty()) descriptions_.push_back(std::move(message));
  attribute(u"exitCode", numberText(exitCode));
}

ErrorReport& ErrorReport::state(Status state) {
  state_ = state;
  return *this;
}

ErrorReport& ErrorReport::percent(std::uint64_t percent) {
  percent_ = percent;
  return *this;
}

ErrorReport& ErrorReport::description(WideText text) {
  descriptions_.push_back(std::move(text));
  return *this;
}

ErrorReport& ErrorReport::attribute(const WideText& name, WideText value) {
  attributes_.emplace_back(name, std::move(value));
  return *this;
}

ErrorReport& ErrorReport::pathAndDrive(const WideText& path) {
  return attribute(u"PATH", toForwardSlashes(path)).attribute(u"DRIVE", driveOfPath(path));
}

ErrorReport& ErrorReport::size(std::int64_t bytes) {
  return attribute(u"PATH_SIZE", mebibyteText(static_cast<double>(bytes))).attribute(u"UNIT", u"MB");
}

void ErrorReport::save() const {
  StatusXml& status = StatusXml::instance();
  status.setState(state_);
  status.setPercent(percent_);
  for (const WideText& text : descriptions_) status.setDescription(text);
  for (const auto& [name, value] : attributes_) status.setAttribute(name, value);
  status.save();
}

int fail(const ErrorReport& report) {
  report.save();
  return -1;
}

bool refuse(const ErrorReport& report) {
  report.save();
  return false;
}

void saveState(Status state, int exitCode) {
  StatusXml::instance().setAttribute(u"exitCode", numberText(exitCode));
  saveState(state);
}

void saveState(Status state) {
  StatusXml::instance().setState(state);
  StatusXml::instance().save();
}

}  // namespace ZelmoraTevra
