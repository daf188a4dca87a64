// Reading a directory of 100,000 names beside readdir, and looking up frames.
#include <benchmark/benchmark.h>
#include <dirent.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "KelvoBase/db_filename.h"
#include "KelvoBase/vl_filename.h"
#include "KelvoBase/win32_directory.h"

namespace {

constexpr std::size_t kFiles = 100000;

// A directory of so many empty files, gone at the end.
class Crowd {
  public:
    Crowd() : path_(std::filesystem::temp_directory_path() / "kelvo_bench_files") {
        std::filesystem::create_directory(path_);
        for (std::size_t i = 0; i < kFiles; ++i)
            std::ofstream(path_ / ("frame." + std::to_string(i)));
    }
    ~Crowd() { std::filesystem::remove_all(path_); }
    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

const std::string& crowd() {
    static const Crowd directory;
    static const std::string path = directory.path();
    return path;
}

// Both look at every name, as whoever reads a directory does.
void win32Directory(benchmark::State& state) {
    std::string path = crowd();
    for (auto _ : state) {
        std::size_t names = 0, bytes = 0;
        win32_DIR* const directory = win32_opendir(path.data());
        if (directory == nullptr) return state.SkipWithError("cannot read");
        for (; const win32_dirent* entry = win32_readdir(directory); ++names)
            bytes += static_cast<std::size_t>(entry->d_namlen);
        win32_closedir(directory);
        benchmark::DoNotOptimize(bytes);
        if (names != kFiles + 2) return state.SkipWithError("names are missing");
    }
}

void plainReaddir(benchmark::State& state) {
    const std::string& path = crowd();
    for (auto _ : state) {
        std::size_t names = 0, bytes = 0;
        ::DIR* const directory = opendir(path.c_str());
        if (directory == nullptr) return state.SkipWithError("cannot read");
        for (; const dirent* entry = readdir(directory); ++names)
            bytes += std::strlen(entry->d_name);
        closedir(directory);
        benchmark::DoNotOptimize(bytes);
        if (names != kFiles + 2) return state.SkipWithError("names are missing");
    }
}

BENCHMARK(win32Directory)->Unit(benchmark::kMillisecond);
BENCHMARK(plainReaddir)->Unit(benchmark::kMillisecond);

// Of a frame that is on the disk with four digits.
void frameLookup(benchmark::State& state) {
    const std::string base = crowd() + "/frame";
    VL_Filename name((base + ".4711").c_str(), WIRE_DATA);
    char out[1024];
    for (auto _ : state)
        if (name.Filename(out) != 1) return state.SkipWithError("frame not found");
}
BENCHMARK(frameLookup)->Unit(benchmark::kMicrosecond);

}  // namespace
