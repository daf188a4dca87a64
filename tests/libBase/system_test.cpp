// What could break: figures read from the wrong line or scaled wrongly, a container's limit that
// is overlooked, a limit of another group taken for ours.
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>

#include "Base/zo_os_system.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using kelvo::test::TemporaryDirectory;

struct ProbeGuard {
    ~ProbeGuard() { zoOS::setProbes(nullptr); }
};

constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;

// 8 GiB of memory, 6 of them available; 4 GiB of swap, 3 of them free.
constexpr const char* kMachine =
    "MemTotal:        8388608 kB\nMemFree:          100000 kB\nMemAvailable:    6291456 kB\n"
    "HugePages_Total:       0\nSwapTotal:       4194304 kB\nSwapFree:        3145728 kB\n";

// What is mounted for control groups, and where their files lie then.
struct Groups {
    const char* mounts;
    std::string directory;
};
const Groups kNone = {"", ""};
const Groups kGroups2 = {
    "22 1 0:20 / / rw - ext4 /dev/a rw\n"
    "31 22 0:28 / /sys/fs/cgroup rw,nosuid shared:9 - cgroup2 cgroup rw,nsdelegate\n",
    "sys/fs/cgroup/"};
const Groups kGroups1 = {
    "31 22 0:30 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,memory_other\n"
    "32 22 0:31 / /sys/fs/cgroup/memory rw shared:9 - cgroup cgroup rw,memory\n"
    "33 22 0:32 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n",
    "sys/fs/cgroup/memory/"};
// What a container of version 1 sees that has no name space of its own for groups.
const Groups kPart1 = {
    "32 22 0:31 /docker/ab /sys/fs/cgroup/memory ro master:9 - cgroup cgroup rw,memory\n",
    "sys/fs/cgroup/memory/"};
const Groups kBlanks2 = {"31 22 0:28 /a\\040b /x\\040y rw - cgroup2 cgroup rw\n", "x y/"};
const Groups kNonsense = {"- - -\n\n - cgroup2\n - cgroup c memory\n", ""};

// Files of a machine: a name, a colon and the content, each ended by '|'.
zoOS::SystemMemory memoryWith(const std::string& files) {
    const TemporaryDirectory root;
    const ProbeGuard guard;
    std::istringstream in(files);
    for (std::string name, content;
         std::getline(in, name, ':') && std::getline(in, content, '|');) {
        std::filesystem::create_directories(std::filesystem::path(root / name).parent_path());
        kelvo::test::writeFile(root / name, content);
    }
    zoOS::Probes probes;
    probes.systemRoot = root.path().c_str();
    zoOS::setProbes(&probes);
    return zoOS::systemMemory();
}

TEST(SystemMemory, RespectsTheLimitsOfControlGroups) {
    const std::string meminfo = std::string("proc/meminfo:") + kMachine + "|";
    const struct {
        const char* what;
        const char* group;
        const Groups& groups;
        const char* files;                             // a name, a colon, the content; '|' between
        std::uint64_t total, free, allTotal, allFree;  // MiB; all: with virtual memory
    } rows[] = {
        {"no groups", "", kNone, "", 8192, 6144, 12288, 9216},
        {"no limit, 2", "0::/a\n", kGroups2, "a/memory.max:max|a/memory.current:9999999999", 8192,
         6144, 12288, 9216},
        {"limit, 2", "0::/a\n", kGroups2,
         "a/memory.max:1073741824|a/memory.current:536870912|"
         "a/memory.stat:file 5\ninactive_file 104857600\nactive_file 7|a/memory.swap.max:0",
         1024, 612, 1024, 612},
        {"swap limit, 2", "0::/a\n", kGroups2,
         "a/memory.swap.max:2147483648|a/memory.swap.current:1073741824", 8192, 6144, 10240, 7168},
        {"limit of a group around it, another's is lower", "0::/a/b\n", kGroups2,
         "a/memory.max:2147483648|a/memory.current:0|a/b/memory.max:3221225472|"
         "a/b/memory.current:2684354560|c/memory.max:1",
         2048, 512, 6144, 3584},
        {"used up", "0::/\n", kGroups2, "memory.max:1048576|memory.current:2097152", 1, 0, 4097,
         3072},
        {"no limit, 1", "4:memory:/a\n0::/\n", kGroups1,
         "a/memory.limit_in_bytes:9223372036854771712|"
         "a/memory.memsw.limit_in_bytes:9223372036854771712",
         8192, 6144, 12288, 9216},
        {"limit, 1", "5:cpu,cpuacct:/z\n4:memory:/a\n0::/\n", kGroups1,
         "a/memory.limit_in_bytes:1073741824|a/memory.usage_in_bytes:1073741824|"
         "a/memory.stat:inactive_file 1\ntotal_inactive_file 209715200|"
         "a/memory.memsw.limit_in_bytes:2147483648|"
         "a/memory.memsw.usage_in_bytes:1073741824",
         1024, 200, 2048, 1224},
        {"limit around it, 1", "4:memory:/a/b\n", kGroups1,
         "memory.limit_in_bytes:9223372036854771712|a/memory.limit_in_bytes:536870912|"
         "a/memory.usage_in_bytes:1048576",
         512, 511, 4608, 3583},
        {"part of the groups mounted, 1", "4:memory:/docker/ab\n", kPart1,
         "memory.limit_in_bytes:536870912", 512, 512, 4608, 3584},
        {"other part of the groups mounted, 1", "4:memory:/docker/abc\n", kPart1,
         "memory.limit_in_bytes:536870912|c/memory.limit_in_bytes:5", 512, 512, 4608, 3584},
        {"a group outside of what is mounted, 2", "0::/../other\n", kGroups2,
         "memory.max:1073741824|../other/memory.max:5", 1024, 1024, 5120, 4096},
        {"blanks in names of mounts, 2", "0::/a b/c\n", kBlanks2, "c/memory.max:1073741824", 1024,
         1024, 5120, 4096},
        {"nonsense", "::::\nx\n:memory\n", kNonsense, "", 8192, 6144, 12288, 9216},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::string files = meminfo + "proc/self/cgroup:" + row.group +
                            "|proc/self/mountinfo:" + row.groups.mounts + "|";
        std::istringstream in(row.files);
        for (std::string file; std::getline(in, file, '|');)
            files += row.groups.directory + file + "\n|";
        const zoOS::SystemMemory memory = memoryWith(files);
        EXPECT_EQ(row.total * kMiB, memory.totalPhysical);
        EXPECT_EQ(row.free * kMiB, memory.availPhysical);
        EXPECT_EQ(row.allTotal * kMiB, memory.totalVirtual);
        EXPECT_EQ(row.allFree * kMiB, memory.availVirtual);
    }
    const zoOS::SystemMemory none = memoryWith("");
    EXPECT_EQ(0u, none.totalPhysical | none.availPhysical | none.totalVirtual | none.availVirtual);
}

TEST(SysInfo, IsTheMachinesInKiBAndWraps) {
    const TemporaryDirectory root;
    const ProbeGuard guard;
    std::filesystem::create_directories(root / "proc");
    kelvo::test::writeFile(root / "proc/meminfo",
                           "MemTotal: 4294967301 kB\nMemAvailable: 7 kB\nSwapTotal: 10 kB\n"
                           "SwapFree: 4294967296 kB\n");
    zoOS::Probes probes;
    probes.systemRoot = root.path().c_str();
    zoOS::setProbes(&probes);
    const zoOS::SysInfo info = zoOS::sysInfo();
    EXPECT_EQ(5u, info.totalPhysicalMemory);
    EXPECT_EQ(7u, info.availPhysicalMemory);
    EXPECT_EQ(15u, info.totalVirtualMemory);
    EXPECT_EQ(7u, info.availVirtualMemory);
    zoOS::setProbes(nullptr);
    const auto pages = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES));
    EXPECT_EQ(static_cast<unsigned>(pages * zoOS::SysInfo::getPageSize() / 1024),
              zoOS::sysInfo().totalPhysicalMemory);
    EXPECT_LE(zoOS::systemMemory().availPhysical, zoOS::systemMemory().totalPhysical);
    EXPECT_LT(0u, zoOS::systemMemory().availPhysical);
}

TEST(Filesystem, TellsTheFreeSpaceOfThisUser) {
    struct statvfs status;
    ASSERT_EQ(0, statvfs("/dev/shm", &status));
    const std::uint64_t free = std::uint64_t{status.f_bavail} * status.f_frsize;
    constexpr double kSlack = 64.0 * kMiB;  // others may write meanwhile
    zoOS::Filesystem shm("\\dev\\shm");
    EXPECT_EQ(0u, shm.freeSpace());
    EXPECT_FALSE(shm.stat());
    EXPECT_NEAR(static_cast<double>(free), 1024.0 * shm.freeSpace(), kSlack);
    std::uint64_t bytes = 1;
    EXPECT_TRUE(zoOS::diskFree("/dev/shm", bytes));
    EXPECT_NEAR(static_cast<double>(free), static_cast<double>(bytes), kSlack);
    for (const char* path : {(const char*)nullptr, "", "/no/such/directory"}) {
        zoOS::Filesystem none(path);
        EXPECT_EQ(ENOENT, none.stat().code());
        EXPECT_EQ(0u, none.freeSpace());
        bytes = 1;
        EXPECT_FALSE(zoOS::diskFree(path, bytes));
        EXPECT_EQ(0u, bytes);
    }
    const ProbeGuard guard;
    zoOS::Probes probes;
    probes.filesystem = [](const char*, unsigned* free_kib) { return *free_kib = 77, EIO; };
    probes.diskFree = [](const char*, std::uint64_t* disk) { return *disk = 5, true; };
    zoOS::setProbes(&probes);
    zoOS::Filesystem probed("/");
    EXPECT_EQ(EIO, probed.stat().code());
    EXPECT_EQ(77u, probed.freeSpace());
    EXPECT_TRUE(zoOS::diskFree("/", bytes));
    EXPECT_EQ(5u, bytes);
}

}  // namespace
