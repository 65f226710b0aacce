#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "core/StatusXml.h"
#include "platform/Text.h"

namespace ZelmoraTevra {

enum class CopyResult { done = 0, cannotOpenSource, cannotCreateDestination, failed, aborted };

struct CopySettings {
  std::size_t blockBytes = 0x100000;  // what is copied at a time, and the memory that it may take
  // With a state the copy is one of a job's steps: after each block the bytes are added to the current entry
  // of the progress observer, in this state, and the front end's wish to abort is looked for.
  std::optional<Status> state = {};
  bool toMedium = false;  // returns when the copy is on the medium
  bool isNew = false;     // nothing may stand at the destination, and nothing is replaced there
  std::optional<std::uint64_t> expectedBytes = {};  // a source of another size is a failure
};

// Copies a file's content into a file that is created or emptied; its folder must exist. A symbolic link at
// the destination makes way for the copy and is not written through. After a failure or an abort there is no
// file at the destination, unless it could not be opened at all, is the source itself, or stands where a new
// one was wanted: then what stands there is unchanged.
//
// `failed` is also a source that gets shorter or longer meanwhile, and a disk that tells only at the end that
// it could not keep what was written. An abort that is seen behind the last block still is one.
//
// Reports nothing: the observer's list, position and texts and the job's exit codes belong to the caller.
[[nodiscard]] CopyResult copyFile(const WideText& source, const WideText& destination,
                                  const CopySettings& settings);

}  // namespace ZelmoraTevra
