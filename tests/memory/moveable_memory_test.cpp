// What could break: the two messages, what is left after a failure, a store that a later one
// destroys.
#include "KelvoBase/moveable_memory.h"

#include <sys/stat.h>

#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"
#include "tests/support/test.h"

namespace {

using kelvo::test::TemporaryDirectory;
using zoKelvoBase::MoveableMemory;
using zoString::IString;

IString wide(const std::string& text) {
    return IString(text.c_str());
}

TEST(MoveableMemoryHolder, IsOneForTheProcess) {
    EXPECT_TRUE(kelvo::test::passesInChild([] {
        MoveableMemory& holder = zoKelvoBase::moveableMemory();
        EXPECT_EQ(&holder, &zoKelvoBase::moveableMemory());
        EXPECT_EQ(nullptr, holder.get());
        EXPECT_TRUE(holder.getDirectory().isEmpty());
    }));
}

TEST(MoveableMemoryHolder, MakesTheDirectoryAndTheStore) {
    const TemporaryDirectory directory;
    const std::string place = directory / "a/b/\xC3\xA9";
    {
        MoveableMemory holder;
        const zoUtil::Error error = holder.initialize(wide(place), L"store");
        ASSERT_FALSE(error) << error.message();
        EXPECT_EQ(wide(place), holder.getDirectory());
        EXPECT_EQ("store", directory.list("a/b/\xC3\xA9"));
        zoOS::MoveableMemory::Handle handle;
        ASSERT_NE(nullptr, holder.get());
        EXPECT_FALSE(holder.get()->allocate(10, handle));
    }
    EXPECT_EQ("", directory.list("a/b/\xC3\xA9"));
}

TEST(MoveableMemoryHolder, SaysWhatIsWrong) {
    const TemporaryDirectory directory;
    kelvo::test::writeFile(directory / "file", "x");
    ASSERT_EQ(0, mkdir((directory / "read\xC3\xA9").c_str(), 0555));
    const std::string tooLong = directory / std::string(300, 'x');
    const struct {
        std::string place;
        const wchar_t* second;
        int code;
        std::string message;  // empty: the system's
    } rows[] = {
        {directory / "read\xC3\xA9", L"s", 1,
         "directory not writeable: " + (directory / "read\xC3\xA9") + "\n"},
        {directory / "new", L"no/such/s", 1, "Failed to initialize moveable memory."},
        {directory.path(), L"file", 1, "Failed to initialize moveable memory."},
        {directory / "file", L"s", 1, "Failed to initialize moveable memory."},
        {directory / "file/x", L"s", ENOTDIR, ""},
        {tooLong, L"s", ENAMETOOLONG, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.place);
        MoveableMemory holder;
        const zoUtil::Error error = holder.initialize(wide(row.place), row.second);
        EXPECT_EQ(row.code, error.code());
        EXPECT_FALSE(error.message().isEmpty());
        if (!row.message.empty()) {
            EXPECT_EQ(row.message, error.message().str());
        }
        EXPECT_EQ(nullptr, holder.get());
        EXPECT_EQ(wide(row.place), holder.getDirectory());
    }
}

// Callers rely on a store that has been replaced to go on working.
TEST(MoveableMemoryHolder, KeepsStoresThatAreReplaced) {
    const TemporaryDirectory directory;
    MoveableMemory holder;
    ASSERT_FALSE(holder.initialize(wide(directory.path()), L"s"));
    zoOS::MoveableMemory* const first = holder.get();
    zoOS::MoveableMemory::Handle handle;
    ASSERT_FALSE(first->allocate(5000, handle));
    std::memset(first->lock(handle), 'a', 5000);
    ASSERT_FALSE(holder.initialize(wide(directory.path()), L"s"));
    zoOS::MoveableMemory* const second = holder.get();
    EXPECT_NE(first, second);
    // A failure before there is a store to make leaves the last one.
    EXPECT_TRUE(holder.initialize(wide(directory / std::string(300, 'x')), L"s"));
    EXPECT_EQ(second, holder.get());
    // One while it is made does not.
    EXPECT_TRUE(holder.initialize(wide(directory.path()), L"no/s"));
    EXPECT_EQ(nullptr, holder.get());
    EXPECT_EQ('a', static_cast<char*>(first->lock(handle))[4999]);
    EXPECT_FALSE(second->allocate(1, handle));
}

}  // namespace
