#include "userdata/UserDataCommands.h"

#include "userdata/AddFileRunner.h"
#include "userdata/DeleteFilesRunner.h"
#include "userdata/ExportFilesRunner.h"
#include "userdata/FilesCommandReader.h"
#include "userdata/GetFilesRunner.h"
#include "userdata/ImportFilesRunner.h"
#include <memory>

#include "userdata/ContactsCommandReader.h"
#include "userdata/DeleteKmlFileRunner.h"
#include "userdata/ExportKmlFileRunner.h"
#include "userdata/GetContactsRunner.h"
#include "userdata/GetKmlFilesRunner.h"
#include "userdata/ImportContactsRunner.h"
#include "userdata/ImportKmlFileRunner.h"
#include "userdata/KmlCommandReader.h"
#include "userdata/UploadCommandReader.h"
#include "userdata/UploadFilesRunner.h"

namespace ZelmoraTevra {

void addUserDataCommands(CommandTable& table) {
  table[u"ADD_FILE"] = {.read = readFilesCommand,
                        .makeWorker = [] { return std::make_unique<AddFileRunner>(); }};
  table[u"DELETE_FILES"] = {.read = readFilesCommand,
                            .makeWorker = [] { return std::make_unique<DeleteFilesRunner>(); }};
  table[u"EXPORT_FILES"] = {.read = readFilesCommand,
                            .makeWorker = [] { return std::make_unique<ExportFilesRunner>(); }};
  table[u"GET_FILES"] = {.read = readFilesCommand,
                         .makeWorker = [] { return std::make_unique<GetFilesRunner>(); }};
  table[u"IMPORT_FILES"] = {.read = readFilesCommand,
                            .makeWorker = [] { return std::make_unique<ImportFilesRunner>(); }};
  table[u"DELETE_KML_FILE"] = {.read = readDeleteKmlFileCommand,
                               .makeWorker = [] { return std::make_unique<DeleteKmlFileRunner>(); }};
  table[u"EXPORT_KML_FILE"] = {.read = readExportKmlFileCommand,
                               .makeWorker = [] { return std::make_unique<ExportKmlFileRunner>(); }};
  table[u"GET_CONTACTS"] = {.read = readContactsCommand,
                            .makeWorker = [] { return std::make_unique<GetContactsRunner>(); }};
  table[u"GET_KML_FILES"] = {.read = readGetKmlFilesCommand,
                             .makeWorker = [] { return std::make_unique<GetKmlFilesRunner>(); }};
  table[u"IMPORT_CONTACTS"] = {.read = readContactsCommand,
                               .makeWorker = [] { return std::make_unique<ImportContactsRunner>(); }};
  table[u"IMPORT_KML_FILE"] = {.read = readImportKmlFileCommand,
                               .makeWorker = [] { return std::make_unique<ImportKmlFileRunner>(); }};
  table[u"UPLOAD_FILES"] = {.read = readUploadCommand,
                            .makeWorker = [] { return std::make_unique<UploadFilesRunner>(); }};
}

}  // namespace ZelmoraTevra
