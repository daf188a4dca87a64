#include "KelvoBase/moveable_memory.h"

#include <memory>
#include <utility>
#include <vector>

#include "Base/zo_os_file.h"

using zoString::IString;
using zoUtil::Error;

namespace zoKelvoBase {
namespace {

constexpr int kFailed = 1;  // code of this holder's own errors

// Stores that a later one has replaced. Callers may still use them, so they live to the end.
std::vector<std::unique_ptr<zoOS::MoveableMemory>>& replacedStores() {
    static std::vector<std::unique_ptr<zoOS::MoveableMemory>> stores;
    return stores;
}

Error prepareDirectory(const IString& directory) {
    const zoOS::File file(directory);
    zoOS::FileStatus status;
    if (Error error = file.query(status, false)) return error;
    if (!status.exists()) {
        if (Error error = file.makeDirectoryAll()) return error;
        if (Error error = file.query(status, false)) return error;
    }
    if (status.isWritable()) return Error();
    return Error(kFailed, "directory not writeable: %s\n", directory.toMultibyte().c_str());
}

}  // namespace

MoveableMemory& moveableMemory() {
    replacedStores();  // made first, so that it outlives the holder
    static MoveableMemory holder;
    return holder;
}

MoveableMemory::~MoveableMemory() {
    delete memory_;
    memory_ = nullptr;
}

Error MoveableMemory::initialize(const IString& directory, const IString& second) {
    directory_ = directory;
    if (Error error = prepareDirectory(directory_)) return error;
    auto memory = std::make_unique<zoOS::MoveableMemory>();
    if (memory_ != nullptr) replacedStores().emplace_back(std::exchange(memory_, nullptr));
    if (!memory->initializeFiles(directory_, second))
        return Error(kFailed, "Failed to initialize moveable memory.");
    memory_ = memory.release();
    return Error();
}

}  // namespace zoKelvoBase
