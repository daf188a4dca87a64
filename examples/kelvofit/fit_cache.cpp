#include "fit_cache.h"

#include <Base/rpt.h>
#include <Base/zo_os_file.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "bytes.h"
#include "failure.h"
#include "fit_key.h"
#include "platform.h"

namespace kelvo::fit {
namespace {

namespace fs = std::filesystem;
using Item = zo::Reference<zoKelvoBase::FileCacheItem>;

// The cached files begin with these. The number changes with their form and with what a fit gives.
constexpr std::string_view kMagic = "kelvofit";
constexpr std::uint32_t kForm = 1;

constexpr int kMostFits = 1000;
constexpr std::int64_t kMostBytes = 512 << 20;

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string fileOf(const std::string& key, const std::string& content) {
    ByteWriter file;
    file.putText(kMagic);
    file.put(kForm);
    file.putText(key);
    file.putText(content);
    return file.bytes() + digestOf(file.bytes());
}

// The content of such a file, within it; nothing when it is another one or damaged.
std::optional<std::string_view> contentOf(std::string_view file, const std::string& key) {
    constexpr std::size_t kDigest = 36;
    if (file.size() < kDigest) return std::nullopt;
    const std::string_view body = file.substr(0, file.size() - kDigest);
    if (digestOf(body) != file.substr(body.size())) return std::nullopt;
    ByteReader reader(body);
    const bool ours = reader.getText() == kMagic && reader.get<std::uint32_t>() == kForm &&
                      reader.getText() == key;
    const std::string_view content = reader.getText();
    if (!ours || !reader.isWhole()) return std::nullopt;
    return content;
}

// Empty when it cannot be read, or is none that we write.
std::string readWhole(const std::string& path) {
    std::error_code error;
    const auto size = fs::is_regular_file(path, error) ? fs::file_size(path, error) : 0;
    if (error || size > kMostBytes) return {};
    std::string file(static_cast<std::size_t>(size), '\0');
    std::ifstream in(path, std::ios::binary);
    in.read(file.data(), static_cast<std::streamsize>(file.size()));
    return in ? file : std::string();
}

}  // namespace

// A relative XDG_CACHE_HOME counts as not set: it would mean another place from every directory.
std::string FitCache::directory() const {
    if (!options_.cacheDirectory.empty()) return fs::absolute(options_.cacheDirectory).string();
    const std::string caches = variable("XDG_CACHE_HOME"), home = variable("HOME");
    if (fs::path(caches).is_absolute()) return (fs::path(caches) / "kelvofit").string();
    return home.empty() ? home : (fs::absolute(home) / ".cache" / "kelvofit").string();
}

void FitCache::turnOff(const std::string& why) {
    state_ = State::kOff;
    rptUser("kelvofit: fits are not kept: %s\n", why.c_str());
}

void FitCache::open() {
    state_ = State::kOff;
    if (options_.noCache) return;
    const std::string dir = directory();
    if (dir.empty()) return turnOff("there is no home directory, and no --cache-dir");
    // The directory itself is made by the server, for its owner alone.
    const zoOS::File above(fs::path(dir).parent_path().string());
    if (const zoUtil::Error error = above.makeDirectoryAll()) return turnOff(error.message().str());
    if (const zoUtil::Error error = cache_.initialize(dir, kMostFits, kMostBytes))
        return turnOff(dir + ": " + error.message().str());
    state_ = State::kOn;
}

bool FitCache::isOn() {
    if (state_ == State::kUnopened) open();
    return state_ == State::kOn;
}

bool FitCache::find(const std::string& key, const std::function<bool(std::string_view)>& use) {
    if (!isOn()) return false;
    const Item item = cache_.find(key);
    if (!item) return false;
    const std::string file = readWhole(item->path().str());
    const std::optional<std::string_view> content = contentOf(file, key);
    if (content && use(*content)) {
        cache_.setAccessed(item);
        return true;
    }
    rptUser("kelvofit: %s was damaged and is computed anew\n", item->path().c_str());
    cache_.remove(item);
    return false;
}

void FitCache::add(const std::string& key, const std::string& content) {
    if (!isOn()) return;
    const std::string path = cache_.generatePath().str();
    std::string unentered;
    try {
        unentered = writeTemporary(path, fileOf(key, content));
        fs::rename(unentered, path);
        unentered = path;
        if (cache_.add(key, path)) return;
        turnOff("the cache does not take them");
    } catch (const std::exception& failure) {
        turnOff(failure.what());
    }
    std::error_code ignored;
    fs::remove(unentered, ignored);
}

}  // namespace kelvo::fit
