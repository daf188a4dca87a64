// Names of files and of frames in sequences, and looking them up: VL_Filename.
#include "KelvoBase/vl_filename.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Base/zo_os_path.h"
#include "KelvoBase/db_filename.h"
#include "fuzz/fake_files.h"
#include "fuzz/fuzz.h"

namespace {

using kelvo::fuzz::require;

constexpr std::size_t kMostDigits = 256;
constexpr int kLookups = 3;         // in one run
constexpr std::size_t kRoom = 263;  // bytes that callers owe beside what a name becomes

std::string g_picture;  // what the hook proposes; empty: nothing

char* proposePicture(const char*, int) {
    return g_picture.empty() ? nullptr : strdup(g_picture.c_str());
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Where the frame's dot stands, or 0 for a name without a frame.
std::size_t frameDot(const std::string& name) {
    std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return 0;
    if (name.find('/', dot) != std::string::npos || name.find('\\', dot) != std::string::npos)
        return 0;
    if (isDigit(name[dot + 1])) return dot;
    if (name[dot + 1] != 'Z') return 0;
    do --dot;
    while (dot > 0 && name[dot] != '.');
    return dot > 0 && isDigit(name[dot + 1]) ? dot : 0;
}

int numberAt(const std::string& name, std::size_t at) {
    long long number = 0;
    for (; isDigit(name[at]) && number <= INT_MAX; ++at) number = 10 * number + (name[at] - '0');
    return static_cast<int>(std::min<long long>(number, INT_MAX));
}

// The object after it was given a name that is not the one it has.
void requireNamed(const VL_Filename& object, const std::string& name, int frameBefore) {
    const std::size_t dot = frameDot(name);
    require(object.Sequence() == (dot != 0), "a dot and digits are a frame");
    require(object.Frame() == (dot != 0 ? numberAt(name, dot + 1) : frameBefore), "its number");
    if (dot != 0) {
        require(object.Filename() == nullptr, "a frame has no name of its own");
        require(object.BaseFilename() == name.substr(0, dot), "the base ends before the dot");
    } else {
        require(object.Filename() == name && object.BaseFilename() == name, "the name is kept");
    }
}

// Many zeros are looked up with as many widths: now and then only, for they take most of the time.
bool isWide(const std::string& name) {
    return name.find("000000000000") != std::string::npos;
}

void lookUp(const VL_Filename& object) {
    const bool quoted = object.BaseFilename()[0] == '"';
    const std::size_t length = std::strlen(object.BaseFilename());
    const std::size_t room = std::max(kRoom + length, length + kMostDigits + sizeof "..Z");
    const auto out = kelvo::fuzz::blockWith("untouched", std::max(room, g_picture.size() + 1));
    const long found = object.Filename(out.get());
    if (found != 0)
        require(kelvo::fuzz::fakeFileExists(zoOS::nativePath(out.get()).str()), "it exists");
    // The first lookup takes the quotes off the name, which may make another of it.
    if (!quoted) require(object.CheckStatus() == found, "both say the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelvo::fuzz::Input input(data, size);
    const kelvo::fuzz::FakeFiles files;
    const int type = static_cast<int>(input.byte() % 50);
    g_picture = input.text();
    rtbInit_Ar_expand_pixname(proposePicture);
    VL_Filename object("", type);
    bool wide = false;
    int lookups = 0;
    while (!input.isEmpty()) {
        const unsigned change = input.byte();
        const int before = object.Frame();
        if (change % 4 == 0) {
            const int frame = static_cast<int>(input.byte() * 0x01010101u);
            require(object.setFrame(frame) == before && object.Frame() == frame, "the frame");
        } else {
            const std::string name = input.text();
            const bool same = object.Filename() != nullptr && object.Filename() == name;
            wide = wide || isWide(name);
            object.setFilename(name.c_str());
            if (!same) requireNamed(object, name, before);
        }
        const bool wanted = change == 2 || (change % 2 == 0 && !wide);
        if (wanted && ++lookups <= kLookups) lookUp(object);
    }
    return 0;
}
