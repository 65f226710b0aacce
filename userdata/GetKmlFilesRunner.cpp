#include "userdata/GetKmlFilesRunner.h"

#include <tinyxml.h>

#include <algorithm>

#include "core/ErrorReport.h"
#include "core/Globals.h"
#include "core/Text.h"
#include "core/XmlDocument.h"
#include "userdata/TrackFolder.h"

namespace ZelmoraTevra {

int GetKmlFilesRunner::init(const CommandRecord& record) {
  job_.mainFolder = record.storageCardDriveLetter;
  job_.secondFolder = record.secondDriveLetter;
  return 0;
}

int GetKmlFilesRunner::run() {
  if (!deviceTakesTracks(job_)) return -1;
  TrackFolder(job_.mainFolder).list(job_.files);
  TrackFolder(job_.secondFolder).list(job_.files);
  std::sort(job_.files.begin(), job_.files.end());
  return answer();
}

int GetKmlFilesRunner::answer() const {
  TiXmlDocument document = newXmlDocument("UTF-8");
  TiXmlElement& response = addElement(document, "KmlResponse");
  for (const KmlFileEntry& file : job_.files) {
    TiXmlElement& element = addElement(response, "kmlFile");
    element.SetAttribute("creationDate", toUtf8(file.creationDate));
    // A device may hold a name that is no valid text.
    element.InsertEndChild(TiXmlText(toReadableUtf8(file.name)));
  }
  if (writeResponse(document)) return 0;

  ErrorReport report(1184, u"Error on saving the xml with kml files!");
  if (!commandsInSharedMemory)
    report.attribute(u"FILE", toForwardSlashes(StatusXml::instance().statusFilePath()));
  report.save();
  return -1;
}

}  // namespace ZelmoraTevra
