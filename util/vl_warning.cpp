#include "KelvoBase/vl_warning.h"

#include <cstdarg>
#include <new>
#include <vector>

#include "Base/app.h"
#include "Base/zo_os_filename.h"
#include "Base/zo_os_process.h"

using zoKelvoBase::VelaWarningParams;
using zoString::CString;

namespace {

constexpr int kNoButton = -1;

void add(VelaWarningParams& params, int tag, const char* value) {
    switch (tag) {
        case VL_WARN_LINE:
            params.lines.emplace_back(value);
            break;
        case VL_WARN_BUTTON:
            params.buttons.emplace_back(value);
            break;
        case VL_WARN_DETAIL:
            params.detail = value;
            break;
        case VL_WARN_TITLE:
            params.title = value;
            break;
        default:
            break;
    }
}

int warn(int count, const char** buttons, int tag, va_list values) try {
    VelaWarningParams params;
    for (int i = 0; buttons != nullptr && i < count; ++i) params.buttons.emplace_back(buttons[i]);
    for (; tag != VL_WARN_END; tag = va_arg(values, int))
        add(params, tag, va_arg(values, const char*));
    return VL_warning(params);
} catch (const std::bad_alloc&) {
    return kNoButton;
}

std::vector<CString> commandFor(const VelaWarningParams& params) {
    std::vector<CString> command = {APP_getBinaryPath("velaWarning")};
    const auto option = [&command](const char* name, const CString& value) {
        command.emplace_back(name);
        command.push_back(value);
    };
    if (!params.title.isEmpty()) option("-t", params.title);
    for (const CString& line : params.lines) option("-s", line);
    if (!params.detail.isEmpty()) option("-f", params.detail);
    for (const CString& button : params.buttons) option("-b", button);
    return command;
}

}  // namespace

extern "C" int VL_warning(int tag, ...) {
    va_list values;
    va_start(values, tag);
    const int pressed = warn(0, nullptr, tag, values);
    va_end(values);
    return pressed;
}

extern "C" int VL_warning_buttons(int count, const char** buttons, int tag, ...) {
    va_list values;
    va_start(values, tag);
    const int pressed = warn(count, buttons, tag, values);
    va_end(values);
    return pressed;
}

extern "C" int VL_warning_ok(const char* message) {
    return VL_warning(VL_WARN_LINE, message, VL_WARN_BUTTON, "OK", VL_WARN_END);
}

int VL_warning(const VelaWarningParams& params) try {
    const bool empty = params.lines.empty() && params.detail.isEmpty();
    if (empty || params.buttons.empty()) return kNoButton;
    int code = 0;
    if (zoOS::ProcessManager::getInstance().startSync(commandFor(params), zoOS::Filename(), code))
        return kNoButton;
    // The exit code counts buttons from 1, as 0 stands for a dialog that was closed.
    const bool pressed = code >= 1 && static_cast<unsigned>(code) <= params.buttons.size();
    return pressed ? code - 1 : kNoButton;
} catch (const std::bad_alloc&) {
    return kNoButton;
}
