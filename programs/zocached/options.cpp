#include "programs/zocached/options.h"

#include <getopt.h>

#include <charconv>
#include <limits>
#include <sstream>

namespace kelvo::zocached {
namespace {

enum Word : int { kPort = 1000, kStatus, kCheck, kIdleExit, kLogLevel, kHelpWord, kVersionWord };

const option kWords[] = {
    {"port", required_argument, nullptr, kPort},
    {"status", required_argument, nullptr, kStatus},
    {"check", required_argument, nullptr, kCheck},
    {"idle-exit", required_argument, nullptr, kIdleExit},
    {"log-level", required_argument, nullptr, kLogLevel},
    {"help", no_argument, nullptr, kHelpWord},
    {"version", no_argument, nullptr, kVersionWord},
    {nullptr, 0, nullptr, 0},
};

// The whole text as a number from 0 on, or -1.
int numberOf(const std::string& text) {
    int value = -1;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && rest == end && value >= 0 ? value : -1;
}

// "90", "90s", "30m" or "2h" in seconds, or -1.
int secondsOf(std::string text) {
    const struct {
        char letter;
        int seconds;
    } units[] = {{'s', 1}, {'m', 60}, {'h', 3600}};
    int unit = 1;
    for (const auto& u : units) {
        if (text.empty() || text.back() != u.letter) continue;
        unit = u.seconds;
        text.pop_back();
        break;
    }
    const int count = numberOf(text);
    return count <= std::numeric_limits<int>::max() / unit ? count * unit : -1;
}

bool setValue(int word, const std::string& value, Options& options) {
    switch (word) {
        case kPort:
            options.port = numberOf(value);
            return options.port >= 1 && options.port <= 65535;
        case kIdleExit:
            options.idleSeconds = secondsOf(value);
            return options.idleSeconds >= 0;
        case kLogLevel:
            return levelOf(value, options.level);
        default:
            options.directory = value;
            return !value.empty();
    }
}

Task taskOf(int word, Task before) {
    switch (word) {
        case kPort:
            return Task::kServe;
        case kStatus:
            return Task::kStatus;
        case kCheck:
            return Task::kCheck;
        case kHelpWord:
            return Task::kHelp;
        case kVersionWord:
            return Task::kVersion;
        default:
            return before;
    }
}

}  // namespace

const char* const kHelp =
    R"(usage: zocached --port N [--idle-exit TIME] [--log-level LEVEL]
       zocached --status DIR | --check DIR

Keeps the index of a cache directory for all processes of one user. Libraries start it when they
need it; nothing has to be set up.

  --port N           serve the client that listens on this loopback port, then all others that use
                     the directory it names
  --idle-exit TIME   end after so long without a client: 90 or 90s, 30m (the default), 2h; 0: never
  --log-level LEVEL  what goes to zocached.log in the directory: off, error, warning, info (the
                     default), debug
  --status DIR       show the figures of the server that runs for DIR; 1 when there is none
  --check DIR        compare the index of DIR with its files, changing nothing; 1 when they differ
  --help, --version  show this, or the version, and end

The environment variable ZOCACHED_OPTIONS may hold --idle-exit and --log-level for all servers.
Exit code: 0 served until idle or ended by a signal, 1 failed, 2 wrong options.
)";

Task parseOptions(const std::vector<std::string>& words, Options& options, std::string& mistake) {
    std::vector<char*> arguments = {const_cast<char*>("zocached")};
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const int count = static_cast<int>(arguments.size()) - 1;
    Task task = Task::kMistake;
    opterr = 0;
    optind = 0;  // starts anew
    for (int word; (word = getopt_long(count, arguments.data(), "+:", kWords, nullptr)) != -1;) {
        const std::string last = optind > 0 ? arguments[static_cast<std::size_t>(optind - 1)] : "";
        if (word == ':' || word == '?') {
            mistake = (word == ':' ? "no value behind " : "unknown option ") + last;
            return Task::kMistake;
        }
        if (optarg != nullptr && !setValue(word, optarg, options)) {
            mistake = std::string("unusable value \"") + optarg + "\"";
            return Task::kMistake;
        }
        task = taskOf(word, task);
        if (task == Task::kHelp || task == Task::kVersion) return task;
    }
    if (optind < count) {
        mistake = "unexpected argument " + words[static_cast<std::size_t>(optind - 1)];
        return Task::kMistake;
    }
    if (task == Task::kMistake) mistake = "nothing to do: no --port";
    return task;
}

void applyEnvironment(const char* text, Options& options) {
    if (text == nullptr) return;
    std::istringstream stream(text);
    std::vector<std::string> words = {"--port", "1"};  // a task, so that the rest may be settings
    for (std::string word; stream >> word;) words.push_back(word);
    Options changed = options;
    std::string mistake;
    if (parseOptions(words, changed, mistake) != Task::kServe) return;
    options.idleSeconds = changed.idleSeconds;
    options.level = changed.level;
}

}  // namespace kelvo::zocached
