#include "backup/BackupFolder.h"

#include "core/Globals.h"
#include "core/PathBelowRoot.h"
#include "core/Text.h"

namespace ZelmoraTevra {

bool isBackupName(WideView name) {
  // Names of dots and blanks alone lead to the folder itself or the one above.
  return staysBelowRoot(name) && name.find_first_of(u"/\\") == WideView::npos &&
         name.find_first_not_of(u". ") != WideView::npos;
}

WideText backupFolder(const WideText& name) {
  return backupRootFolder + u'/' + name;
}

WideText descriptionPath(const WideText& folder, const WideText& name) {
  return folder + u'/' + name + u".xml";
}

std::optional<WideText> pathBehindFolder(const WideText& path, WideView folder) {
  const std::size_t lastOfName = folder.find_last_not_of(u"/\\");
  if (lastOfName == WideView::npos) return std::nullopt;
  const WideText start = toBackslashes(WideText(folder.substr(0, lastOfName + 1))) + u'\\';
  if (!toBackslashes(path.substr(0, start.size())).starts_with(start)) return std::nullopt;
  return path.substr(start.size() - 1);
}

}  // namespace ZelmoraTevra
