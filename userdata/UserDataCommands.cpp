#include "userdata/UserDataCommands.h"

#include "userdata/AddFileRunner.h"
#include "userdata/ContactsCommandReader.h"
#include "userdata/DeleteFilesRunner.h"
#include "userdata/DeleteKmlFileRunner.h"
#include "userdata/ExportFilesRunner.h"
#include "userdata/ExportKmlFileRunner.h"
#include "userdata/FilesCommandReader.h"
#include "userdata/GetContactsRunner.h"
#include "userdata/GetFilesRunner.h"
#include "userdata/GetKmlFilesRunner.h"
#include "userdata/ImportContactsRunner.h"
#include "userdata/ImportFilesRunner.h"
#include "userdata/ImportKmlFileRunner.h"
#include "userdata/KmlCommandReader.h"
#include "userdata/UploadCommandReader.h"
#include "userdata/UploadFilesRunner.h"

namespace ZelmoraTevra {

void addUserDataCommands(CommandTable& table) {
  table[u"ADD_FILE"] = {.read = readFilesCommand, .makeWorker = newWorker<AddFileRunner>};
  table[u"DELETE_FILES"] = {.read = readFilesCommand, .makeWorker = newWorker<DeleteFilesRunner>};
  table[u"DELETE_KML_FILE"] = {.read = readDeleteKmlFileCommand,
                               .makeWorker = newWorker<DeleteKmlFileRunner>};
  table[u"EXPORT_FILES"] = {.read = readFilesCommand, .makeWorker = newWorker<ExportFilesRunner>};
  table[u"EXPORT_KML_FILE"] = {.read = readExportKmlFileCommand,
                               .makeWorker = newWorker<ExportKmlFileRunner>};
  table[u"GET_CONTACTS"] = {.read = readContactsCommand, .makeWorker = newWorker<GetContactsRunner>};
  table[u"GET_FILES"] = {.read = readFilesCommand, .makeWorker = newWorker<GetFilesRunner>};
  table[u"GET_KML_FILES"] = {.read = readGetKmlFilesCommand, .makeWorker = newWorker<GetKmlFilesRunner>};
  table[u"IMPORT_CONTACTS"] = {.read = readContactsCommand, .makeWorker = newWorker<ImportContactsRunner>};
  table[u"IMPORT_FILES"] = {.read = readFilesCommand, .makeWorker = newWorker<ImportFilesRunner>};
  table[u"IMPORT_KML_FILE"] = {.read = readImportKmlFileCommand,
                               .makeWorker = newWorker<ImportKmlFileRunner>};
  table[u"UPLOAD_FILES"] = {.read = readUploadCommand, .makeWorker = newWorker<UploadFilesRunner>};
}

}  // namespace ZelmoraTevra
