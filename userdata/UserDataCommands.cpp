#include "userdata/UserDataCommands.h"

#include "userdata/AddFileRunner.h"
#include "userdata/DeleteFilesRunner.h"
#include "userdata/ExportFilesRunner.h"
#include "userdata/FilesCommandReader.h"
#include "userdata/GetFilesRunner.h"
#include "userdata/ImportFilesRunner.h"

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
}

}  // namespace ZelmoraTevra
