#include "programs/velaWarning/terminal_dialog.h"

#include <string>
#include <vector>

#include "programs/velaWarning/plain_text.h"

namespace kelvo::velaWarning {
namespace {

constexpr std::size_t kMostDigits = 3;

bool isEnd(int key) {
    return key == kKeyEnd || key == kKeyGiveUp;
}

class Dialog {
  public:
    Dialog(const Terminal& terminal, const Message& message)
        : terminal_(terminal), message_(message), columns_(terminal.columns() - 1) {}

    int ask() {
        if (!showText()) return kNoButton;
        listButtons();
        for (;;) {
            prompt();
            const std::string answer = readAnswer();
            if (ended_) return kNoButton;
            if (answer == "d") {
                showDetail();
                if (ended_) return kNoButton;
                listButtons();
                continue;
            }
            const int number = answer.empty() ? 1 : std::stoi(answer);
            if (number >= 1 && number <= count()) return number;
            say("There is no button " + answer + ".\n");
        }
    }

  private:
    int count() const { return static_cast<int>(message_.buttons.size()); }

    void say(const std::string& text) { ended_ = !terminal_.write(text) || ended_; }

    // Shows a text, stopping where a page is full; false when the user gives up there.
    bool showPaged(const std::vector<std::string>& lines) {
        const int page = terminal_.rows() > 4 ? terminal_.rows() - 1 : 4;
        int free = page;
        for (std::size_t i = 0; i < lines.size() && !ended_; ++i, --free) {
            if (free == 0) {
                const int key = askForMore(lines.size() - i);
                if (key == 'q') return true;
                ended_ = ended_ || isEnd(key);
                free = page;
            }
            if (!ended_) say(lines[i] + "\n");
        }
        return !ended_;
    }

    int askForMore(std::size_t left) {
        const std::string text = "-- " + std::to_string(left) + " more, q: to the buttons --";
        say(text.substr(0, static_cast<std::size_t>(columns_)));
        const int key = terminal_.key();
        say("\r" + std::string(text.size(), ' ') + "\r");
        return key;
    }

    void append(std::vector<std::string>& lines, const std::string& text) const {
        for (std::string& line : wrapText(text, columns_)) lines.push_back(std::move(line));
    }

    bool showText() {
        std::vector<std::string> lines = {""};
        if (!message_.title.empty()) append(lines, "== " + message_.title);
        for (const std::string& line : message_.lines) append(lines, line);
        return showPaged(lines);
    }

    void showDetail() {
        say("\n");
        showPaged(wrapText(message_.detail, columns_));
    }

    void listButtons() {
        say("\n");
        for (int i = 0; i < count(); ++i) {
            std::string number = "  " + std::to_string(i + 1) + "  ";
            const auto indent = static_cast<int>(number.size());
            for (const std::string& line :
                 wrapText(message_.buttons[static_cast<std::size_t>(i)], columns_ - indent)) {
                say(number + line + "\n");
                number.assign(number.size(), ' ');
            }
        }
    }

    void prompt() {
        std::string text = "Button";
        if (count() > 1) text += " 1-" + std::to_string(count());
        text += " (Enter: 1";
        if (!message_.detail.empty()) text += ", d: details";
        say(text + ", Esc: none): ");
    }

    // The digits typed before Enter, or "d" at once for the details.
    std::string readAnswer() {
        std::string digits;
        while (!ended_) {
            const int key = terminal_.key();
            if (isEnd(key)) ended_ = true;
            if (isEnd(key) || key == kKeyEnter) break;
            if (key == 'd' && digits.empty() && !message_.detail.empty()) {
                digits = "d";
                break;
            }
            if (key == kKeyErase && !digits.empty()) {
                digits.pop_back();
                say("\b \b");
            } else if (key >= '0' && key <= '9' && digits.size() < kMostDigits) {
                digits += static_cast<char>(key);
                say(digits.substr(digits.size() - 1));
            }
        }
        say("\n");
        return digits;
    }

    const Terminal& terminal_;
    const Message& message_;
    int columns_;         // the last column stays free: some terminals wrap when it is written
    bool ended_ = false;  // given up, or the terminal is gone
};

}  // namespace

int askOnTerminal(const Terminal& terminal, const Message& message) {
    return Dialog(terminal, message).ask();
}

}  // namespace kelvo::velaWarning
