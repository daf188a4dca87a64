#include "KelvoBase/aa_debug.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

#include "Base/ma.h"
#include "Base/zo_os_path.h"
#include "KelvoBase/ds_lists.h"
#include "util/shown_text.h"

namespace {

enum Mode : int { kStandardOutput = 0, kStandardError = 1, kNamedFile = 2, kCallersStream = 3 };
constexpr int kFileListKind = 2;

enum FileState : int { kOpen = 0, kNeverOpened = 1, kClosed = 2, kCallers = 3 };

struct AaDebugFile {
    char* name;  // owned; null for a stream of the caller
    int state;
    FILE* stream;  // owned unless the state is kCallers; null while closed, or not to be opened
};

// Streams of callers that were ever selected.
struct CallersFile {
    AaDebugFile file;
    CallersFile* earlier;
};

// Where debug text goes. Lives for the process, entries included.
struct DebugOutput {
    int mode = kStandardError;
    AaDebugFile* current = nullptr;  // borrowed from one of the lists; null in modes 0 and 1
    DS* files = nullptr;             // named files; made for the first one
    CallersFile* callers = nullptr;
    int indent = 0;
};
DebugOutput g_out;

// --- Entries

AaDebugFile* knownFile(const char* name) {
    int ignored = 0;
    const DsMethods& methods = *g_out.files->methods;
    for (void* at = methods.head(g_out.files, &ignored); at;
         at = methods.next(g_out.files, at, &ignored)) {
        auto* file = static_cast<AaDebugFile*>(methods.get_data(g_out.files, at, &ignored));
        if (file && file->name && std::strcmp(file->name, name) == 0) return file;
    }
    return nullptr;
}

// The list must work whatever the application has registered, or a file would be truncated when it
// is selected again.
bool makeFileList() {
    int ignored = 0;
    g_out.files = DS_create_type(kFileListKind, &ignored);
    if (!g_out.files) return false;
    if (!g_out.files->methods) g_out.files->methods = Ds_slist_get_methods();
    return true;
}

void freeFile(AaDebugFile* file) {
    if (file) MA_free(file->name, __LINE__, __FILE__);
    MA_free(file, __LINE__, __FILE__);
}

AaDebugFile* addFile(const char* name) {
    const std::size_t size = std::strlen(name) + 1;
    auto* file = static_cast<AaDebugFile*>(MA_malloc(sizeof(AaDebugFile), __LINE__, __FILE__, 0));
    if (!file) return nullptr;
    *file = {static_cast<char*>(MA_malloc(size, __LINE__, __FILE__, 0)), kNeverOpened, nullptr};
    int ignored = 0;
    if (file->name) {
        std::memcpy(file->name, name, size);
        if (g_out.files->methods->add(g_out.files, file, &ignored)) return file;
    }
    freeFile(file);
    return nullptr;
}

AaDebugFile* addCallersStream(FILE* stream) {
    auto* entry = static_cast<CallersFile*>(MA_malloc(sizeof(CallersFile), __LINE__, __FILE__, 0));
    if (!entry) return nullptr;
    *entry = {{nullptr, kCallers, stream}, g_out.callers};
    g_out.callers = entry;
    return &entry->file;
}

// --- Destination

bool complain(const char* message) {
    AA_indent();
    AA_debug_print("%s", message);
    return false;
}

bool selectFile(const char* name) {
    if (!name) return complain("Cannot open debug output file\n");
    if (!g_out.files && !makeFileList()) return complain("Cannot create debug file list\n");
    AaDebugFile* file = knownFile(name);
    if (!file) file = addFile(name);
    if (!file) return complain("Cannot create debug file entry\n");
    g_out.current = file;
    g_out.mode = kNamedFile;
    return true;
}

bool selectStream(FILE* stream) {
    if (!stream) return true;
    AaDebugFile* file = addCallersStream(stream);
    if (!file) return complain("Cannot create debug file entry\n");
    g_out.current = file;
    g_out.mode = kCallersStream;
    return true;
}

void closeFile(AaDebugFile* file) {
    if (!file || file->state != kOpen) return;
    if (file->stream) std::fclose(file->stream);
    file->stream = nullptr;
    file->state = kClosed;
}

// Counts as open even when it cannot be: the text is lost, the program goes on.
void openFile(AaDebugFile* file) {
    if (file->state != kNeverOpened && file->state != kClosed) return;
    file->stream =
        std::fopen(zoOS::nativePath(file->name).c_str(), file->state == kNeverOpened ? "w" : "a");
    file->state = kOpen;
}

// Where the next text goes; null: nowhere.
FILE* destination() {
    AaDebugFile* file = g_out.current;
    switch (g_out.mode) {
        case kStandardOutput:
            return stdout;
        case kNamedFile:
            if (!file || !file->name) return stdout;
            openFile(file);
            return file->stream;
        case kCallersStream:
            return file ? file->stream : stdout;
        default:
            return stderr;
    }
}

}  // namespace

extern "C" {

int AA_debug_print(const char* format, ...) {
    if (!format) return 0;
    FILE* stream = destination();
    int written = 0;
    if (stream) {
        va_list values;
        va_start(values, format);
        written = std::vfprintf(stream, format, values);
        va_end(values);
    }
    std::fflush(stream ? stream : stdout);
    return written;
}

int AA_indent(void) {
    for (int level = 0; level < g_out.indent; ++level) AA_debug_print("   ");
    return 1;
}

int AA_set_indent(int level) {
    if (level == -1)
        g_out.indent += g_out.indent < std::numeric_limits<int>::max();
    else if (level == -2)
        g_out.indent -= g_out.indent > std::numeric_limits<int>::min();
    else
        g_out.indent = level;
    return level;
}

int Aa_print_assert(const char* file, int line, const char* message) {
    using kelvo::util::shown;
    AA_indent();
    return AA_debug_print("ASSERT (file %s, line %d): %s", shown(file), line, shown(message));
}

void AA_set_print_out(int mode, void* argument) {
    AaDebugFile* const before = g_out.current;
    if (mode == kNamedFile) {
        if (!selectFile(static_cast<const char*>(argument))) return;
    } else if (mode == kCallersStream) {
        if (!selectStream(static_cast<FILE*>(argument))) return;
    } else {
        g_out.mode = mode;
        g_out.current = nullptr;
    }
    // Also when the same file was selected again: its next print appends.
    closeFile(before);
}

int AA_get_print_out(const char** name) {
    if (g_out.mode == kNamedFile && name) *name = g_out.current ? g_out.current->name : nullptr;
    return g_out.mode;
}

}  // extern "C"

TdebugTrace::TdebugTrace(short /*level*/, const char* /*name*/, const char* /*description*/) {}
TdebugTrace::~TdebugTrace() = default;
TdebugTrace::TdebugTrace(const TdebugTrace&) = default;
TdebugTrace& TdebugTrace::operator=(const TdebugTrace&) = default;
int TdebugTrace::on() const {
    return 0;
}
void TdebugTrace::signal_handler() {}

TdbgCbRegister::TdbgCbRegister(const char* /*name*/, void (* /*callback*/)(char*)) {}
TdbgCbRegister::TdbgCbRegister(const TdbgCbRegister&) = default;
TdbgCbRegister& TdbgCbRegister::operator=(const TdbgCbRegister&) = default;
