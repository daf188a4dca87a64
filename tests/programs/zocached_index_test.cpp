// What could break: an entry that a client holds loses its file, a file is deleted that belongs to
// nobody's entry, the wrong entry is evicted, what was promised is not in the store after a crash.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "programs/zocached/index.h"
#include "programs/zocached/request.h"
#include "tests/programs/zocached_support.h"
#include "tests/support/test.h"

namespace {

using namespace kelvo::zocached;
using kelvo::test::TemporaryDirectory;
namespace fs = std::filesystem;

// A directory, its index, and what is expected of them: a plain model without limits of size.
class Model {
  public:
    static constexpr int kHolders = 4, kKeys = 12;

    explicit Model(unsigned seed) : random_(seed) {
        EXPECT_FALSE(directory_.open(place_.path()));
        reopen();
    }
    ~Model() { endHolders(); }

    // What a killed process leaves: nothing is flushed, nothing is let go of.
    void crash() {
        abandoned_.push_back(std::move(index_));
        reopen();
    }

    void step() {
        const int holder = pick(kHolders);
        const std::string key = "key" + std::to_string(pick(kKeys));
        switch (pick(10)) {
            case 0:
            case 1:
            case 2:
                return add(holder, key, "file" + std::to_string(pick(2 * kKeys)));
            case 3:
            case 4:
                return acquire(holder, key);
            case 5:
            case 6:
                return release(holder, key, pick(4) == 0);
            case 7:
                index_->setAccessed(key);
                index_->flush();  // the order of accesses may lag behind otherwise
                if (live_.count(key) != 0) live_[key].turn = ++turn_;
                return;
            case 8:
                if (pick(4) == 0) endHolder(holder);
                return;
            default:
                if (pick(3) == 0) evict(1 + pick(kKeys));
                if (pick(3) == 0) index_->flush();
        }
    }

    void check() const {
        ASSERT_EQ(index_->figures().entries, static_cast<std::int64_t>(live_.size()));
        std::set<std::string> wanted;
        std::int64_t bytes = 0, holds = 0;
        for (const auto& [key, file] : live_) {
            wanted.insert(file.name);
            bytes += static_cast<std::int64_t>(file.name.size());
        }
        for (const auto& holder : held_)
            for (const auto& [key, held] : holder) {
                holds += held.count;
                wanted.insert(held.files.begin(), held.files.end());
            }
        EXPECT_EQ(files(), wanted);
        EXPECT_EQ(index_->figures().bytes, bytes);
        EXPECT_EQ(index_->figures().holds, holds);
    }

  private:
    struct File {
        std::string name;
        int turn = 0;
    };
    struct Held {
        int count = 0;
        std::set<std::string> files;
    };

    int pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
    void write(const std::string& name) { kelvo::test::writeFile(place_ / name, name); }

    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& item : fs::directory_iterator(place_.path()))
            if (item.path().filename().string().rfind("zocached.", 0) != 0 &&
                item.is_regular_file())
                names.insert(item.path().filename().string());
        return names;
    }

    void reopen() {
        index_ = std::make_unique<Index>(directory_);
        holders_ = std::vector<Holder>(kHolders);
        held_.assign(kHolders, {});
        ASSERT_FALSE(index_->open());
    }

    void add(int holder, const std::string& key, const std::string& name) {
        // A file that is in the way of another entry is theirs: here files are never written over.
        if (!fs::exists(place_ / name)) write(name);
        ASSERT_TRUE(index_->add(holders_[static_cast<std::size_t>(holder)], key, name));
        ASSERT_TRUE(index_->commitAdds());
        live_[key] = {name, ++turn_};
        take(holder, key);
    }

    void take(int holder, const std::string& key) {
        Held& held = held_[static_cast<std::size_t>(holder)][key];
        ++held.count;
        held.files.insert(live_[key].name);
    }

    void acquire(int holder, const std::string& key) {
        const Entry* const entry = index_->acquire(holders_[static_cast<std::size_t>(holder)], key);
        ASSERT_EQ(entry != nullptr, live_.count(key) == 1) << key;
        if (entry == nullptr) return;
        EXPECT_EQ(entry->row.name, live_[key].name);
        take(holder, key);
    }

    void release(int holder, const std::string& key, bool remove) {
        auto& held = held_[static_cast<std::size_t>(holder)];
        const bool isHeld = held.count(key) != 0;
        const bool isThere = live_.count(key) != 0;
        EXPECT_EQ(index_->release(holders_[static_cast<std::size_t>(holder)], key, remove),
                  isHeld || (remove && isThere));
        if (remove) live_.erase(key);
        if (isHeld && --held[key].count == 0) held.erase(key);
    }

    void endHolder(int holder) {
        index_->endHolder(holders_[static_cast<std::size_t>(holder)]);
        held_[static_cast<std::size_t>(holder)].clear();
    }

    void endHolders() {
        for (int holder = 0; holder < kHolders; ++holder) endHolder(holder);
    }

    void evict(int most) {
        index_->setLimits({most, 0});
        while (index_->evictSome()) continue;
        index_->setLimits({});
        std::set<std::string> heldKeys;
        for (const auto& holder : held_)
            for (const auto& [key, held] : holder)
                if (live_.count(key) != 0 && held.files.count(live_[key].name) != 0)
                    heldKeys.insert(key);
        while (static_cast<int>(live_.size()) > most) {
            auto oldest = live_.end();
            for (auto place = live_.begin(); place != live_.end(); ++place)
                if (heldKeys.count(place->first) == 0 &&
                    (oldest == live_.end() || place->second.turn < oldest->second.turn))
                    oldest = place;
            if (oldest == live_.end()) return;
            live_.erase(oldest);
        }
    }

    std::mt19937 random_;
    TemporaryDirectory place_;
    Directory directory_;
    std::unique_ptr<Index> index_;
    std::vector<std::unique_ptr<Index>> abandoned_;
    std::vector<Holder> holders_;
    std::map<std::string, File> live_;
    std::vector<std::map<std::string, Held>> held_;
    int turn_ = 0;
};

TEST(ZocachedIndex, FollowsAPlainModelThroughCrashes) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        Model model(seed);
        for (int i = 0; i < 600; ++i) {
            SCOPED_TRACE(i);
            model.step();
            model.check();
            if (HasFatalFailure() || HasNonfatalFailure()) return;
            if (i % 97 == 96) {
                model.crash();
                model.check();
            }
        }
    }
}

class IndexFiles : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_FALSE(directory_.open(place_.path()));
        open();
    }
    void TearDown() override { close(); }
    void open() {
        index_ = std::make_unique<Index>(directory_);
        ASSERT_FALSE(index_->open());
    }
    void close() {
        if (!index_) return;
        index_->endHolder(holder_);
        index_->flush();
        index_.reset();
    }
    bool add(const std::string& key, const std::string& content = "x") {
        kelvo::test::writeFile(place_ / key, content);
        return index_->add(holder_, key, key) && index_->commitAdds();
    }
    bool has(const std::string& key) { return index_->acquire(holder_, key) != nullptr; }

    TemporaryDirectory place_;
    Directory directory_;
    std::unique_ptr<Index> index_;
    Holder holder_;
};

TEST_F(IndexFiles, DamageToTheStoreCostsNothingThatCanBeRead) {
    const auto keyOf = [](int i) { return "key" + std::to_string(i) + std::string(200, '_'); };
    for (int i = 0; i < 500; ++i) ASSERT_TRUE(add(keyOf(i)));
    close();
    const std::string file = place_ / kIndexName;
    const std::string whole = kelvo::test::contentOf(file);
    ASSERT_GT(whole.size(), 16 * 4096u);
    const struct {
        const char* what;
        std::string content;
        int least;  // of the 500 that must be saved
    } cases[] = {
        {"no database", std::string(5000, 'q'), 0},
        {"empty", "", 0},
        {"cut short", whole.substr(0, 8 * 4096), 40},
        {"a page of noise",
         whole.substr(0, 12 * 4096) + std::string(4096, '\xFF') + whole.substr(13 * 4096), 470},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        kelvo::test::writeFile(file, c.content);
        open();
        int saved = 0;
        for (int i = 0; i < 500; ++i) saved += has(keyOf(i)) ? 1 : 0;
        EXPECT_GE(saved, c.least);
        EXPECT_TRUE(add("after"));
        close();
        open();
        EXPECT_TRUE(has("after"));
        close();
        for (int i = 0; i < 500; ++i) EXPECT_TRUE(fs::exists(place_ / keyOf(i)));
    }
    fs::remove(file);
    fs::create_directory(file);
    open();
    EXPECT_TRUE(add("instead of a directory"));
    close();
    fs::remove(file);
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    open();
    EXPECT_TRUE(add("instead of a pipe"));
    close();
    fs::remove(file);
    fs::create_symlink("/etc/passwd", file);
    open();
    EXPECT_TRUE(add("instead of a link"));
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(file)));
}

// What a file may say besides the rows.
TEST_F(IndexFiles, NothingInTheStoreUndoesAdds) {
    for (const char* text : {"PRAGMA user_version=-1", "PRAGMA user_version=2",
                             "CREATE TRIGGER t AFTER INSERT ON entry BEGIN DELETE FROM entry; END",
                             "DROP TABLE entry; CREATE VIEW entry AS SELECT 1 AS id"}) {
        SCOPED_TRACE(text);
        close();
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open((place_ / kIndexName).c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, text, nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
        open();
        EXPECT_TRUE(add("one"));
        EXPECT_TRUE(add("two"));
        close();
        open();
        EXPECT_TRUE(has("one"));
        EXPECT_TRUE(has("two"));
    }
}

TEST_F(IndexFiles, FilesThatChangeUnderneathAreNoticed) {
    ASSERT_TRUE(add("gone") && add("grown") && add("exchanged") && add("directory"));
    index_->endHolder(holder_);
    fs::remove(place_ / "gone");
    kelvo::test::writeFile(place_ / "grown", "0123456789");
    kelvo::test::writeFile(place_ / "new", "12345");
    fs::rename(place_ / "new", place_ / "exchanged");
    fs::remove(place_ / "directory");
    fs::create_directory(place_ / "directory");
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_FALSE(has("gone"));
        EXPECT_FALSE(has("directory"));
        EXPECT_TRUE(has("grown") && has("exchanged"));
        EXPECT_EQ(index_->figures().bytes, 15);
        EXPECT_EQ(index_->figures().entries, 2);
        close();
        open();
    }
    // A file that took the place of an entry's without its knowing is not the server's to delete.
    kelvo::test::writeFile(place_ / "new", "somebody's");
    fs::rename(place_ / "new", place_ / "exchanged");
    index_->setLimits({0, 1});
    while (index_->evictSome()) continue;
    EXPECT_EQ(index_->figures().entries, 0);
    EXPECT_FALSE(fs::exists(place_ / "grown"));
    EXPECT_EQ(kelvo::test::contentOf(place_ / "exchanged"), "somebody's");
}

TEST_F(IndexFiles, RemovalsThatLeaveAFileOutliveAKill) {
    ASSERT_TRUE(add("shared") && add("exchanged") && add("held"));
    ASSERT_TRUE(index_->add(holder_, "other", "shared") && index_->commitAdds());
    index_->endHolder(holder_);
    kelvo::test::writeFile(place_ / "new", "somebody's");
    fs::rename(place_ / "new", place_ / "exchanged");
    Holder user;
    ASSERT_NE(index_->acquire(user, "held"), nullptr);
    std::vector<std::unique_ptr<Index>> killed;
    for (const char* key : {"exchanged", "shared", "held"}) {
        SCOPED_TRACE(key);
        EXPECT_TRUE(index_->release(holder_, key, true));
        killed.push_back(std::move(index_));
        open();
        EXPECT_FALSE(has(key));
        user = Holder();
        if (key != std::string("held")) index_->acquire(user, "held");
    }
    EXPECT_TRUE(has("other"));
    EXPECT_TRUE(fs::exists(place_ / "exchanged"));
    EXPECT_FALSE(fs::exists(place_ / "held"));
}

TEST_F(IndexFiles, LimitsOfBytes) {
    for (const char* key : {"a", "b", "c", "d"}) ASSERT_TRUE(add(key, "12345"));
    index_->endHolder(holder_);
    index_->setAccessed("a");
    ASSERT_TRUE(has("b"));
    index_->setLimits({0, 12});
    while (index_->evictSome()) continue;
    EXPECT_TRUE(has("a") && has("b"));
    EXPECT_FALSE(has("c") || has("d"));
    EXPECT_EQ(index_->figures().evictions, 2);
    index_->setLimits({0, 4});  // all held
    EXPECT_FALSE(index_->evictSome());
    EXPECT_EQ(index_->figures().entries, 2);
    index_->endHolder(holder_);
    while (index_->evictSome()) continue;
    EXPECT_EQ(index_->figures().entries, 0);
}

TEST(ZocachedRequest, EndsWhereItsFieldsEnd) {
    using kelvo::test::number;
    using kelvo::test::number64;
    using kelvo::test::text;
    const std::string requests[] = {
        number(0) + text("/dir") + number(3) + number64(-1),
        number(1) + text(""),
        number(2) + text(std::string("\0k", 2)) + text(std::string(kLongestText, 'p')),
        number(3) + text("key") + number(7),
        number(4) + text("key"),
    };
    for (const std::string& request : requests) {
        const Frame frame = frameOf(request + "more");
        EXPECT_EQ(frame.kind, Frame::kWhole);
        EXPECT_EQ(frame.size, request.size());
        EXPECT_EQ(number(frame.opcode), request.substr(0, 4));
        for (std::size_t cut = 0; cut < request.size(); cut += cut < 40 ? 1 : 997)
            EXPECT_EQ(frameOf(std::string_view(request).substr(0, cut)).kind, Frame::kPartial);
    }
    for (std::int32_t opcode : {5, -1, 0x54534F50}) {
        EXPECT_EQ(frameOf(number(opcode) + "x").kind, Frame::kUnknown);
        EXPECT_EQ(frameOf(number(opcode)).size, 4u);
    }
    for (std::int32_t length : {-1, static_cast<std::int32_t>(kLongestText) + 1, 0x7FFFFFFF}) {
        EXPECT_EQ(frameOf(number(1) + number(length)).kind, Frame::kMalformed);
        EXPECT_EQ(frameOf(number(2) + text("k") + number(length)).kind, Frame::kMalformed);
    }
}

}  // namespace
