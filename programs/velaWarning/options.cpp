#include "programs/velaWarning/options.h"

#include <getopt.h>

namespace kelvo::velaWarning {
namespace {

const option kOptions[] = {
    {"title", required_argument, nullptr, 't'},
    {"line", required_argument, nullptr, 's'},
    {"detail", required_argument, nullptr, 'f'},
    {"button", required_argument, nullptr, 'b'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

std::string whyUnusable(const Message& message) {
    if (message.buttons.empty()) return "no button given (-b)";
    if (message.buttons.size() > static_cast<std::size_t>(kMostButtons))
        return "more than " + std::to_string(kMostButtons) + " buttons given";
    if (message.lines.empty() && message.detail.empty()) return "nothing to show (-s or -f)";
    return {};
}

}  // namespace

const char* const kHelp =
    R"(usage: velaWarning [-t TITLE] [-s LINE]... [-f DETAIL] -b LABEL [-b LABEL]...

Shows a message with buttons and waits until one is pressed: in a window, or on the terminal when
there is no display, or on stderr without waiting when there is neither.

  -t, --title TITLE    title of the window
  -s, --line LINE      a line of the message; repeat it for more lines
  -f, --detail TEXT    long text, hidden until "Details" is chosen
  -b, --button LABEL   a button; repeat it for more (up to 125). The first is the default
      --help           show this and end
      --version        show the version and end

Exit code: number of the pressed button, counted from 1. Everything else (closed, Escape, nowhere to
show it) ends with 0, a wrong option with 255.
)";

Request parseOptions(int argc, char** argv, Message& message, std::string& mistake) {
    opterr = 0;
    for (int c; (c = getopt_long(argc, argv, "+:t:s:f:b:", kOptions, nullptr)) != -1;) {
        switch (c) {
            case 't':
                message.title = optarg;
                break;
            case 's':
                message.lines.emplace_back(optarg);
                break;
            case 'f':
                message.detail = optarg;
                break;
            case 'b':
                message.buttons.emplace_back(optarg);
                break;
            case 'h':
                return Request::kHelp;
            case 'V':
                return Request::kVersion;
            default:
                mistake = c == ':' ? "no value behind " : "unknown option ";
                mistake += argv[optind - 1];
                return Request::kMistake;
        }
    }
    mistake =
        optind < argc ? "unexpected argument " + std::string(argv[optind]) : whyUnusable(message);
    return mistake.empty() ? Request::kShow : Request::kMistake;
}

}  // namespace kelvo::velaWarning
