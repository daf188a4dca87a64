#include "programs/zocached/log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <iterator>

#include "programs/zocached/directory.h"

namespace kelvo::zocached {
namespace {

constexpr const char* kLevels[] = {"off", "error", "warning", "info", "debug"};
constexpr off_t kLongestFile = 1 << 20;

// Lives for the process; one thread at a time writes.
struct Log {
    Level level = Level::kOff;
    int directory = -1;  // borrowed
    int file = -1;       // owned
};
Log g_log;

void openFile() {
    g_log.file = openat(g_log.directory, kLogName,
                        O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    struct stat status {};
    if (g_log.file < 0 || (fstat(g_log.file, &status) == 0 && S_ISREG(status.st_mode))) return;
    close(g_log.file);
    g_log.file = -1;
}

void renewLongFile() {
    struct stat status {};
    if (g_log.file < 0 || fstat(g_log.file, &status) != 0 || status.st_size < kLongestFile) return;
    // Another server that has just started may have done it already: then only ours is old.
    struct stat named {};
    if (fstatat(g_log.directory, kLogName, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
        named.st_ino == status.st_ino)
        renameat(g_log.directory, kLogName, g_log.directory, kOldLogName);
    close(g_log.file);
    openFile();
}

}  // namespace

bool levelOf(const std::string& name, Level& level) {
    for (std::size_t i = 0; i < std::size(kLevels); ++i) {
        if (name != kLevels[i]) continue;
        level = static_cast<Level>(i);
        return true;
    }
    return false;
}

void openLog(int directory, Level level) {
    g_log.level = level;
    g_log.directory = directory;
    if (level != Level::kOff) openFile();
}

void logLine(Level level, const char* format, ...) {
    const bool toErrors = level <= Level::kWarning;
    const bool toFile = g_log.file >= 0 && level <= g_log.level;
    if (!toErrors && !toFile) return;
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    for (char* c = text; *c != '\0'; ++c)
        if (static_cast<unsigned char>(*c) < ' ' || *c == '\x7F') *c = '?';
    if (toErrors) std::fprintf(stderr, "zocached: %s\n", text);
    if (!toFile) return;
    renewLongFile();
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char when[32];
    std::strftime(when, sizeof when, "%Y-%m-%dT%H:%M:%SZ", &parts);
    if (g_log.file >= 0)
        dprintf(g_log.file, "%s %d %s: %s\n", when, static_cast<int>(getpid()),
                kLevels[static_cast<int>(level)], text);
}

}  // namespace kelvo::zocached
