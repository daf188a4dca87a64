// Keeps fits from run to run, in the library's file cache. Whatever is wrong with the cache, the
// run goes on: the user gets one note, and nothing is found or kept.
#pragma once

#include <KelvoBase/file_cache.h>

#include <functional>
#include <string>
#include <string_view>

#include "options.h"

namespace kelvo::fit {

class FitCache {
  public:
    explicit FitCache(const Options& options) : options_(options) {}

    /// Whether fits are kept. Opens the cache at the first call; its server is started if none runs.
    bool isOn();

    /// Gives `use` what is kept under `key`; true when it was found, whole, and `use` could do with
    /// it. What is damaged leaves the cache.
    bool find(const std::string& key, const std::function<bool(std::string_view)>& use);
    /// Keeps `content` under `key`.
    void add(const std::string& key, const std::string& content);

  private:
    enum class State { kUnopened, kOff, kOn };

    std::string directory() const;
    void open();
    void turnOff(const std::string& why);

    const Options& options_;
    State state_ = State::kUnopened;
    zoKelvoBase::FileCache cache_;
};

}  // namespace kelvo::fit
