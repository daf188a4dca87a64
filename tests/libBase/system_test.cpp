// What could break: figures read from the wrong line or scaled wrongly, a container's limit that
// is overlooked, a limit of another group taken for ours.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "Base/zo_os_system.h"
#include "tests/support/temporary_directory.h"

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
constexpr const char* kMounts2 =
    "22 1 0:20 / / rw - ext4 /dev/a rw\n"
    "31 22 0:28 / /sys/fs/cgroup rw,nosuid shared:9 - cgroup2 cgroup rw,nsdelegate\n";
constexpr const char* kMounts1 =
    "31 22 0:30 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,memory_other\n"
    "32 22 0:31 / /sys/fs/cgroup/memory rw shared:9 - cgroup cgroup rw,memory\n"
    "33 22 0:32 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n";
// What a container of version 1 sees that has no name space of its own for groups.
constexpr const char* kMountsPart =
    "32 22 0:31 /docker/ab /sys/fs/cgroup/memory ro master:9 - cgroup cgroup rw,memory\n";

using Files = std::vector<std::pair<std::string, std::string>>;

zoOS::SystemMemory memoryWith(const Files& files) {
    const TemporaryDirectory root;
    const ProbeGuard guard;
    for (const auto& [name, content] : files) {
        std::filesystem::create_directories(std::filesystem::path(root / name).parent_path());
        kelvo::test::writeFile(root / name, content);
    }
    zoOS::Probes probes;
    probes.systemRoot = root.path().c_str();
    zoOS::setProbes(&probes);
    return zoOS::systemMemory();
}

TEST(SystemMemory, RespectsTheLimitsOfControlGroups) {
    const std::string v2 = "sys/fs/cgroup/", v1 = "sys/fs/cgroup/memory/";
    const std::string unlimited1 = "9223372036854771712\n";
    const struct {
        const char* what;
        const char* group;
        const char* mounts;
        Files files;
        std::uint64_t expected[4];  // MiB: physical total, available; virtual total, available
    } rows[] = {
        {"no groups", "", "", {}, {8192, 6144, 12288, 9216}},
        {"no limit, 2",
         "0::/a\n",
         kMounts2,
         {{v2 + "a/memory.max", "max\n"}, {v2 + "a/memory.current", "9999999999"}},
         {8192, 6144, 12288, 9216}},
        {"limit, 2",
         "0::/a\n",
         kMounts2,
         {{v2 + "a/memory.max", "1073741824\n"},
          {v2 + "a/memory.current", "536870912\n"},
          {v2 + "a/memory.stat", "file 5\ninactive_file 104857600\nactive_file 7\n"},
          {v2 + "a/memory.swap.max", "0\n"}},
         {1024, 612, 1024, 612}},
        {"swap limit, 2",
         "0::/a\n",
         kMounts2,
         {{v2 + "a/memory.swap.max", "2147483648\n"},
          {v2 + "a/memory.swap.current", "1073741824\n"}},
         {8192, 6144, 10240, 7168}},
        {"limit of a group around it, another's is lower",
         "0::/a/b\n",
         kMounts2,
         {{v2 + "a/memory.max", "2147483648\n"},
          {v2 + "a/memory.current", "0\n"},
          {v2 + "a/b/memory.max", "3221225472\n"},
          {v2 + "a/b/memory.current", "2684354560\n"},
          {v2 + "c/memory.max", "1\n"}},
         {2048, 512, 6144, 3584}},
        {"used up",
         "0::/\n",
         kMounts2,
         {{v2 + "memory.max", "1048576\n"}, {v2 + "memory.current", "2097152\n"}},
         {1, 0, 4097, 3072}},
        {"no limit, 1",
         "4:memory:/a\n0::/\n",
         kMounts1,
         {{v1 + "a/memory.limit_in_bytes", unlimited1},
          {v1 + "a/memory.memsw.limit_in_bytes", unlimited1}},
         {8192, 6144, 12288, 9216}},
        {"limit, 1",
         "5:cpu,cpuacct:/z\n4:memory:/a\n0::/\n",
         kMounts1,
         {{v1 + "a/memory.limit_in_bytes", "1073741824\n"},
          {v1 + "a/memory.usage_in_bytes", "1073741824\n"},
          {v1 + "a/memory.stat", "inactive_file 1\ntotal_inactive_file 209715200\n"},
          {v1 + "a/memory.memsw.limit_in_bytes", "2147483648\n"},
          {v1 + "a/memory.memsw.usage_in_bytes", "1073741824\n"}},
         {1024, 200, 2048, 1224}},
        {"limit around it, 1",
         "4:memory:/a/b\n",
         kMounts1,
         {{v1 + "memory.limit_in_bytes", unlimited1},
          {v1 + "a/memory.limit_in_bytes", "536870912\n"},
          {v1 + "a/memory.usage_in_bytes", "1048576\n"}},
         {512, 511, 4608, 3583}},
        {"part of the groups mounted, 1",
         "4:memory:/docker/ab\n",
         kMountsPart,
         {{v1 + "memory.limit_in_bytes", "536870912\n"}},
         {512, 512, 4608, 3584}},
        {"other part of the groups mounted, 1",
         "4:memory:/docker/abc\n",
         kMountsPart,
         {{v1 + "memory.limit_in_bytes", "536870912\n"}, {v1 + "c/memory.limit_in_bytes", "5"}},
         {512, 512, 4608, 3584}},
        {"a group outside of what is mounted, 2",
         "0::/../other\n",
         kMounts2,
         {{v2 + "memory.max", "1073741824\n"}, {"sys/fs/other/memory.max", "5"}},
         {1024, 1024, 5120, 4096}},
        {"blanks in names of mounts, 2",
         "0::/a b/c\n",
         "31 22 0:28 /a\\040b /x\\040y rw - cgroup2 cgroup rw\n",
         {{"x y/c/memory.max", "1073741824\n"}},
         {1024, 1024, 5120, 4096}},
        {"nonsense",
         "::::\nx\n:memory\n",
         "- - -\n\n - cgroup2\n - cgroup c memory\n",
         {},
         {8192, 6144, 12288, 9216}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Files files = row.files;
        files.push_back({"proc/meminfo", kMachine});
        files.push_back({"proc/self/cgroup", row.group});
        files.push_back({"proc/self/mountinfo", row.mounts});
        const zoOS::SystemMemory memory = memoryWith(files);
        EXPECT_EQ(row.expected[0] * kMiB, memory.totalPhysical);
        EXPECT_EQ(row.expected[1] * kMiB, memory.availPhysical);
        EXPECT_EQ(row.expected[2] * kMiB, memory.totalVirtual);
        EXPECT_EQ(row.expected[3] * kMiB, memory.availVirtual);
    }
    const zoOS::SystemMemory none = memoryWith({});
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
