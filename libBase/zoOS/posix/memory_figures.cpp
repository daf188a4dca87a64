// Memory of the machine from /proc/meminfo, and the limits of control groups.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "Base/zo_os_system.h"
#include "libBase/zoOS/probes.h"

namespace zoOS {
namespace {

constexpr std::uint64_t kNoLimit = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kKiB = 1024;

struct MachineMemory {  // KiB
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    std::uint64_t swapTotal = 0;
    std::uint64_t swapFree = 0;
};

// The figures of one group for one kind of memory, in bytes.
struct Allowance {
    std::uint64_t limit = kNoLimit;
    std::uint64_t used = 0;
    std::uint64_t left() const { return limit > used ? limit - used : 0; }
};

std::string systemPath(const std::string& path) {
    const char* root = kelvo::zoos::probes().systemRoot;
    return root != nullptr ? root + path : path;
}

// The value behind a name in a file of lines "name value" or "name: value kB".
std::uint64_t valueOf(const std::string& file, const std::string& name) {
    std::ifstream in(file);
    std::string word;
    std::uint64_t value = 0;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        if (fields >> word >> value && (word == name || word == name + ":")) return value;
    }
    return 0;
}

MachineMemory machineMemory() {
    std::ifstream in(systemPath("/proc/meminfo"));
    MachineMemory memory;
    std::string name, unit;
    std::uint64_t value;
    while (in >> name >> value && std::getline(in, unit)) {
        if (name == "MemTotal:") memory.total = value;
        if (name == "MemAvailable:") memory.available = value;
        if (name == "SwapTotal:") memory.swapTotal = value;
        if (name == "SwapFree:") memory.swapFree = value;
    }
    return memory;
}

// A limit or a use; "max", nothing and no file mean `otherwise`.
std::uint64_t numberIn(const std::string& file, std::uint64_t otherwise) {
    std::uint64_t value;
    std::ifstream in(file);
    return in >> value ? value : otherwise;
}

// Where the groups that count memory are mounted and which of them holds this process.
struct GroupPlace {
    std::string mountPoint;   // empty: none found
    std::string mountedRoot;  // the group that is seen at the mount point
    std::string group;        // of this process, from the root of all groups
};

bool listsMemory(const std::string& list) {
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');)
        if (word == "memory") return true;
    return false;
}

// Lines "number:controllers:group"; version 2 has number 0 and no controllers.
std::string groupOfProcess(bool unified) {
    std::ifstream in(systemPath("/proc/self/cgroup"));
    for (std::string line; std::getline(in, line);) {
        const std::size_t first = line.find(':');
        const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
        if (second == std::string::npos) continue;
        const std::string controllers = line.substr(first + 1, second - first - 1);
        if (unified ? controllers.empty() : listsMemory(controllers))
            return line.substr(second + 1);
    }
    return "/";
}

// A path out of a table of mounts, where blanks and backslashes stand as three octal digits.
std::string unescaped(const std::string& text) {
    std::string path;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '\\' && i + 3 < text.size() &&
                            text.find_first_not_of("01234567", i + 1) >= i + 4;
        path += escape ? static_cast<char>(std::stoi(text.substr(i + 1, 3), nullptr, 8)) : text[i];
        if (escape) i += 3;
    }
    return path;
}

// Lines "id parent device root mountpoint options [more...] - type source options".
GroupPlace findGroups(bool unified) {
    std::ifstream in(systemPath("/proc/self/mountinfo"));
    GroupPlace place;
    for (std::string line; std::getline(in, line);) {
        const std::size_t dash = line.find(" - ");
        if (dash == std::string::npos) continue;
        std::istringstream head(line), tail(line.substr(dash + 3));
        std::string skipped, type, source, options;
        head >> skipped >> skipped >> skipped >> place.mountedRoot >> place.mountPoint;
        tail >> type >> source >> options;
        if (unified ? type == "cgroup2" : type == "cgroup" && listsMemory(options)) {
            place.mountedRoot = unescaped(place.mountedRoot);
            place.mountPoint = unescaped(place.mountPoint);
            place.group = groupOfProcess(unified);
            return place;
        }
    }
    place.mountPoint.clear();
    return place;
}

// The directories of the process's group and all groups around it, as far as they are to be seen.
std::vector<std::string> groupDirectories(const GroupPlace& place) {
    // In a container the group may be named as its host sees it while only a part is mounted.
    std::string below = place.group == "/" ? "" : place.group;
    const std::string& root = place.mountedRoot;
    if (root != "/" && (below + "/").compare(0, root.size() + 1, root + "/") == 0)
        below.erase(0, root.size());
    // Above or beside all that is mounted here: then only what is mounted tells of limits.
    if ((below + "/").compare(0, 4, "/../") == 0) below.clear();
    std::vector<std::string> directories;
    for (;;) {
        directories.push_back(systemPath(place.mountPoint + below));
        const std::size_t slash = below.rfind('/');
        if (slash == std::string::npos) return directories;
        below.erase(slash);
    }
}

// Cached files that have not been used for a while go when memory is wanted; they count as used.
std::uint64_t reclaimableIn(const std::string& directory, bool unified) {
    return valueOf(directory + "/memory.stat", unified ? "inactive_file" : "total_inactive_file");
}

Allowance allowance(const std::string& limitFile, const std::string& usedFile,
                    std::uint64_t reclaimable) {
    Allowance result;
    result.limit = numberIn(limitFile, kNoLimit);
    result.used = numberIn(usedFile, 0);
    result.used -= std::min(result.used, reclaimable);
    return result;
}

void lower(std::uint64_t& value, std::uint64_t limit) {
    value = std::min(value, limit);
}

// Version 2 limits swap by itself.
void applyUnified(const std::string& directory, SystemMemory& memory, std::uint64_t& swapTotal,
                  std::uint64_t& swapFree) {
    const Allowance own = allowance(directory + "/memory.max", directory + "/memory.current",
                                    reclaimableIn(directory, true));
    const Allowance swap =
        allowance(directory + "/memory.swap.max", directory + "/memory.swap.current", 0);
    lower(memory.totalPhysical, own.limit);
    lower(memory.availPhysical, own.left());
    lower(swapTotal, swap.limit);
    lower(swapFree, swap.left());
}

// Version 1 limits the sum of memory and swap.
void applyVersion1(const std::string& directory, SystemMemory& memory) {
    const std::uint64_t reclaimable = reclaimableIn(directory, false);
    const Allowance own = allowance(directory + "/memory.limit_in_bytes",
                                    directory + "/memory.usage_in_bytes", reclaimable);
    const Allowance both = allowance(directory + "/memory.memsw.limit_in_bytes",
                                     directory + "/memory.memsw.usage_in_bytes", reclaimable);
    lower(memory.totalPhysical, own.limit);
    lower(memory.availPhysical, own.left());
    lower(memory.totalVirtual, both.limit);
    lower(memory.availVirtual, both.left());
}

}  // namespace

unsigned SysInfo::getPageSize() {
    return static_cast<unsigned>(sysconf(_SC_PAGESIZE));
}

SysInfo sysInfo() {
    const Probes& probes = kelvo::zoos::probes();
    if (probes.sysInfo != nullptr) return probes.sysInfo();
    const MachineMemory machine = machineMemory();
    SysInfo info;
    info.totalPhysicalMemory = static_cast<unsigned>(machine.total);
    info.availPhysicalMemory = static_cast<unsigned>(machine.available);
    info.totalVirtualMemory = static_cast<unsigned>(machine.total + machine.swapTotal);
    info.availVirtualMemory = static_cast<unsigned>(machine.available + machine.swapFree);
    return info;
}

SystemMemory systemMemory() {
    const MachineMemory machine = machineMemory();
    SystemMemory memory;
    memory.totalPhysical = machine.total * kKiB;
    memory.availPhysical = machine.available * kKiB;
    std::uint64_t swapTotal = machine.swapTotal * kKiB, swapFree = machine.swapFree * kKiB;
    const GroupPlace unified = findGroups(true), version1 = findGroups(false);
    if (!unified.mountPoint.empty())
        for (const std::string& directory : groupDirectories(unified))
            applyUnified(directory, memory, swapTotal, swapFree);
    memory.totalVirtual = kNoLimit;
    memory.availVirtual = kNoLimit;
    if (!version1.mountPoint.empty())
        for (const std::string& directory : groupDirectories(version1))
            applyVersion1(directory, memory);
    lower(memory.totalVirtual, memory.totalPhysical + swapTotal);
    lower(memory.availVirtual, memory.availPhysical + swapFree);
    return memory;
}

}  // namespace zoOS
