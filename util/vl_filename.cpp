#include "KelvoBase/vl_filename.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>

#include "Base/ma.h"
#include "KelvoBase/db_filename.h"
#include "util/expanded_name.h"

namespace {

constexpr std::size_t kNone = std::string_view::npos;
constexpr std::int32_t kUsualWidth = 3;
// No file system takes longer names, and relative ones beyond it expand to their directory.
constexpr std::int32_t kMostWidth = 260;
constexpr std::int32_t kNoFrame = -1;
constexpr std::int32_t kLastFrame = std::numeric_limits<std::int32_t>::max();
constexpr int kFrameListKind = 2;
constexpr std::string_view kCompressed = ".Z";
constexpr std::string_view kDigits = "0123456789";

// The application's part of a lookup. Lives for the process; main thread.
struct PixelNames {
    char* (*hook)(const char* name, int flag) = nullptr;
};
PixelNames g_pixelNames;

constexpr struct {
    int type;
    const char* name;
} kTypeNames[] = {
    {ANIM_DATA, "ANIM_DATA"},       {PIX_DATA, "PIX_DATA"},
    {SDL_DATA, "SDL_DATA"},         {WIRE_DATA, "WIRE_DATA"},
    {MASK_DATA, "MASK_DATA"},       {PIXAR_DATA, "PIXAR_DATA"},
    {DIR_DATA, "DIR_DATA"},         {PROJ_DATA, "PROJ_DATA"},
    {ANY_DATA, "ANY_DATA"},         {MISC_DATA, "MISC_DATA"},
    {DEFAULT_DATA, "DEFAULT_DATA"}, {ANYDIR_DATA, "ANYDIR_DATA"},
    {OPTION_DATA, "OPTION_DATA"},   {FBI_DATA, "FBI_DATA"},
    {BROWSE_DATA, "BROWSE_DATA"},   {PLOT_DATA, "PLOT_DATA"},
    {SLA_DATA, "SLA_DATA"},         {SHADER_DATA, "SHADER_DATA"},
    {TEXTURE_DATA, "TEXTURE_DATA"}, {TEXT_DATA, "TEXT_DATA"},
    {STAGE_DATA, "STAGE_DATA"},     {SOURCEPIX_DATA, "SOURCEPIX_DATA"},
    {DEBUG_DATA, "DEBUG_DATA"},     {WINDOW_DATA, "WINDOW_DATA"},
    {RIB_DATA, "RIB_DATA"},         {LIGHT_DATA, "LIGHT_DATA"},
    {SOUND_DATA, "SOUND_DATA"},     {ENVIRONMENT_DATA, "ENVIRONMENT_DATA"},
};

const char* nameOfType(int type) {
    for (const auto& row : kTypeNames)
        if (row.type == type) return row.name;
    return "UNKNOWN";
}

const char* orNull(const char* text) {
    return text != nullptr ? text : "NULL";
}

bool digitAt(std::string_view name, std::size_t at) {
    return at < name.size() && name[at] >= '0' && name[at] <= '9';
}

// The dot before the number in "name.0001.Z", from the dot before the Z. Only the one letter is
// asked for, and the dot may stand in a directory's name: callers rely on both.
std::size_t dotBeforeCompressed(std::string_view name, std::size_t last) {
    const std::size_t dot = last > 0 ? name.rfind('.', last - 1) : kNone;
    return dot != kNone && dot > 0 && digitAt(name, dot + 1) ? dot : kNone;
}

// The dot before the frame number, or kNone. Widens the number for those with leading zeros.
std::size_t frameDot(std::string_view name, std::int32_t& width) {
    const std::size_t dot = name.rfind('.');
    if (dot == kNone || name.find_first_of("/\\", dot) != kNone) return kNone;
    if (!digitAt(name, dot + 1)) {
        const bool compressed = dot + 1 < name.size() && name[dot + 1] == 'Z';
        return compressed ? dotBeforeCompressed(name, dot) : kNone;
    }
    if (dot == 0) return kNone;
    const std::string_view tail = name.substr(dot + 1);
    const std::size_t zeros = std::min(tail.find_first_not_of('0'), tail.size());
    const std::size_t digits = std::min(tail.find_first_not_of(kDigits), tail.size());
    // As many zeros as are looked for anyway: the number is wider still, and must be found.
    if (zeros >= static_cast<std::size_t>(width))
        width = static_cast<std::int32_t>(
            std::min<std::size_t>(std::max(zeros, digits - 1), kMostWidth));
    return dot;
}

std::int32_t frameNumber(const char* digits) {
    return static_cast<std::int32_t>(std::min<long>(std::strtol(digits, nullptr, 10), kLastFrame));
}

void release(char*& text) {
    MA_free(text, __LINE__, __FILE__);
    text = nullptr;
}

// The path that the hook knows, when there is such a file; else empty.
std::string pixelFile(const std::string& path) {
    char* proposed = Ar_expand_pixname(path.c_str(), 1);
    if (proposed == nullptr) return {};
    std::string found = proposed;
    release(proposed);
    return kelvo::util::fileExists(found) ? found : std::string();
}

// Looks one name up; `path` is the file, or the last one tried.
bool findFile(char* candidate, int type, std::string& path) {
    path = kelvo::util::expandedName(candidate, type);
    if (kelvo::util::fileExists(path)) return true;
    path += kCompressed;
    if (kelvo::util::fileExists(path)) return true;
    if (type != PIX_DATA && type != MASK_DATA) return false;
    path.resize(path.size() - kCompressed.size());
    std::string found = pixelFile(path);
    if (found.empty()) return false;
    path.swap(found);
    return true;
}

std::string frameName(const char* base, int width, int frame) {
    char number[kMostWidth + 16];
    std::snprintf(number, sizeof number, ".%0*d", width, frame);
    return std::string(base) += number;
}

// The same for a frame, with every width of the number.
bool findFrame(char* base, int frame, int mostWidth, int type, std::string& path) {
    for (int width = 1; width <= mostWidth; ++width) {
        std::string candidate = frameName(base, width, frame);
        if (findFile(candidate.data(), type, path)) return true;
    }
    path = kelvo::util::expandedName(base, type);
    return false;
}

// Goes through the frames that are listed. The list is always empty: callers rely on the open range
// of frames, and on the list being one of their kind.
void scanFrameList() {
    int status = 0;
    DS* frames = DS_create_type(kFrameListKind, &status);
    if (frames == nullptr) return;
    if (frames->methods == nullptr) {
        void* bare = frames;
        DS_memory_free(&bare);
        return;
    }
    for (void* at = frames->methods->head(frames, &status); at != nullptr;)
        at = frames->methods->next(frames, at, &status);
    DS_destructor(&frames, nullptr, nullptr, &status);
}

bool find(char* name, bool sequence, int frame, int width, int type, std::string& path) {
    return sequence ? findFrame(name, frame, width + 1, type, path) : findFile(name, type, path);
}

}  // namespace

VL_Filename::VL_Filename(const char* name, int type)
    : filename_(nullptr),
      basename_(nullptr),
      sequence_(0),
      frame_(kNoFrame),
      type_(type),
      width_(kUsualWidth) {
    setFilename(name);
}

VL_Filename::~VL_Filename() {
    release(filename_);
    release(basename_);
}

long VL_Filename::setFilename(const char* name) {
    if (filename_ != nullptr && name != nullptr && std::strcmp(filename_, name) == 0) return 1;
    char* const copy = name != nullptr ? strdup(name) : nullptr;  // the name may be one of ours
    release(filename_);
    release(basename_);
    if (copy == nullptr) return 1;
    filename_ = copy;
    sequence_ = 0;
    const std::size_t dot = frameDot(filename_, width_);
    if (dot == kNone) return 1;
    basename_ = static_cast<char*>(MA_malloc(dot + 1, __LINE__, __FILE__, 0));
    if (basename_ == nullptr) return 1;
    std::memcpy(basename_, filename_, dot);
    basename_[dot] = '\0';
    frame_ = frameNumber(filename_ + dot + 1);
    sequence_ = 1;
    release(filename_);
    return 1;
}

int VL_Filename::setFrame(int frame) {
    const int before = frame_;
    if (frame != before) {
        frame_ = frame;
        sequence_ = 1;
    }
    return before;
}

long VL_Filename::Filename(char* out) const try {
    char* const name = sequence_ != 0 ? basename_ : filename_;
    if (name == nullptr || out == nullptr) return 0;
    std::string path;
    const bool found = find(name, sequence_ != 0, frame_, width_, type_, path);
    std::strcpy(out, path.c_str());
    return found ? 1 : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

long VL_Filename::CheckStatus() const try {
    char* const name = sequence_ != 0 ? basename_ : filename_;
    std::string path;
    return name != nullptr && find(name, sequence_ != 0, frame_, width_, type_, path) ? 1 : 0;
} catch (const std::bad_alloc&) {
    return 0;
}

long VL_Filename::getFrameRange(DS_Structure** /*frames*/) const {
    return 1;
}

long VL_Filename::getFrameRange(int* first, int* last, int* /*step*/) const {
    scanFrameList();
    if (first != nullptr) *first = kNoFrame;
    if (last != nullptr) *last = kLastFrame;
    return 1;
}

void VL_Filename::debug() const try {
    std::printf("TYPE: VL_Filename\n");
    std::printf("  Filename:  %s\n", orNull(filename_));
    std::printf("  Basename:  %s\n", orNull(basename_));
    char* const name = sequence_ != 0 ? basename_ : filename_;
    std::string path;
    const bool found = name != nullptr && find(name, sequence_ != 0, frame_, width_, type_, path);
    // Of interest is the path when there is no such file.
    std::printf("  Expanded:  %s\n", found ? "(none)" : path.c_str());
    std::printf("  Sequence:  %s\n", sequence_ != 0 ? "YES" : "NO");
    std::printf("  Type:      %s\n", nameOfType(type_));
    std::printf("  Frame:     %d\n", frame_);
} catch (const std::bad_alloc&) {
    std::printf("\n");
}

extern "C" {

char* Ar_expand_pixname(const char* name, int flag) {
    return g_pixelNames.hook != nullptr ? g_pixelNames.hook(name, flag) : nullptr;
}

void rtbInit_Ar_expand_pixname(char* (*hook)(const char* name, int flag)) {
    g_pixelNames.hook = hook;
}

}  // extern "C"
