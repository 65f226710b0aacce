#pragma once

#include <string>

#include "install/XmlEdits.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

// An XML file of a device while entries change it: on a copy in the work folder, in memory, until it is
// brought back. Destruction removes the copy. Nothing but `bringBack` changes the device, except that an
// interrupted replacement of the file is put right before the copy is made.
class XmlWorkingCopy {
 public:
  // The root is that of the storage; the path below it has been joined to it and doesn't leave it.
  XmlWorkingCopy(WideText root, WideText relativePath);
  ~XmlWorkingCopy();
  XmlWorkingCopy(const XmlWorkingCopy&) = delete;
  XmlWorkingCopy& operator=(const XmlWorkingCopy&) = delete;

  // Root, "\", relative path.
  [[nodiscard]] const WideText& target() const { return target_; }
  [[nodiscard]] const WideText& relativePath() const { return relativePath_; }

  // Makes the copy at the first call. Null if there is none because the device has no such file, or because
  // it can't be copied or is too large to be read, which is logged. The edits of a file that isn't editable
  // all fail.
  [[nodiscard]] XmlEdits* edits();
  // The same, but with a new document for a file that the device doesn't have. Null also if the text is no
  // name for its root.
  [[nodiscard]] XmlEdits* editsOrNew(const std::string& rootName);

  // Replaces the device's file, so that it holds the one or the other whole at every moment; the folders of a
  // new file are made. Without a copy or a change the file isn't touched. False if the edits didn't reach the
  // device, which is logged.
  [[nodiscard]] bool bringBack();
  // Whether the device's file is known to be another one than when the copy was made, or none could be made
  // then and may be made now.
  [[nodiscard]] bool isOutdated();

 private:
  enum class DeviceFile { notLookedFor, copied, missing, unusable };

  void lookForDeviceFile();
  [[nodiscard]] bool makeCopyPath();
  [[nodiscard]] bool makeFolders() const;

  WideText root_;
  WideText relativePath_;
  WideText target_;
  WideText path_;        // of the copy; empty: there is none
  WideText copyDigest_;  // of what the device's file held; made when it is asked for
  DeviceFile deviceFile_ = DeviceFile::notLookedFor;
  XmlEdits edits_;
};

}  // namespace ZelmoraTevra
