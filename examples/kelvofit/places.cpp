#include "places.h"

#include <Base/zo_os_path.h>
#include <KelvoBase/db_filename.h>
#include <KelvoBase/vl_filename.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "failure.h"
#include "platform.h"
#include "text_file.h"

namespace kelvo::fit {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLongestPath = 260;  // in a project
constexpr std::size_t kRoomForFile = 40;   // of it, for a kind's directory and a result
constexpr const char* kResults[] = {"surface.obj", "net.obj", "report.json", "fit.svg"};
constexpr int kKinds[] = {WIRE_DATA, PIX_DATA, TEXT_DATA};

std::string native(const char* path) {
    return zoOS::nativePath(path).str();
}

// What a path names once there is a file.
fs::path willBe(const std::string& path) {
    std::error_code none;
    return fs::weakly_canonical(fs::absolute(path, none), none);
}

int kindOf(const std::string& result) {
    if (result.ends_with(".obj")) return WIRE_DATA;
    return result.ends_with(".json") ? TEXT_DATA : PIX_DATA;
}

std::string numbered(const char* format, int number) {
    char name[32];
    std::snprintf(name, sizeof name, format, number);
    return name;
}

std::string frameOfSequence(int number) {
    return numbered("fit.svg.%04d", number);
}

// The directory that holds projects, from its drive or root on, with a separator at the end.
std::string projectPath(const std::string& dir) {
    const bool absolute = dir[0] == '/' || dir[0] == '\\' || dir.substr(1, 1) == ":";
    std::string path = absolute ? dir : (fs::current_path() / dir).lexically_normal().string();
    if (path.back() != '/' && path.back() != '\\') path += path[0] == '/' ? '/' : '\\';
    return path;
}

std::string tooLong(const std::string& name) {
    return fit::quoted(name) + " is too long: paths in a project have up to " +
           std::to_string(kLongestPath) + " characters";
}

}  // namespace

Places::Places(const Options& options) : options_(options) {
    if (!inProject()) return;
    const std::string path = projectPath(options.project);
    if (path.size() + options.name.size() + kRoomForFile > kLongestPath)
        throw Failure("--project: " + tooLong(path));
    Db_set_project_path(path.c_str());
    Db_set_project_name(options.name.c_str());
    Db_set_vl_cwd(fs::current_path().c_str());
    Db_init_paths();
}

void Places::check() {
    if (inProject())
        for (const int kind : kKinds) checkWritable(native(Db_default_path(kind)->path));
    else
        checkWritable(options_.out);
    for (const char* name : kResults) checkResult(resultPath(name));
    if (options_.turntable > 0) checkFrames();
}

// Older frames go with their numbers, and behind the last one until a number is missing. The log
// will be there by then.
void Places::checkFrames() {
    int number = 1;
    for (; number <= options_.turntable; ++number) checkResult(framePath(number));
    do checkKept(framePath(number));
    while (!oldFrame(number++).empty());
}

void Places::checkResult(const std::string& path) {
    std::error_code none;  // a file that does not exist is not the same
    if (fs::is_directory(path, none)) failAt({path}, "cannot be replaced: is a directory");
    checkKept(path);
}

void Places::checkKept(const std::string& path) {
    std::error_code none;
    const auto keep = [](const std::string& given, bool same) {
        if (same) throw Failure(fit::quoted(given) + " would be replaced by a result");
    };
    keep(options_.input, fs::equivalent(input(), path, none));
    if (!options_.edit.empty()) keep(options_.edit, fs::equivalent(script(), path, none));
    if (options_.debug.empty() || options_.debug == "-") return;
    keep(options_.debug, willBe(options_.debug) == willBe(path));
}

std::string Places::expanded(const std::string& name, int type) {
    made_.make(native(Db_default_path(type)->path));
    std::string given = name;  // quotes are taken off in place
    std::vector<char> path(std::max(kLongestPath + 3, name.size() + 1));
    const std::string full = expand_filename(path.data(), given.data(), type);
    // The directory stands for a name that does not fit behind it.
    if (!full.ends_with(given.c_str())) throw Failure(tooLong(name));
    return native(full.c_str());
}

std::string Places::input() {
    return inProject() ? expanded(options_.input, WIRE_DATA) : options_.input;
}

std::string Places::script() {
    const bool expand = inProject() && !options_.edit.empty();
    return expand ? expanded(options_.edit, TEXT_DATA) : options_.edit;
}

std::string Places::resultPath(const std::string& name) {
    return inProject() ? expanded(name, kindOf(name)) : (fs::path(options_.out) / name).string();
}

std::string Places::result(const std::string& name) {
    if (!inProject()) made_.make(options_.out);
    return resultPath(name);
}

std::string Places::framePath(int number) {
    return resultPath(inProject() ? frameOfSequence(number) : numbered("fit.%04d.svg", number));
}

std::string Places::frame(int number) {
    if (!inProject()) made_.make(options_.out);
    return framePath(number);
}

std::string Places::oldFrame(int number) {
    if (!inProject()) {
        const std::string path = framePath(number);
        std::error_code ignored;
        return fs::is_regular_file(path, ignored) ? path : std::string();
    }
    VL_Filename sequence(frameOfSequence(1).c_str(), PIX_DATA);
    sequence.setFrame(number);
    char path[kLongestPath + 3];
    return sequence.Filename(path) == 1 ? native(path) : std::string();
}

std::string Places::shown() const {
    return inProject() ? native(Db_default_path(DIR_DATA)->path) : options_.out;
}

}  // namespace kelvo::fit
