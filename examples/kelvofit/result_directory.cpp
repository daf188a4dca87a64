#include "result_directory.h"

#include <filesystem>

#include "failure.h"
#include "platform.h"

namespace kelvo::fit {

namespace fs = std::filesystem;

ResultDirectory::~ResultDirectory() {
    std::error_code ignored;
    for (const Pending& file : pending_) fs::remove(file.temporary, ignored);
    // remove() leaves directories alone that someone has put files into.
    for (auto dir = made_.rbegin(); dir != made_.rend(); ++dir) fs::remove(*dir, ignored);
}

void ResultDirectory::makeDirectory() {
    std::error_code error;
    fs::path at;
    for (const fs::path& part : fs::path(dir_)) {
        at /= part;
        const bool made = fs::create_directory(at, error);
        if (error) failAt({at.string()}, "cannot be made: " + error.message());
        if (made) made_.push_back(at.string());
    }
}

void ResultDirectory::add(const std::string& name, const std::string& content) {
    if (pending_.empty()) makeDirectory();
    const std::string path = (fs::path(dir_) / name).string();
    pending_.push_back({writeTemporary(path, content), path});
}

bool ResultDirectory::has(const std::string& name) const {
    std::error_code ignored;
    return fs::is_regular_file(fs::path(dir_) / name, ignored);
}

void ResultDirectory::drop(const std::string& name) {
    dropped_.push_back((fs::path(dir_) / name).string());
}

void ResultDirectory::commit() {
    for (const Pending& file : pending_) {
        std::error_code error;
        fs::rename(file.temporary, file.final, error);
        if (error) failAt({file.final}, "cannot be replaced: " + error.message());
    }
    std::error_code ignored;
    for (const std::string& path : dropped_) fs::remove(path, ignored);
    pending_.clear();
    made_.clear();
    flushDirectory(dir_);
}

}  // namespace kelvo::fit
