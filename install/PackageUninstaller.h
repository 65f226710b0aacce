#pragma once

#include "install/UpdatesXml.h"

namespace ZelmoraTevra {

class UninstallSession;

// Takes one update off a device: its files, its elements in XML files, its entry in the register.
class PackageUninstaller {
 public:
  // The session is that of the command and must outlive the uninstaller. It is closed before a failure is
  // reported, so that the register on the device is right by then.
  explicit PackageUninstaller(UninstallSession& session) : session_(session) {}

  // 0, or -1 after a report if the main storage isn't there or takes no file. The second path is empty on a
  // device with one storage.
  [[nodiscard]] int init(const WideText& storagePath, const WideText& company, const WideText& product,
                         const WideText& version, const WideText& secondPath);
  // 0; 1 without a report if it isn't ready; -1 after a report. That it went well counts only when the
  // session has been closed.
  [[nodiscard]] int run();

  // The report of an update that could not be uninstalled.
  static void reportFailure(const UpdateInfo& update);

 private:
  [[nodiscard]] bool uninstall(const UpdateInfo& info);

  UninstallSession& session_;
  WideText storagePath_;
  WideText secondPath_;
  WideText company_;
  WideText product_;
  WideText version_;
  bool ready_ = false;
};

}  // namespace ZelmoraTevra
