#include "programs/zocached/report.h"

#include <dirent.h>
#include <fcntl.h>

#include <cstdio>
#include <set>
#include <utility>
#include <vector>

#include "programs/zocached/control.h"
#include "programs/zocached/store.h"

using zoUtil::Error;

namespace kelvo::zocached {
namespace {

bool openDirectory(const std::string& text, Directory& directory) {
    Descriptor opened(open(text.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!opened) {
        std::perror(("zocached: " + text).c_str());
        return false;
    }
    const Error error = directory.take(std::move(opened));
    if (error) std::fprintf(stderr, "zocached: %s\n", error.message().c_str());
    return !error;
}

Error readIndex(const Directory& directory, std::vector<Row>& rows) {
    Store store;
    rows.clear();
    return store.openToRead(directory, [&](Row&& row) { rows.push_back(std::move(row)); });
}

// Rows that no file stands behind. A running server may delete one just now, so that only what is
// missing twice counts.
std::vector<std::string> missingFiles(const Directory& directory, std::vector<Row>& rows) {
    std::vector<std::string> missing;
    for (int pass = 0; pass < 2; ++pass) {
        missing.clear();
        for (const Row& row : rows)
            if (!row.doomed && (!isEntryName(row.name) || !directory.look(row.name)))
                missing.push_back(row.name);
        if (missing.empty() || pass == 1 || readIndex(directory, rows)) break;
    }
    return missing;
}

int countUnlisted(const Directory& directory, const std::vector<Row>& rows) {
    std::set<std::string> names;
    for (const Row& row : rows) names.insert(row.name);
    int count = 0;
    DIR* const list = opendir(directory.path().c_str());
    if (list == nullptr) return 0;
    while (const dirent* const item = readdir(list))
        if (isEntryName(item->d_name) && names.count(item->d_name) == 0) ++count;
    closedir(list);
    return count;
}

}  // namespace

int reportStatus(const std::string& text) {
    Directory directory;
    if (!openDirectory(text, directory)) return 1;
    const std::string figures = askForFigures(directory);
    if (figures.empty()) {
        std::puts("no server is running");
        return 1;
    }
    std::fputs(figures.c_str(), stdout);
    return 0;
}

int reportCheck(const std::string& text) {
    Directory directory;
    if (!openDirectory(text, directory)) return 1;
    askForFigures(directory);  // has a running server bring the index up to date
    std::vector<Row> rows;
    const Error error = readIndex(directory, rows);
    if (error && error.code() == ENOENT) {
        std::puts("no index: nothing has been cached here");
        return 0;
    }
    if (error) {
        std::printf("%s\n", error.message().c_str());
        return 1;
    }
    const std::vector<std::string> missing = missingFiles(directory, rows);
    std::int64_t entries = 0, bytes = 0;
    for (const Row& row : rows) {
        if (row.doomed) continue;
        ++entries;
        bytes += row.file.bytes;
    }
    std::printf(
        "entries: %lld\nbytes: %lld\nwaiting for deletion: %lld\nfiles missing: %zu\n"
        "files not in the index: %d\n",
        static_cast<long long>(entries), static_cast<long long>(bytes),
        static_cast<long long>(rows.size()) - entries, missing.size(),
        countUnlisted(directory, rows));
    for (const std::string& name : missing) std::printf("missing: %s\n", name.c_str());
    return missing.empty() ? 0 : 1;
}

}  // namespace kelvo::zocached
