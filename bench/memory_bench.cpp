// Large blocks beside malloc and mmap, moveable blocks, and the directory reader beside readdir.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Base/zo_os_file.h"
#include "Base/zo_os_moveable_memory.h"
#include "Base/zo_os_path.h"
#include "Base/zo_os_view.h"
#include "KelvoBase/ma_memory_manager.h"

namespace {

constexpr std::size_t kPage = 4096;

// Writes to every page, as whoever fills a block does.
void touch(void* block, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes; i += kPage) static_cast<volatile char*>(block)[i] = 1;
}

std::size_t bytesOf(const benchmark::State& state) {
    return static_cast<std::size_t>(state.range(0)) << 20;
}

void fail(benchmark::State& state) {
    state.SkipWithError("no memory");
}

void pagingBlock(benchmark::State& state) {
    const std::size_t bytes = bytesOf(state);
    for (auto _ : state) {
        void* const block = Ma_allocMmapMemory(static_cast<unsigned>(bytes), 0, 1);
        if (block == nullptr) return fail(state);
        touch(block, bytes);
        Ma_freeMmapMemory(block);
    }
}

void mallocBlock(benchmark::State& state) {
    const std::size_t bytes = bytesOf(state);
    for (auto _ : state) {
        void* const block = std::malloc(bytes);
        if (block == nullptr) return fail(state);
        touch(block, bytes);
        std::free(block);
    }
}

void plainMap(benchmark::State& state) {
    const std::size_t bytes = bytesOf(state);
    for (auto _ : state) {
        void* const block =
            mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (block == MAP_FAILED) return fail(state);
        touch(block, bytes);
        munmap(block, bytes);
    }
}

std::string scratchName() {
    return (std::filesystem::temp_directory_path() / "kelvo_bench_XXXXXX").string();
}

// A view behind a scratch file; its space is on the disk before it is mapped.
void scratchView(benchmark::State& state) {
    const std::size_t bytes = bytesOf(state);
    for (auto _ : state) {
        std::string name = scratchName();
        zoOS::makeUniqueName(name.data());
        void* const view =
            zoOS::mapScratchView(zoOS::createScratchFile(name.c_str(), bytes, 0), bytes);
        if (view == zoOS::kNoView) return fail(state);
        touch(view, bytes);
        zoOS::unmapView(view);
        zoOS::removeScratchFile(name.c_str());
    }
}

// The same by hand, as sparse files are mapped: a full disk would end the process.
void plainFileMap(benchmark::State& state) {
    const std::size_t bytes = bytesOf(state);
    for (auto _ : state) {
        std::string name = scratchName();
        const int file = mkstemp(name.data());
        if (file < 0 || ftruncate(file, static_cast<off_t>(bytes)) != 0) return fail(state);
        void* const view = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        close(file);
        if (view == MAP_FAILED) return fail(state);
        touch(view, bytes);
        munmap(view, bytes);
        unlink(name.c_str());
    }
}

BENCHMARK(pagingBlock)->Arg(1)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(mallocBlock)->Arg(1)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(plainMap)->Arg(1)->Arg(64)->Arg(512)->Unit(benchmark::kMillisecond);
BENCHMARK(scratchView)->Arg(1)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(plainFileMap)->Arg(1)->Arg(64)->Unit(benchmark::kMillisecond);

void figures(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(MA_swap_available());
}
BENCHMARK(figures)->Unit(benchmark::kMicrosecond);

void moveableLock(benchmark::State& state) {
    zoOS::MoveableMemory memory;
    zoOS::MoveableMemory::Handle handle = 0;
    const std::string directory = std::filesystem::temp_directory_path().string();
    if (!memory.initializeFiles(zoString::IString(directory.c_str()), "kelvo_bench_store") ||
        memory.allocate(bytesOf(state), handle))
        return fail(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(memory.lock(handle));
        static_cast<void>(memory.unlock(handle));
    }
}
// Up to 64 MiB a block keeps its address between two locks.
BENCHMARK(moveableLock)->Arg(1)->Arg(128)->Unit(benchmark::kNanosecond);

// A directory of 100,000 empty files.
class Crowd {
  public:
    Crowd() : path_(std::filesystem::temp_directory_path() / "kelvo_bench_crowd") {
        std::filesystem::create_directory(path_);
        for (int i = 0; i < 100000; ++i) std::ofstream(path_ / ("frame." + std::to_string(i)));
    }
    ~Crowd() { std::filesystem::remove_all(path_); }
    std::string path() const { return path_.string(); }

  private:
    std::filesystem::path path_;
};

void directorySearch(benchmark::State& state) {
    static const Crowd crowd;
    for (auto _ : state) {
        zoOS::DirectorySearch search;
        std::size_t names = 0;
        if (search.open(crowd.path().c_str())) return state.SkipWithError("cannot read");
        while (search.next() != nullptr) ++names;
        if (names != 100002) return state.SkipWithError("names are missing");
    }
}

void plainReaddir(benchmark::State& state) {
    const std::string path =
        (std::filesystem::temp_directory_path() / "kelvo_bench_crowd").string();
    for (auto _ : state) {
        DIR* const directory = opendir(path.c_str());
        if (directory == nullptr) return state.SkipWithError("cannot read");
        while (const dirent* entry = readdir(directory)) benchmark::DoNotOptimize(entry);
        closedir(directory);
    }
}
BENCHMARK(directorySearch)->Unit(benchmark::kMillisecond);
BENCHMARK(plainReaddir)->Unit(benchmark::kMillisecond);

}  // namespace
