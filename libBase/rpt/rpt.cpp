#include "Base/rpt.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

#include "libBase/port.h"

namespace {

// A replaceable function and its word; null when the default is in force.
template <class Function>
struct Hook {
    Function function = nullptr;
    void* context = nullptr;

    Function replace(Function f, void* c, void** previousContext) {
        const Hook previous = *this;
        *this = {f, c};
        if (previousContext != nullptr) *previousContext = previous.context;
        return previous.function;
    }
};

// Where reports, abort polls and pauses go. Lives for the process; one thread.
struct Reporting {
    Hook<rptSink> sink;
    Hook<rptAbortPoll> abortPoll;
    Hook<rptPause> pause;
    bool inSink = false;           // an installed sink is running
    const char* format = nullptr;  // borrowed: of the report being delivered
};
Reporting g_reporting;

// Hands the text to the sink; what the sink reports itself goes past it.
void deliver(rptKind kind, int level, const char* text, const char* format) {
    struct Restore {
        Reporting& now = g_reporting;
        bool inSink = now.inSink;
        const char* format = now.format;
        ~Restore() {
            now.inSink = inSink;
            now.format = format;
        }
    } restore;
    g_reporting.format = format;
    const Hook<rptSink> sink = g_reporting.sink;
    if (sink.function == nullptr || g_reporting.inSink) {
        rptDefaultSink(kind, level, text, nullptr);
    } else {
        g_reporting.inSink = true;
        sink.function(kind, level, text, sink.context);
    }
}

BASE_PRINTF(3, 0) int report(rptKind kind, int level, const char* format, va_list values) {
    if (format == nullptr) return 0;
    struct KeepErrno {
        int value = errno;
        ~KeepErrno() { errno = value; }
    } keep;
    // Short texts need no memory, so that running out of it can still be reported.
    char shortText[1024];
    va_list again;
    va_copy(again, values);
    const int length = VL_vsnprintf(shortText, sizeof shortText, format, again);
    va_end(again);
    if (length < 0) {
        deliver(kind, level, format, format);
        return length;
    }
    const auto size = static_cast<std::size_t>(length) + 1;
    std::unique_ptr<char, void (*)(void*)> longText(nullptr, std::free);
    if (size > sizeof shortText) longText.reset(static_cast<char*>(std::malloc(size)));
    if (longText != nullptr) {
        errno = keep.value;  // for %m
        VL_vsnprintf(longText.get(), size, format, values);
    }
    deliver(kind, level, longText != nullptr ? longText.get() : shortText, format);
    return length;
}

}  // namespace

extern "C" {

int rptError(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = report(rptKind::kError, 0, format, values);
    va_end(values);
    return length;
}

int rptVError(const char* format, va_list values) {
    return report(rptKind::kError, 0, format, values);
}

int rptDebug(int level, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = report(rptKind::kDebug, level, format, values);
    va_end(values);
    return length;
}

int rptStatus(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = report(rptKind::kStatus, 0, format, values);
    va_end(values);
    return length;
}

int rptUser(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = report(rptKind::kUser, 0, format, values);
    va_end(values);
    return length;
}

void zoUndoReport(const char* format, ...) {
    va_list values;
    va_start(values, format);
    report(rptKind::kUndo, 0, format, values);
    va_end(values);
}

int rptCheckAbort(void) {
    const auto poll = g_reporting.abortPoll;
    if (poll.function != nullptr) return poll.function(poll.context);
    return kelvo::port::escapePressed() ? 1 : 0;
}

void rptSleep(unsigned milliseconds) {
    const auto pause = g_reporting.pause;
    if (pause.function != nullptr)
        pause.function(milliseconds, pause.context);
    else
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

int VL_vsnprintf(char* buffer, size_t size, const char* format, va_list values) {
    if (buffer == nullptr) size = 0;
    if (size != 0) *buffer = '\0';
    if (format == nullptr) return 0;
    const int length = std::vsnprintf(buffer, size, format, values);
    if (length < 0 && size != 0) *buffer = '\0';
    return length;
}

rptSink rptSetSink(rptSink sink, void* context, void** previous_context) {
    return g_reporting.sink.replace(sink, context, previous_context);
}

const char* rptCurrentFormat(void) {
    return g_reporting.format;
}

rptAbortPoll rptSetCheckAbort(rptAbortPoll poll, void* context, void** previous_context) {
    return g_reporting.abortPoll.replace(poll, context, previous_context);
}

rptPause rptSetSleep(rptPause pause, void* context, void** previous_context) {
    return g_reporting.pause.replace(pause, context, previous_context);
}

}  // extern "C"
