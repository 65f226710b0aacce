#include "core/ProgressObserver.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "core/BackendLogger.h"
#include "core/StatusXml.h"
#include "core/Text.h"
#include "platform/Machine.h"

namespace ZelmoraTevra {

namespace {

constexpr std::uint32_t reportMilliseconds = 1001;
constexpr double kibibytesPerByte = 0.0009765625;

std::unique_ptr<ProgressObserver>& theObserver() {
  static std::unique_ptr<ProgressObserver> observer;
  return observer;
}

std::uint64_t percentOf(std::uint64_t done, std::uint64_t total) {
  if (total == 0) return 100;
  return static_cast<std::uint64_t>(100.0 / static_cast<double>(total) * static_cast<double>(done));
}

WideText amountText(std::uint64_t done, std::uint64_t total) {
  return numberText(static_cast<std::int64_t>(done)) + u" / " + numberText(static_cast<std::int64_t>(total));
}

WideText integerPart(double number) {
  const WideText text = fractionText(number);
  return text.substr(0, text.find(u'.'));
}

}  // namespace

ProgressObserver& ProgressObserver::instance() {
  if (theObserver() == nullptr) theObserver() = std::make_unique<ProgressObserver>();
  return *theObserver();
}

void ProgressObserver::destroy() {
  theObserver().reset();
}

bool ProgressObserver::load(std::vector<ProgressEntry> entries) {
  if (entries.empty()) return false;
  entries_ = std::move(entries);
  speedSum_ = 0;
  overallTotal_ = 0;
  for (const ProgressEntry& entry : entries_)
    overallTotal_ += std::min(entry.total, UINT64_MAX - overallTotal_);
  ready_ = true;
  return true;
}

bool ProgressObserver::isReady() const {
  return ready_ && position_ < entries_.size();
}

bool ProgressObserver::setPosition(std::uint32_t index) {
  if (!ready_) return false;
  if (index >= entries_.size()) {
    writeLog(u"Observer: the position is not valid! Internal error!");
    return false;
  }
  position_ = index;
  return true;
}

void ProgressObserver::setTexts(const WideText& name, const WideText& detail) {
  if (!isReady()) return;
  current().name = name;
  current().detail = detail;
}

bool ProgressObserver::addProgress(std::uint64_t bytes, std::int32_t state) {
  if (!isReady()) return false;
  ProgressEntry& entry = current();
  if (bytes > entry.total || entry.done > entry.total - bytes) {
    writeLog(u"Amount bigger than total size!!!" + entry.name);
    return false;
  }
  entry.done += bytes;
  overallDone_ += bytes;
  if (millisecondsSinceReport() < reportMilliseconds) return true;

  StatusXml::instance().setState(state);
  describeAmounts();
  StatusXml::instance().setDescription(entry.detail);
  StatusXml::instance().save();
  lastReport_ = platform::machine().clock->tickMilliseconds();
  return true;
}

bool ProgressObserver::setDownloadPosition(std::uint64_t position, std::int32_t state) {
  if (!isReady()) return false;
  overallDone_ = position;
  for (std::size_t i = 0; i < position_; ++i) overallDone_ += entries_[i].total;
  ProgressEntry& entry = current();
  if (position > entry.total) {
    writeLog(u"Amount bigger than total size!!!");
    return false;
  }
  entry.done = position;
  const std::uint32_t elapsed = millisecondsSinceReport();
  if (elapsed < reportMilliseconds) return true;

  StatusXml& status = StatusXml::instance();
  status.setState(state);
  describeAmounts();
  status.setDescription(entry.detail);
  if (state == statDownloadInProgress) {
    const double bytes = static_cast<double>(overallDone_) - static_cast<double>(lastOverallDone_);
    speedSum_ += bytes * kibibytesPerByte / static_cast<double>(elapsed / 1000);
    ++speedSamples_;
    const double mean = speedSum_ / static_cast<double>(speedSamples_);
    if (mean != 0) {
      const double kibibytesLeft = static_cast<double>((overallTotal_ - overallDone_) / 1024);
      status.setDescriptionWithAttribute(integerPart(mean), u"KB/s");
      status.setDescriptionWithAttribute(integerPart(kibibytesLeft / mean), u"s");
    }
  }
  status.save();
  lastReport_ = platform::machine().clock->tickMilliseconds();
  lastOverallDone_ = overallDone_;
  return true;
}

void ProgressObserver::reportAbort(const WideText& packageId) {
  StatusXml& status = StatusXml::instance();
  status.setState(statAbort);
  if (isReady()) {
    overallDone_ = 0;
    for (const ProgressEntry& each : entries_) overallDone_ += each.done;
    const ProgressEntry& entry = current();
    describeAmounts();
    if (!packageId.empty()) {
      status.setAttribute(u"downloadPackageID", packageId);
      status.setAttribute(u"downloadPackageSize", numberText(static_cast<std::int64_t>(entry.total)));
      status.setAttribute(u"downloadPackageOffset", numberText(static_cast<std::int64_t>(entry.done)));
    }
  }
  status.setAttribute(u"exitCode", u"1020");
  status.save();
}

std::uint32_t ProgressObserver::millisecondsSinceReport() const {
  return platform::machine().clock->tickMilliseconds() - lastReport_;
}

void ProgressObserver::describeAmounts() {
  StatusXml& status = StatusXml::instance();
  const ProgressEntry& entry = current();
  status.setPercent(percentOf(overallDone_, overallTotal_));
  status.setDescription(amountText(overallDone_, overallTotal_));
  status.setPercent(percentOf(entry.done, entry.total));
  status.setDescription(amountText(entry.done, entry.total));
  status.setDescription(entry.name);
}

}  // namespace ZelmoraTevra
