#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Base/rpt.h"
#include "libBase/port.h"
#include "libBase/rpt/status_text.h"

namespace {

constexpr int kIndentColumns = 2;
constexpr int kDeepestShown = 32;  // nesting levels beyond are not indented further

// What stderr shows. Lives for the process; one thread.
struct Console {
    bool statusShown = false;  // the cursor stands behind a status
    bool lineOpen = false;     // the last text did not end its line
    int nesting = 0;           // of debug texts
    bool endsAtExit = false;   // endStatusLine is registered
};
Console g_console;

// Leaves the last status readable when the process ends.
void endStatusLine() {
    if (g_console.statusShown) std::fputc('\n', stderr);
    g_console.statusShown = false;
}

void clearStatus() {
    if (g_console.statusShown) std::fputs("\r\033[K", stderr);
    g_console.statusShown = false;
}

void write(const char* text) {
    if (*text == '\0') return;
    clearStatus();
    std::fputs(text, stderr);
    g_console.lineOpen = text[std::strlen(text) - 1] != '\n';
}

void beginLine() {
    if (g_console.lineOpen) write("\n");
}

void writeOwnLine(const char* text) {
    clearStatus();
    beginLine();
    write(text);
    beginLine();
}

void writeIndented(const char* text) {
    const int indent = kIndentColumns * std::clamp(g_console.nesting, 0, kDeepestShown);
    clearStatus();
    while (*text != '\0') {
        const char* feed = std::strchr(text, '\n');
        const std::size_t length =
            feed != nullptr ? static_cast<std::size_t>(feed + 1 - text) : std::strlen(text);
        if (!g_console.lineOpen && *text != '\n') std::fprintf(stderr, "%*s", indent, "");
        std::fwrite(text, 1, length, stderr);
        g_console.lineOpen = feed == nullptr;
        text += length;
    }
}

void writeDebug(const char* text) {
    if (std::strcmp(text, ">>>") == 0)
        ++g_console.nesting;
    else if (std::strcmp(text, "<<<") == 0)
        g_console.nesting = std::max(0, g_console.nesting - 1);
    else
        writeIndented(text);
}

void showStatus(const char* text) {
    const int columns = kelvo::port::statusLineColumns();
    if (columns == 0) return writeOwnLine(text);
    beginLine();
    if (!g_console.endsAtExit) g_console.endsAtExit = std::atexit(endStatusLine) == 0;
    // The last column stays free: some terminals move to the next line when it is written.
    char line[4096];
    kelvo::rpt::fitStatus(text, columns - 1, line, sizeof line);
    std::fprintf(stderr, "\r%s\033[K", line);
    g_console.statusShown = true;
}

}  // namespace

extern "C" void rptDefaultSink(rptKind kind, int /*level*/, const char* text, void* /*context*/) {
    switch (kind) {
        case rptKind::kStatus:
            return showStatus(text);
        case rptKind::kUser:
            return writeOwnLine(text);
        case rptKind::kDebug:
            return writeDebug(text);
        case rptKind::kError:
        case rptKind::kUndo:
            return write(text);
    }
}
