#include "result_files.h"

#include <filesystem>
#include <set>

#include "failure.h"
#include "platform.h"

namespace kelvo::fit {

namespace fs = std::filesystem;

ResultFiles::~ResultFiles() {
    std::error_code ignored;
    for (const Pending& file : pending_) fs::remove(file.temporary, ignored);
    forgetUnfinished();
}

void ResultFiles::add(const std::string& path, const std::string& content) {
    pending_.push_back({writeTemporary(path, content), path});
}

void ResultFiles::commit() {
    const SignalsHeld held;  // all of them or none
    std::set<std::string> directories;
    for (const Pending& file : pending_) {
        std::error_code error;
        fs::rename(file.temporary, file.final, error);
        if (error) failAt({file.final}, "cannot be replaced: " + error.message());
        directories.insert(fs::path(file.final).parent_path().string());
    }
    std::error_code ignored;
    for (const std::string& path : dropped_) fs::remove(path, ignored);
    pending_.clear();
    forgetUnfinished();
    for (const std::string& directory : directories) flushDirectory(directory);
}

MadeDirectories::~MadeDirectories() {
    std::error_code ignored;
    // remove() leaves directories alone that someone has put files into.
    for (auto dir = made_.rbegin(); dir != made_.rend(); ++dir) fs::remove(*dir, ignored);
}

void MadeDirectories::make(const std::string& dir) {
    std::error_code error;
    fs::path at;
    for (const fs::path& part : fs::path(dir)) {
        at /= part;
        const bool made = makeUnfinishedDirectory(at.string(), error);
        if (error) failAt({at.string()}, "cannot be made: " + error.message());
        if (made) made_.push_back(at.string());
    }
}

}  // namespace kelvo::fit
