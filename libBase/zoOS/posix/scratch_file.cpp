// Scratch files: made with their space, removed with their block, with the process, or, when that
// was killed, by the next one that makes such files in the same directory.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>
#include <string>

#include "Base/zo_os_path.h"
#include "Base/zo_os_view.h"
#include "libBase/zoOS/posix/descriptor.h"
#include "libBase/zoOS/posix/file_size_errors.h"
#include "libBase/zoOS/posix/system_error.h"

namespace zoOS {
namespace {

using kelvo::zoos::Descriptor;

constexpr std::size_t kRandomLetters = 6;  // at the end of the names

// Lives for the process and is never destroyed, since blocks may be freed while it ends; any thread.
struct ScratchFiles {
    std::mutex mutex;
    std::set<std::pair<std::string, pid_t>> paths;  // native, with the process that made them
    std::set<std::string> swept;                    // directories and beginnings of names
};

// Removes what is left when the process ends.
struct Cleaner {
    ~Cleaner() {
        const std::lock_guard<std::mutex> lock(files->mutex);
        // A child that was forked has the table, but not the files.
        for (const auto& [path, owner] : files->paths)
            if (owner == getpid()) unlink(path.c_str());
    }
    ScratchFiles* files;
};

ScratchFiles& scratchFiles() {
    static const Cleaner cleaner{new ScratchFiles};
    static ScratchFiles* const files = cleaner.files;
    return *files;
}

// Only there does a lock say that no process on any machine has the file.
bool isLocal(int directory) {
    static constexpr unsigned long kLocal[] = {
        0xEF53,      // ext2, ext3, ext4
        0x01021994,  // tmpfs
        0x58465342,  // xfs
        0x9123683E,  // btrfs
        0x794C7630,  // overlay
        0x2FC12FC1,  // zfs
        0xF2F52010,  // f2fs
    };
    struct statfs status;
    return fstatfs(directory, &status) == 0 &&
           std::find(std::begin(kLocal), std::end(kLocal),
                     static_cast<unsigned long>(status.f_type)) != std::end(kLocal);
}

// Removes the file when it begins with the word, is ours and no process has it. The lock of a
// file lives as long as a view of it does, whoever closed the descriptor.
void removeIfDead(int directory, const char* name, std::uint32_t magic) {
    const Descriptor file(openat(directory, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    std::uint32_t word = 0;
    if (file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == geteuid() && flock(file.get(), LOCK_EX | LOCK_NB) == 0 &&
        pread(file.get(), &word, sizeof word, 0) == sizeof word && word == magic)
        unlinkat(directory, name, 0);
}

void sweep(const std::string& path, std::uint32_t magic) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || path.size() - slash - 1 <= kRandomLetters) return;
    const std::string stem = path.substr(slash + 1, path.size() - slash - 1 - kRandomLetters);
    DIR* const directory = opendir(path.substr(0, slash + 1).c_str());
    if (directory == nullptr) return;
    if (isLocal(dirfd(directory)))
        while (const dirent* entry = readdir(directory))
            if (std::strlen(entry->d_name) == stem.size() + kRandomLetters &&
                std::strncmp(entry->d_name, stem.c_str(), stem.size()) == 0)
                removeIfDead(dirfd(directory), entry->d_name, magic);
    closedir(directory);
}

// A descriptor of a new, locked file of this size, or none and no file.
Descriptor create(const char* path, std::size_t bytes) {
    Descriptor file(open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file) return file;
    // A process that looks for dead files may hold the lock for a moment. Where there are no locks,
    // nobody removes dead files either.
    kelvo::zoos::uninterrupted([&] { return flock(file.get(), LOCK_EX); });
    bool made = true;
    if (bytes != 0) {
        const kelvo::zoos::FileSizeErrors guard;
        int error;
        do error = posix_fallocate(file.get(), 0, static_cast<off_t>(bytes));
        while (error == EINTR);
        made = error == 0;
    }
    if (made) return file;
    unlink(path);
    return Descriptor();
}

}  // namespace

int createScratchFile(const char* path, std::size_t bytes, std::uint32_t magic) {
    const std::string native = nativePath(path).str();
    ScratchFiles& files = scratchFiles();
    const std::lock_guard<std::mutex> lock(files.mutex);
    if (files.swept
            .insert(native.substr(0, native.size() - std::min(native.size(), kRandomLetters)))
            .second)
        sweep(native, magic);
    Descriptor file = create(native.c_str(), bytes);
    if (file) files.paths.emplace(native, getpid());
    return file.release();
}

void removeScratchFile(const char* path) {
    const std::string native = nativePath(path).str();
    ScratchFiles& files = scratchFiles();
    const std::lock_guard<std::mutex> lock(files.mutex);
    files.paths.erase({native, getpid()});
    unlink(native.c_str());
}

}  // namespace zoOS
