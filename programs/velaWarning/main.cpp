// velaWarning: asks the user a question and ends with the number of the pressed button. No other
// end may look like a button; see message.h for the codes.
#include <cstdio>
#include <exception>
#include <limits>
#include <optional>
#include <string>

#include "programs/velaWarning/message.h"
#include "programs/velaWarning/options.h"
#include "programs/velaWarning/plain_text.h"
#include "programs/velaWarning/terminal.h"
#include "programs/velaWarning/terminal_dialog.h"
#include "programs/velaWarning/window_program.h"

namespace {

using namespace kelvo::velaWarning;

constexpr int kMistakeCode = 255;

void printToErrors(const std::string& text) {
    for (const std::string& line : wrapText(text, std::numeric_limits<int>::max()))
        std::fprintf(stderr, "%s\n", line.c_str());
}

// For programs without a user in front of them.
void printMessage(const Message& message) {
    if (!message.title.empty()) printToErrors(message.title + ":");
    for (const std::string& line : message.lines) printToErrors(line);
    if (!message.detail.empty()) printToErrors(message.detail);
    std::string buttons;
    for (const std::string& label : message.buttons)
        buttons += (buttons.empty() ? "" : ", ") + label;
    printToErrors("velaWarning: nobody to ask (no display, no terminal): " + buttons);
}

int ask(int argc, char** argv, const Message& message) {
    if (const std::optional<int> button = askInWindow(argc, argv)) return *button;
    const Terminal terminal;
    if (terminal.usable()) return askOnTerminal(terminal, message);
    printMessage(message);
    return kNoButton;
}

int run(int argc, char** argv) {
    Message message;
    std::string mistake;
    switch (parseOptions(argc, argv, message, mistake)) {
        case Request::kShow:
            return ask(argc, argv, message);
        case Request::kHelp:
            std::fputs(kHelp, stdout);
            return kNoButton;
        case Request::kVersion:
            std::puts("velaWarning " VELA_VERSION);
            return kNoButton;
        case Request::kMistake:
            break;
    }
    printToErrors("velaWarning: " + mistake + " (see velaWarning --help)");
    // With so many arguments the code could be that of a button.
    return argc > kMistakeCode ? kNoButton : kMistakeCode;
}

}  // namespace

int main(int argc, char** argv) {
    useUnicode();
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "velaWarning: %s\n", error.what());
        return kNoButton;
    }
}
