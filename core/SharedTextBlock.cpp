#include "core/SharedTextBlock.h"

#include <algorithm>
#include <atomic>
#include <boost/interprocess/mapped_region.hpp>
#include <boost/interprocess/shared_memory_object.hpp>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <thread>

#include "core/BackendLogger.h"
#include "core/Globals.h"
#include "core/XmlDocument.h"
#include "platform/Machine.h"
#include "platform/SharedMemorySpace.h"

namespace ZelmoraTevra {

namespace {

namespace ipc = boost::interprocess;

class LockWord {
 public:
  explicit LockWord(void* address) : word_(*static_cast<std::uint32_t*>(address)) {}

  void breakLock() { word_.store(0); }

  void take() {
    std::uint32_t free = 0;
    while (!word_.compare_exchange_strong(free, 1)) {
      free = 0;
      std::this_thread::yield();
      platform::machine().clock->sleepMilliseconds(1);
    }
  }

  void release() {
    std::uint32_t held = 1;
    word_.compare_exchange_strong(held, 0);
  }

 private:
  std::atomic_ref<std::uint32_t> word_;
};

// The mapped block. The other process may have made the object smaller than it should be.
class MappedBlock {
 public:
  explicit MappedBlock(const ipc::shared_memory_object& object) : region_(object, ipc::read_write) {}

  [[nodiscard]] bool isUsable() const { return region_.get_size() > sizeof(std::uint32_t); }
  [[nodiscard]] LockWord lock() { return LockWord(region_.get_address()); }
  [[nodiscard]] char* text() { return static_cast<char*>(region_.get_address()) + sizeof(std::uint32_t); }
  [[nodiscard]] std::size_t textSize() const {
    return std::min(region_.get_size() - sizeof(std::uint32_t), SharedTextBlock::textBytes);
  }

 private:
  ipc::mapped_region region_;
};

}  // namespace

struct SharedTextBlock::Object {
  ipc::shared_memory_object memory;
};

SharedTextBlock::SharedTextBlock(std::string name) : name_(std::move(name)) {}

SharedTextBlock::~SharedTextBlock() = default;

int SharedTextBlock::open() {
  if (name_.empty()) return -1;
  try {
    object_ = std::make_unique<Object>();
    object_->memory = ipc::shared_memory_object(ipc::open_only, name_.c_str(), ipc::read_write);
    return 0;
  } catch (const ipc::interprocess_exception&) {
    object_.reset();
    return -1;
  }
}

int SharedTextBlock::create() {
  if (name_.empty()) return -1;
  try {
    ipc::shared_memory_object::remove(name_.c_str());
    object_ = std::make_unique<Object>();
    object_->memory = ipc::shared_memory_object(ipc::create_only, name_.c_str(), ipc::read_write);
    object_->memory.truncate(static_cast<ipc::offset_t>(blockBytes));
    return 0;
  } catch (const ipc::interprocess_exception&) {
    object_.reset();
    return -1;
  }
}

int SharedTextBlock::read(std::string& text) const {
  if (name_.empty() || object_ == nullptr) return -1;
  try {
    MappedBlock block(object_->memory);
    if (!block.isUsable()) return -1;
    block.lock().take();
    const char* start = block.text();
    const void* end = std::memchr(start, '\0', block.textSize());
    text.assign(start, end != nullptr ? static_cast<const char*>(end) : start + block.textSize());
    block.lock().release();
    return 0;
  } catch (const ipc::interprocess_exception&) {
    return -1;
  }
}

int SharedTextBlock::write(const std::string& text) {
  if (name_.empty() || object_ == nullptr) return -1;
  try {
    MappedBlock block(object_->memory);
    if (!block.isUsable()) return -1;
    const auto reserve = [&](std::size_t bytes) {
      return platform::reserveSharedMemory(object_->memory.get_mapping_handle(), bytes);
    };
    // A lock word that finds no memory was never written, and is free. One that a dead reader holds is freed
    // also when there is no room for the text.
    if (!reserve(sizeof(std::uint32_t))) return -1;
    block.lock().breakLock();
    if (text.size() >= block.textSize()) return -1;
    if (!reserve(sizeof(std::uint32_t) + text.size() + 1)) return -1;
    block.lock().take();
    std::memcpy(block.text(), text.c_str(), text.size() + 1);
    block.lock().release();
    return 0;
  } catch (const ipc::interprocess_exception&) {
    return -1;
  }
}

bool writeDocumentToSharedMemory(const TiXmlDocument& document) {
  SharedTextBlock block(channelName);
  if (block.open() != 0 && (block.create() != 0 || block.open() != 0)) {
    writeLog(u"Fail to open shared memory!!! " + toWide(channelName));
    return false;
  }
  if (block.write(printXml(document)) != 0) {
    writeLog(u"Fail to write into shared memory!!! " + toWide(channelName));
    return false;
  }
  return true;
}

}  // namespace ZelmoraTevra
