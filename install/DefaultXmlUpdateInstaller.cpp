#include "install/DefaultXmlUpdateInstaller.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "core/BackendLogger.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"
#include "install/ClientUpdatesXmlFile.h"
#include "install/XmlWorkingCopy.h"

namespace ZelmoraTevra {

namespace {

// What an entry does; any other number changes, as 0 and 4 do.
enum CreationFlag : std::int32_t {
  appendElements = 1,
  doNothing = 2,
  replaceOrAppendElement = 3,
  setOneValue = 5,
  removeElement = 6,
};

struct LastXmlTarget : XmlWorkingCopy {
  using XmlWorkingCopy::XmlWorkingCopy;
  // The roots of the storages on which an update that installs the file only where there is none has found
  // one.
  std::set<WideText> rootsWithFile;
};

// The file that the last entry was for. It outlives the installers of single updates.
std::unique_ptr<LastXmlTarget> lastXmlTarget;

enum class At {
  endOfUpdate,
  earlyEnd,  // perhaps amid an update that has placed a file since
};

// A file that was put in the place of the one that is being changed is the newer one. Also done when an
// installer is destroyed and when the process ends, where nobody could catch anything.
bool bringLastTargetBack(At at) noexcept {
  const std::unique_ptr<LastXmlTarget> target = std::move(lastXmlTarget);
  if (target == nullptr) return true;
  try {
    if (at == At::endOfUpdate || !target->isOutdated()) return target->bringBack();
    writeLog(u"Xml update installer: another file has taken the place of " + target->target());
    return true;
  } catch (const std::exception& failure) {
    try {
      writeLog(u"Xml update installer: " + toReadableWide(failure.what()) +
               u": the changes didn't get into " + target->target());
    } catch (const std::exception&) {
      // Without memory there is no line either.
    }
  }
  return false;
}

// Whether the update may just have put a file in the place of the last target. Of those that install it only
// where there is none, just the first one on a storage may have: the others have passed over what is there.
bool mayHaveReplacedLastTarget(const InstallUpdate& update, const WideText& targetRoot) {
  const WideText path = comparablePath(lastXmlTarget->relativePath());
  bool mayHaveReplaced = false;
  for (const InstallFile& file : update.files) {
    if (comparablePath(file.client) != path) continue;
    if (file.updateFlag == installFile || file.updateFlag == installFileToo ||
        file.updateFlag == replaceFileIfPresent) {
      lastXmlTarget->rootsWithFile.clear();
      mayHaveReplaced = true;
    } else if (file.updateFlag == installFileIfMissing) {
      if (lastXmlTarget->rootsWithFile.insert(targetRoot).second) mayHaveReplaced = true;
    }
  }
  return mayHaveReplaced;
}

// A file that a later update has put in the place of the one that is being changed is the newer one.
void dropReplacedTarget(const InstallUpdate& update, const WideText& targetRoot) {
  if (lastXmlTarget == nullptr || !mayHaveReplacedLastTarget(update, targetRoot) ||
      !lastXmlTarget->isOutdated())
    return;
  writeLog(u"Xml update installer: begins anew with " + lastXmlTarget->target());
  lastXmlTarget.reset();
}

std::optional<XmlEdit> editOf(const InstallXmlEntry& entry) {
  try {
    XmlEdit edit{toUtf8(entry.base), toUtf8(entry.condition), {}};
    for (const WideText& alter : entry.alters) edit.alters.push_back(toUtf8(alter));
    return edit;
  } catch (const std::exception& failure) {
    writeLog(u"An XML entry holds text that is none: " + toReadableWide(failure.what()));
    return std::nullopt;
  }
}

bool apply(const XmlEdit& edit, std::int32_t creationFlag, XmlEdits& edits) {
  switch (creationFlag) {
    case appendElements:
      return edits.append(edit);
    case replaceOrAppendElement:
      return edits.replaceOrAppend(edit);
    case setOneValue:
      return edits.setValue(edit);
    case removeElement:
      return edits.remove(edit);
    default:
      return edits.change(edit);
  }
}

}  // namespace

bool makesNewFile(std::int32_t creationFlag) {
  return creationFlag == appendElements || creationFlag == replaceOrAppendElement ||
         creationFlag == removeElement;
}

DefaultXmlUpdateInstaller::DefaultXmlUpdateInstaller()
    : atProcessEnd_([] { static_cast<void>(bringLastTargetBack(At::earlyEnd)); }) {}

DefaultXmlUpdateInstaller::~DefaultXmlUpdateInstaller() {
  static_cast<void>(bringLastTargetBack(At::earlyEnd));
}

std::unique_ptr<IUpdateInstaller> DefaultXmlUpdateInstaller::clone() const {
  return std::make_unique<DefaultXmlUpdateInstaller>();
}

bool DefaultXmlUpdateInstaller::install(const InstallUpdate& update, const WideText& /*zipPath*/,
                                        const WideText& targetRoot, const WideText& primaryRoot,
                                        const WideText& /*otherRoot*/, ProgressObserver* /*observer*/) {
  dropReplacedTarget(update, targetRoot);
  PathBelowRoot root(primaryRoot);
  for (const InstallXmlEntry& entry : update.xmlEntries) {
    if (!turnTo(entry, root) || entry.creationFlag == doNothing) continue;
    const std::optional<XmlEdit> edit = editOf(entry);
    if (!edit) continue;
    XmlEdits* const edits = makesNewFile(entry.creationFlag)
                                ? lastXmlTarget->editsOrNew(edit->base.substr(0, edit->base.find('/')))
                                : lastXmlTarget->edits();
    // A failed edit isn't told: the update stands without it.
    if (edits != nullptr) static_cast<void>(apply(*edit, entry.creationFlag, *edits));
  }
  return true;
}

bool DefaultXmlUpdateInstaller::finish() {
  if (!bringLastTargetBack(At::endOfUpdate)) hasLostChanges_ = true;
  return !hasLostChanges_;
}

bool DefaultXmlUpdateInstaller::turnTo(const InstallXmlEntry& entry, PathBelowRoot& root) {
  if (lastXmlTarget != nullptr && lastXmlTarget->target() == root.root() + u'\\' + entry.file) return true;
  if (isRegisterPlace(entry.file)) {
    writeLog(u"The register is no package's file: " + entry.file);
    return false;
  }
  if (!root.join(entry.file)) {
    writeLog(u"The path of an XML file leaves the device: " + entry.file);
    return false;
  }
  if (!bringLastTargetBack(At::endOfUpdate)) hasLostChanges_ = true;
  lastXmlTarget = std::make_unique<LastXmlTarget>(root.root(), entry.file);
  return true;
}

}  // namespace ZelmoraTevra
