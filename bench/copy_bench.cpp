// Copying a file beside cp, which leaves the data in memory, and beside cp and a wait for the disk,
// as fileCopy waits for it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Base/zo_os_file.h"

namespace {

namespace fs = std::filesystem;

// A file of so many MiB, none of them zeros, and the place of its copy.
class Files {
  public:
    explicit Files(std::int64_t mib) : directory_(fs::temp_directory_path() / "kelvo_bench_copy") {
        fs::create_directory(directory_);
        std::string part(std::size_t{1} << 20, '\0');
        for (std::size_t i = 0; i < part.size(); ++i) part[i] = static_cast<char>(i * i >> 7 | 1);
        std::ofstream out(from());
        for (std::int64_t i = 0; i < mib; ++i) out << part;
    }
    ~Files() { fs::remove_all(directory_); }
    std::string from() const { return (directory_ / "from").string(); }
    std::string to() const { return (directory_ / "to").string(); }

  private:
    fs::path directory_;
};

// `copy` gets the two paths and answers whether it succeeded. The copy of the round before goes
// outside of the time, and so does what the disk still has to do for it.
template <class Copy>
void measure(benchmark::State& state, Copy copy) {
    const Files files(state.range(0));
    if (std::system("sync") != 0) return state.SkipWithError("no sync");
    for (auto _ : state) {
        if (!copy(files.from(), files.to())) return state.SkipWithError("not copied");
        state.PauseTiming();
        if (fs::file_size(files.to()) != fs::file_size(files.from()))
            return state.SkipWithError("not all was copied");
        fs::remove(files.to());
        if (std::system("sync") != 0) return state.SkipWithError("no sync");
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * (state.range(0) << 20));
}

void fileCopy(benchmark::State& state) {
    measure(state, [](const std::string& from, const std::string& to) {
        return !zoOS::fileCopy(from.c_str(), to.c_str(), true);
    });
}

void cpAlone(benchmark::State& state) {
    measure(state, [](const std::string& from, const std::string& to) {
        return std::system(("cp " + from + " " + to).c_str()) == 0;
    });
}

void cpToTheDisk(benchmark::State& state) {
    measure(state, [](const std::string& from, const std::string& to) {
        return std::system(("cp " + from + " " + to + " && sync " + to).c_str()) == 0;
    });
}

BENCHMARK(fileCopy)->Arg(1)->Arg(1024)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(cpAlone)->Arg(1)->Arg(1024)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(cpToTheDisk)->Arg(1)->Arg(1024)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
