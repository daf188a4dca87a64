#include "Base/zo_os_moveable_memory.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <list>
#include <vector>

#include "Base/zo_os_filename.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_system.h"
#include "libBase/zoOS/posix/page_file.h"

using kelvo::zoos::PageFile;
using zoUtil::Error;

namespace zoOS {
namespace {

// Blocks that nobody has locked keep their addresses as long as they are not more than this
// together: locking one again is then a matter of a few instructions.
constexpr std::uint64_t kKeptMapped = std::uint64_t{64} << 20;
constexpr std::uint64_t kLargest = std::uint64_t{1} << 46;  // bytes in a block

std::uint64_t wholePages(std::uint64_t bytes) {
    const std::uint64_t page = SysInfo::getPageSize();
    return bytes == 0 ? page : (bytes + page - 1) / page * page;
}

Error noSuchBlock() {
    return Error(EINVAL, "moveable memory: there is no such block");
}

Error isLocked() {
    return Error(EBUSY, "moveable memory: the block is locked");
}

}  // namespace

class MoveableMemory::Store {
  public:
    ~Store();

    Error create(const std::string& path);
    Error allocate(std::uint64_t bytes, Handle& handle);
    void* lock(Handle handle);
    Error unlock(Handle handle);
    Error resize(Handle handle, std::uint64_t bytes);
    Error free(Handle handle);
    std::uint64_t size(Handle handle) const;
    Statistics statistics() const;

    Error lastError;

  private:
    struct Block {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;  // whole pages; 0: the slot is empty
        std::uint64_t bytes = 0;   // as asked for
        void* address = nullptr;   // null: not mapped
        unsigned locks = 0;
        std::uint32_t generation = 1;               // of the handles that fit
        std::list<std::uint32_t>::iterator kept{};  // valid while mapped and not locked
    };

    const Block* find(Handle handle) const;
    Block* find(Handle handle) {
        return const_cast<Block*>(static_cast<const Store*>(this)->find(handle));
    }
    std::uint32_t slotOf(const Block& block) const {
        return static_cast<std::uint32_t>(&block - blocks_.data());
    }
    Error noRoom(int error, std::uint64_t bytes) const;
    int changeRoom(Block& block, std::uint64_t length);
    void keep(Block& block);
    void stopKeeping(Block& block);
    void dropAddress(Block& block);
    void dropKeptBeyond(std::uint64_t bytes);

    PageFile file_;
    std::vector<Block> blocks_;
    std::vector<std::uint32_t> emptySlots_;
    std::list<std::uint32_t> kept_;  // slots that are mapped and not locked, oldest first
    std::uint64_t keptBytes_ = 0;
};

MoveableMemory::Store::~Store() {
    for (const Block& block : blocks_)
        if (block.address != nullptr) PageFile::unmap(block.address, block.length);
}

Error MoveableMemory::Store::create(const std::string& path) {
    if (file_.isOpen()) return Error(EALREADY, "moveable memory: has a file already");
    const int error = file_.create(path);
    if (error == 0) return Error();
    return Error(error, "moveable memory: cannot make \"%s\": %s", path.c_str(),
                 error == EEXIST ? "there is something else of that name" : std::strerror(error));
}

// A handle is the slot's generation and its number, from 1.
const MoveableMemory::Store::Block* MoveableMemory::Store::find(Handle handle) const {
    const std::uint64_t number = handle & 0xFFFFFFFFu;
    if (number == 0 || number > blocks_.size()) return nullptr;
    const Block& block = blocks_[number - 1];
    return block.length != 0 && block.generation == handle >> 32 ? &block : nullptr;
}

Error MoveableMemory::Store::noRoom(int error, std::uint64_t bytes) const {
    return Error(error, "moveable memory: no room for %llu bytes in \"%s\": %s",
                 static_cast<unsigned long long>(bytes), file_.path().c_str(),
                 std::strerror(error));
}

Error MoveableMemory::Store::allocate(std::uint64_t bytes, Handle& handle) {
    handle = 0;
    if (!file_.isOpen()) return Error(EBADF, "moveable memory: has no file yet");
    if (bytes > kLargest) return noRoom(EFBIG, bytes);
    if (emptySlots_.empty()) {
        blocks_.emplace_back();
        emptySlots_.push_back(static_cast<std::uint32_t>(blocks_.size() - 1));
    }
    Block& block = blocks_[emptySlots_.back()];
    const std::uint64_t length = wholePages(bytes);
    if (const int error = file_.take(length, block.offset)) return noRoom(error, bytes);
    block.length = length;
    block.bytes = bytes;
    handle = (Handle{block.generation} << 32) | (Handle{emptySlots_.back()} + 1);
    emptySlots_.pop_back();
    return Error();
}

void* MoveableMemory::Store::lock(Handle handle) {
    Block* const block = find(handle);
    if (block == nullptr || block->locks == std::numeric_limits<unsigned>::max()) return nullptr;
    if (block->address == nullptr) {
        block->address = file_.map(block->offset, block->length);
        if (block->address == nullptr) {
            dropKeptBeyond(0);
            block->address = file_.map(block->offset, block->length);
        }
        if (block->address == nullptr) return nullptr;
    } else if (block->locks == 0) {
        stopKeeping(*block);
    }
    ++block->locks;
    return block->address;
}

Error MoveableMemory::Store::unlock(Handle handle) {
    Block* const block = find(handle);
    if (block == nullptr) return noSuchBlock();
    if (block->locks == 0) return Error(EINVAL, "moveable memory: the block is not locked");
    if (--block->locks == 0) keep(*block);
    return Error();
}

Error MoveableMemory::Store::resize(Handle handle, std::uint64_t bytes) {
    Block* const block = find(handle);
    if (block == nullptr) return noSuchBlock();
    if (block->locks != 0) return isLocked();
    if (bytes > kLargest) return noRoom(EFBIG, bytes);
    const std::uint64_t length = wholePages(bytes);
    if (length != block->length) {
        dropAddress(*block);
        if (const int error = changeRoom(*block, length)) return noRoom(error, bytes);
    }
    block->bytes = bytes;
    return Error();
}

// Error number; the block stays as it was with any.
int MoveableMemory::Store::changeRoom(Block& block, std::uint64_t length) {
    const std::uint64_t end = block.offset + block.length;
    if (length < block.length) {
        file_.give(block.offset + length, block.length - length);
        block.length = length;
        return 0;
    }
    int error = file_.takeAt(end, length - block.length);
    if (error == EBUSY) {
        std::uint64_t offset;
        error = file_.take(length, offset);
        if (error != 0) return error;
        error = file_.copy(block.offset, offset, block.length);
        if (error != 0) {
            file_.give(offset, length);
            return error;
        }
        file_.give(block.offset, block.length);
        block.offset = offset;
    }
    if (error == 0) block.length = length;
    return error;
}

Error MoveableMemory::Store::free(Handle handle) {
    Block* const block = find(handle);
    if (block == nullptr) return noSuchBlock();
    if (block->locks != 0) return isLocked();
    dropAddress(*block);
    file_.give(block->offset, block->length);
    block->length = 0;
    // A slot whose handles are used up stays empty for good.
    if (++block->generation != 0) emptySlots_.push_back(slotOf(*block));
    return Error();
}

std::uint64_t MoveableMemory::Store::size(Handle handle) const {
    const Block* const block = find(handle);
    return block != nullptr ? block->bytes : 0;
}

MoveableMemory::Statistics MoveableMemory::Store::statistics() const {
    Statistics result;
    for (const Block& block : blocks_) {
        if (block.length == 0) continue;
        ++result.blocks;
        result.bytes += block.bytes;
        if (block.locks != 0) ++result.lockedBlocks;
        if (block.locks != 0) result.lockedBytes += block.bytes;
        if (block.address != nullptr) result.mappedBytes += block.length;
    }
    if (file_.isOpen()) result.fileBytes = file_.extents().end();
    result.freeBytes = file_.extents().free();
    return result;
}

void MoveableMemory::Store::keep(Block& block) {
    block.kept = kept_.insert(kept_.end(), slotOf(block));
    keptBytes_ += block.length;
    dropKeptBeyond(kKeptMapped);
}

void MoveableMemory::Store::stopKeeping(Block& block) {
    kept_.erase(block.kept);
    keptBytes_ -= block.length;
}

void MoveableMemory::Store::dropAddress(Block& block) {
    if (block.address == nullptr) return;
    stopKeeping(block);
    PageFile::unmap(block.address, block.length);
    block.address = nullptr;
}

void MoveableMemory::Store::dropKeptBeyond(std::uint64_t bytes) {
    while (keptBytes_ > bytes) dropAddress(blocks_[kept_.front()]);
}

MoveableMemory::MoveableMemory() : store_(std::make_unique<Store>()) {}
MoveableMemory::~MoveableMemory() = default;

bool MoveableMemory::initializeFiles(const zoString::IString& directory,
                                     const zoString::IString& name) {
    const zoString::CString path = Filename::join(directory.toMultibyte(), name.toMultibyte());
    store_->lastError = store_->create(nativePath(path.c_str()).str());
    return !store_->lastError;
}

const Error& MoveableMemory::lastError() const noexcept {
    return store_->lastError;
}

Error MoveableMemory::allocate(std::uint64_t bytes, Handle& handle) {
    return store_->allocate(bytes, handle);
}

void* MoveableMemory::lock(Handle handle) {
    return store_->lock(handle);
}

Error MoveableMemory::unlock(Handle handle) {
    return store_->unlock(handle);
}

Error MoveableMemory::resize(Handle handle, std::uint64_t bytes) {
    return store_->resize(handle, bytes);
}

Error MoveableMemory::free(Handle handle) {
    return store_->free(handle);
}

std::uint64_t MoveableMemory::size(Handle handle) const {
    return store_->size(handle);
}

MoveableMemory::Statistics MoveableMemory::statistics() const {
    return store_->statistics();
}

}  // namespace zoOS
