// What could break here: a fit from the cache that differs from a computed one, or belongs to another
// input or other options; caches and cached files that cannot be used and spoil the run; servers that
// stay behind.
#include <Base/app.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "examples/kelvofit/fit_cache.h"
#include "program.h"
#include "tests/support/report_capture.h"

namespace kelvo::test {
namespace {

namespace fs = std::filesystem;

const char* const kFromCache = "the fit is from the cache\n";
constexpr std::size_t kNameLength = 36;  // of a cached file

class KelvofitCache : public testing::Test {
  protected:
    KelvofitCache() {
        bench.write("a.xyz", waves(500, 0.1));
        bench.write("b.xyz", waves(500, 0.2));
        bench.write("s.edit", "raise row 1 by 0.1\n");
    }
    // The server withdraws its lock file when it ends.
    ~KelvofitCache() override {
        for (const fs::path cache : {"caches/kelvofit", "other/cache"}) {
            const std::string lock = (cache / "lockfile.lck").string();
            for (int i = 0; i < 1000 && bench.exists(lock); ++i) usleep(10000);
            EXPECT_FALSE(bench.exists(lock)) << "a server stayed";
        }
    }

    Outcome run(const std::string& out, const std::string& input, Names arguments = {},
                bool interrupt = false) const {
        for (const char* each : {"-o", out.c_str(), input.c_str()}) arguments.push_back(each);
        const Outcome outcome = bench.run(arguments, {.interrupt = interrupt, .cache = true});
        EXPECT_EQ(0, outcome.code) << outcome.err;
        return outcome;
    }
    static bool fromCache(const Outcome& outcome) {
        return outcome.out.find(kFromCache) != std::string::npos;
    }
    // All results but what tells how the fit was come by.
    std::string results(const std::string& dir) const {
        std::string report = bench.read(dir + "/report.json");
        report.resize(report.find("\"seconds\""));
        const std::size_t mark = report.find("\"from_cache\"");
        report.erase(mark, report.find('\n', mark) - mark);
        return report + bench.read(dir + "/surface.obj") + bench.read(dir + "/net.obj") +
               bench.read(dir + "/fit.svg");
    }
    Names cachedFiles() const {
        Names names;
        for (const std::string& name : bench.list("caches/kelvofit"))
            if (name.size() == kNameLength) names.push_back("caches/kelvofit/" + name);
        return names;
    }

    const Bench bench;
    ScopedVariable home{"XDG_CACHE_HOME", (bench.path("caches")).c_str()};
    ScopedVariable server{"ZOCACHED_OPTIONS", "--idle-exit 1"};
};

// A known fit differs in nothing from one that is computed.
TEST_F(KelvofitCache, KnowsWhatAFitDependsOn) {
    const struct {
        std::string input;
        Names arguments;
        bool known;
    } kRows[] = {
        {"a.xyz", {}, false},
        {"a.xyz", {"--tolerance", "0.01"}, false},
        {"a.xyz", {"--max-spans", "3"}, false},
        {"a.xyz", {"--axis", "z"}, false},
        {"a.xyz", {"--method", "cholesky"}, false},
        {"a.xyz", {"--noise", "0.01"}, false},
        {"a.xyz", {"--noise", "0.01", "--seed", "2"}, false},
        {"a.xyz", {"--noise", "0.01", "--seed", "2"}, true},
        {"b.xyz", {}, false},
        {"a.xyz", {"--seed", "2"}, true},  // of no noise
        {"a.xyz", {"--scratch", "--unit", "mm"}, true},
        {"a.xyz", {"--rotate", "10", "20", "30", "--up", "y"}, true},
        {"a.xyz", {"--edit", "s.edit"}, true},
        {kTeapot, {}, false},
        {kTeapot, {"--samples", "5"}, false},
        {kTeapot, {"--noise", "0.01"}, false},
        {kTeapot, {"--noise", "0.01", "--seed", "2"}, false},
        {kTeapot, {"--noise", "0.01", "--seed", "2"}, true},
        {kTeapot, {"--tolerance", "1", "--edit", "s.edit"}, true},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.input + testing::PrintToString(row.arguments));
        EXPECT_EQ(row.known, fromCache(run("out", row.input, row.arguments)));
        EXPECT_EQ(row.known ? Json::kTrue : Json::kFalse, bench.report("out")["from_cache"].kind);
        Names without = row.arguments;
        without.push_back("--no-cache");
        run("none", row.input, without);
        EXPECT_EQ(results("none"), results("out"));
    }
}

TEST_F(KelvofitCache, DamagedFilesAreComputedAnew) {
    run("b", "b.xyz");
    const std::string other = bench.read(cachedFiles().front());
    fs::remove(bench.path(cachedFiles().front()));
    run("first", "a.xyz");
    ASSERT_EQ(1U, cachedFiles().size());
    const std::string whole = bench.read(cachedFiles().front());
    std::string flipped = whole;
    flipped[flipped.size() / 2] ^= 1;
    for (const std::string& content : {std::string(), whole.substr(0, 20), flipped, whole + "x",
                                       whole.substr(0, whole.size() - 1), other}) {
        SCOPED_TRACE(content.size());
        bench.write(cachedFiles().front(), content);
        const Outcome outcome = run("again", "a.xyz", {"--quiet"});
        EXPECT_NE(std::string::npos, outcome.err.find(" was damaged and is computed anew\n"));
        EXPECT_EQ(results("first"), results("again"));
        EXPECT_TRUE(fromCache(run("last", "a.xyz")));
        EXPECT_EQ(1U, cachedFiles().size());
    }
}

TEST_F(KelvofitCache, UnusableDirectoriesGetANoteAndAFit) {
    run("first", "a.xyz", {"--no-cache"});
    bench.write("file", "mine");
    fs::create_directories(bench.path("open"));
    fs::permissions(bench.path("open"), fs::perms::all);
    fs::create_directories(bench.path("full"));
    const SmallDisk disk(bench.path("full"), 4096);
    Names unusable = {"file", "file/below", "open", "/proc/kelvofit", std::string(300, 'x')};
    if (disk.mounted()) unusable.push_back("full/cache");
    for (const std::string& dir : unusable)
        for (int round = 0; round < 2; ++round) {
            SCOPED_TRACE(dir);
            const Outcome outcome = run("out", "a.xyz", {"--quiet", "--cache-dir", dir});
            EXPECT_EQ(0U, outcome.err.find("kelvofit: fits are not kept: ")) << outcome.err;
            EXPECT_EQ(outcome.err.size() - 1, outcome.err.find('\n')) << outcome.err;
            EXPECT_EQ(results("first"), results("out"));
        }
    EXPECT_EQ("mine", bench.read("file"));
    EXPECT_FALSE(bench.exists("caches"));
}

TEST_F(KelvofitCache, LiesWhereTheUserWants) {
    EXPECT_FALSE(fromCache(run("out", "a.xyz", {"--cache-dir", "other/cache"})));
    EXPECT_TRUE(fromCache(run("out", "a.xyz", {"--cache-dir", bench.path("other/cache")})));
    EXPECT_FALSE(bench.exists("caches"));
    const ScopedVariable relative("XDG_CACHE_HOME", "caches");
    const ScopedVariable none("HOME", nullptr);
    const Outcome outcome = run("out", "a.xyz", {"--quiet"});
    EXPECT_EQ("kelvofit: fits are not kept: there is no home directory, and no --cache-dir\n",
              outcome.err);
    EXPECT_FALSE(bench.exists("caches"));
}

TEST_F(KelvofitCache, StoppedFitsAreNotKept) {
    bench.write("many.xyz", waves(60000, 0.1));
    const Outcome outcome = run("out", "many.xyz", {"-t", "1e-12", "-s", "100"}, true);
    EXPECT_EQ(Json::kTrue, bench.report("out")["stopped"].kind) << outcome.err;
    EXPECT_TRUE(bench.exists("caches/kelvofit/lockfile.lck"));
    EXPECT_EQ(Names(), cachedFiles());
}

TEST_F(KelvofitCache, NoServerProgramIsSaidOnce) {
    APP_setBinaryDirectory("/nonexistent");
    const ReportCapture capture;
    fit::Options options;
    options.cacheDirectory = bench.path("other/cache");
    fit::FitCache cache(options);
    cache.add("key", "content");
    EXPECT_FALSE(cache.find("key", [](std::string_view) { return true; }));
    APP_setBinaryDirectory(nullptr);
    const std::string said = capture.text();
    EXPECT_NE(std::string::npos, said.find("cannot start \"/nonexistent/zocached\"")) << said;
    EXPECT_EQ(said.size() - 1, said.find('\n')) << said;
}

}  // namespace
}  // namespace kelvo::test
