#pragma once

#include "core/CommandRecord.h"

class TiXmlElement;

namespace ZelmoraTevra {

// What the readers of commands with packages have in common.

// The values of a "content" element that a reader has yet to look at.
struct ContentTexts {
  WideText fileSize;
  WideText fileSizeUncompressed;
  WideText encodedDescription;
};

// Under which numbers an install description that can't be used is reported.
struct DescriptionCodes {
  int corrupted;   // it can't be unpacked
  int needsACard;  // and the command names none
};

// The proxy of a command; without one its values stay empty.
void readProxy(const TiXmlElement& command, CommandRecord& record);

// Reads a "content" element, with its second checksum at the given path; all stays empty in one that has no
// file size.
[[nodiscard]] ContentTexts readContentTexts(const TiXmlElement& content, const char* secondChecksumPath,
                                            ContentEntry& entry);

// Makes the entry's URL, which is the path of a local zip in plain or in base64, that path. False, after a
// report, if no file is at either.
[[nodiscard]] bool findLocalZip(ContentEntry& entry);

// The text of an install description: the first file of a zip archive in base64. False if it can't be
// unpacked; what came out is in the text then, as far as it can be read.
[[nodiscard]] bool unpackDescription(const WideText& encoded, WideText& text);

// Reports a description that can't be unpacked.
void reportCorruptDescription(const DescriptionCodes& codes);

// Parses the unpacked description and hands it to the entry. False if it is bad or asks for a card that the
// command doesn't name; that has been reported, except for a description that is empty.
[[nodiscard]] bool takeDescription(const CommandRecord& record, const WideText& encoded, WideText text,
                                   const DescriptionCodes& codes, ContentEntry& entry);

// The sizes as numbers. A text that isn't one is 0.
void readSizes(const ContentTexts& texts, ContentEntry& entry);

}  // namespace ZelmoraTevra
