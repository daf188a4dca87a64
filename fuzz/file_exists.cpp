// What a path is: FB_FileExists.
#include <string>

#include "Base/zo_os_path.h"
#include "KelvoBase/file_operations.h"
#include "fuzz/fake_files.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string path = kelvo::fuzz::Input(data, size).text();
    const auto block = kelvo::fuzz::writable(path);
    const kelvo::fuzz::FakeFiles files;
    const int kind = FB_FileExists(block.get());
    const std::size_t end = path.size();
    if (end > 1 && path[end - 1] == '\\' && path[end - 2] != ':')
        path.erase(end - 1);
    else if (end == 2 && path[1] == ':')
        path += '\\';
    const std::string asked = zoOS::nativePath(path.c_str()).str();
    const int found = !asked.empty() && asked.back() == '/' ? 0x4000 : 0x8000;
    kelvo::fuzz::require(kind == (kelvo::fuzz::fakeFileExists(asked) ? found : 0),
                         "the type of what is there, 0 for nothing");
    return 0;
}
