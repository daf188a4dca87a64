// Lists beside std::list, GQueue of GLib (when it is there) and std::vector. All hold pointers, all
// are used in the same way: append, go through, find the last item, drain from the head, sort.
// Rows are in items per second; every row checks its result before it is timed.
#include <benchmark/benchmark.h>

#ifdef KELVO_WITH_GLIB
#include <glib.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <list>
#include <random>
#include <vector>

#include "KelvoBase/ds_lists.h"

namespace {

using Items = std::vector<void*>;

void require(bool correct) {
    if (!correct) std::abort();
}

Items randomItems(std::int64_t count) {
    std::mt19937_64 generator(7);
    Items items(static_cast<std::size_t>(count));
    for (void*& item : items) item = reinterpret_cast<void*>(generator() >> 16);
    return items;
}

// --- The contenders: each a list of pointers -----------------------------------------------------

template <DsMethods* (*methods)()>
class Structure {
  public:
    ~Structure() { DS_empty_list(&handle_, nullptr, nullptr, &status_); }
    void append(void* item) { handle_.methods->add(&handle_, item, &status_); }
    std::uintptr_t sum() {
        std::uintptr_t total = 0;
        const DsMethods& m = *handle_.methods;
        for (void* at = m.head(&handle_, &status_); at; at = m.next(&handle_, at, &status_))
            total += reinterpret_cast<std::uintptr_t>(m.get_data(&handle_, at, &status_));
        return total;
    }
    bool contains(void* item) {
        return handle_.methods->find(&handle_, nullptr, item, &status_) != nullptr;
    }
    std::uintptr_t drain() {
        std::uintptr_t total = 0;
        const DsMethods& m = *handle_.methods;
        for (void* at = m.head(&handle_, &status_); at;) {
            void* item = m.get_data(&handle_, at, &status_);
            total += reinterpret_cast<std::uintptr_t>(item);
            at = m.remove(&handle_, item, nullptr, nullptr, &status_);
        }
        return total;
    }
    void sort() {
        handle_.comparator = Ds_default_comparator;
        handle_.methods->sort(&handle_, &status_);
    }

  protected:
    DS handle_ = {1, nullptr, Ds_fifo_comparator, nullptr, methods()};
    int status_ = 0;
};

using Doubly = Structure<Ds_dlist_get_methods>;
using Singly = Structure<Ds_slist_get_methods>;

// The same by callers that name the functions of the kind instead of taking them from its table.
template <class List, auto head, auto next, auto getData, auto remove>
class ByName : public List {
  public:
    std::uintptr_t sum() {
        std::uintptr_t total = 0;
        for (void* at = head(handle(), status()); at; at = next(handle(), at, status()))
            total += reinterpret_cast<std::uintptr_t>(getData(handle(), at, status()));
        return total;
    }
    std::uintptr_t drain() {
        std::uintptr_t total = 0;
        for (void* at = head(handle(), status()); at;) {
            void* item = getData(handle(), at, status());
            total += reinterpret_cast<std::uintptr_t>(item);
            at = remove(handle(), item, nullptr, nullptr, status());
        }
        return total;
    }

  private:
    DS* handle() { return &this->handle_; }
    int* status() { return &this->status_; }
};

using DoublyByName =
    ByName<Doubly, Ds_dlist_head, Ds_dlist_next, Ds_dlist_get_data, Ds_dlist_remove>;
using SinglyByName =
    ByName<Singly, Ds_slist_head, Ds_slist_next, Ds_slist_get_data, Ds_slist_remove>;

// Sorts by a comparator of the caller, which goes through qsort.
int callersComparator(void* a, void* b) {
    return Ds_default_comparator(a, b);
}
class DoublyByQsort : public Doubly {
  public:
    void sort() {
        handle_.comparator = callersComparator;
        handle_.methods->sort(&handle_, &status_);
    }
};

class StdList {
  public:
    void append(void* item) { list_.push_back(item); }
    std::uintptr_t sum() {
        std::uintptr_t total = 0;
        for (void* item : list_) total += reinterpret_cast<std::uintptr_t>(item);
        return total;
    }
    bool contains(void* item) { return std::find(list_.begin(), list_.end(), item) != list_.end(); }
    std::uintptr_t drain() {
        std::uintptr_t total = 0;
        for (; !list_.empty(); list_.pop_front())
            total += reinterpret_cast<std::uintptr_t>(list_.front());
        return total;
    }
    void sort() { list_.sort(std::less<void*>()); }

  private:
    std::list<void*> list_;
};

class StdVector {
  public:
    void append(void* item) { items_.push_back(item); }
    std::uintptr_t sum() {
        std::uintptr_t total = 0;
        for (void* item : items_) total += reinterpret_cast<std::uintptr_t>(item);
        return total;
    }
    bool contains(void* item) {
        return std::find(items_.begin(), items_.end(), item) != items_.end();
    }
    std::uintptr_t drain() {  // what one would do with a vector
        const std::uintptr_t total = sum();
        items_.clear();
        return total;
    }
    void sort() { std::sort(items_.begin(), items_.end(), std::less<void*>()); }

  private:
    Items items_;
};

#ifdef KELVO_WITH_GLIB
class GlibQueue {
  public:
    GlibQueue() { g_queue_init(&queue_); }
    ~GlibQueue() { g_queue_clear(&queue_); }
    GlibQueue(const GlibQueue&) = delete;
    GlibQueue& operator=(const GlibQueue&) = delete;
    void append(void* item) { g_queue_push_tail(&queue_, item); }
    std::uintptr_t sum() {
        std::uintptr_t total = 0;
        for (GList* at = queue_.head; at; at = at->next)
            total += reinterpret_cast<std::uintptr_t>(at->data);
        return total;
    }
    bool contains(void* item) { return g_queue_find(&queue_, item) != nullptr; }
    std::uintptr_t drain() {
        std::uintptr_t total = 0;
        while (!g_queue_is_empty(&queue_))
            total += reinterpret_cast<std::uintptr_t>(g_queue_pop_head(&queue_));
        return total;
    }
    void sort() {
        g_queue_sort(
            &queue_,
            [](const void* a, const void* b, void*) {
                return static_cast<int>(a > b) - static_cast<int>(a < b);
            },
            nullptr);
    }

  private:
    GQueue queue_;
};
#endif

// --- What is timed -------------------------------------------------------------------------------

template <class List>
void fill(List& list, const Items& items) {
    for (void* item : items) list.append(item);
}

std::uintptr_t sumOf(const Items& items) {
    std::uintptr_t total = 0;
    for (void* item : items) total += reinterpret_cast<std::uintptr_t>(item);
    return total;
}

void perItem(benchmark::State& state) {
    const auto items = static_cast<double>(state.iterations() * state.range(0));
    state.counters["per_item"] =
        benchmark::Counter(items, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <class List>
void append(benchmark::State& state) {
    const Items items = randomItems(state.range(0));
    for (auto _ : state) {
        List list;
        fill(list, items);
        state.PauseTiming();
        require(list.drain() == sumOf(items));
        state.ResumeTiming();
    }
    perItem(state);
}

template <class List>
void iterate(benchmark::State& state) {
    const Items items = randomItems(state.range(0));
    List list;
    fill(list, items);
    require(list.sum() == sumOf(items));
    for (auto _ : state) benchmark::DoNotOptimize(list.sum());
    perItem(state);
}

template <class List>
void find(benchmark::State& state) {
    const Items items = randomItems(state.range(0));
    List list;
    fill(list, items);
    require(list.contains(items.back()) && !list.contains(&state));
    for (auto _ : state) benchmark::DoNotOptimize(list.contains(items.back()));
    perItem(state);
}

template <class List>
void drain(benchmark::State& state) {
    const Items items = randomItems(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        List list;
        fill(list, items);
        state.ResumeTiming();
        const std::uintptr_t total = list.drain();
        state.PauseTiming();
        require(total == sumOf(items));
        state.ResumeTiming();
    }
    perItem(state);
}

template <class List>
void sort(benchmark::State& state) {
    const Items items = randomItems(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        List list;
        fill(list, items);
        state.ResumeTiming();
        list.sort();
        state.PauseTiming();
        require(list.drain() == sumOf(items));
        state.ResumeTiming();
    }
    perItem(state);
}

// One item to each of a thousand lists in turn.
template <class List>
void interleaved(benchmark::State& state) {
    constexpr std::size_t kLists = 1000;
    const Items items = randomItems(state.range(0));
    for (auto _ : state) {
        std::vector<List> lists(kLists);
        for (std::size_t i = 0; i < items.size(); ++i) lists[i % kLists].append(items[i]);
        state.PauseTiming();
        std::uintptr_t total = 0;
        for (List& list : lists) total += list.sum();
        require(total == sumOf(items));
        lists.clear();
        state.ResumeTiming();
    }
    perItem(state);
}

void add(const char* what, const char* name, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark((std::string(what) + "/" + name).c_str(), run)
        ->Arg(10'000)
        ->Arg(100'000)
        ->Arg(1'000'000)
        ->Unit(benchmark::kMicrosecond);
}

template <class List>
void registerWalks(const char* name) {
    add("iterate", name, iterate<List>);
    add("drain", name, drain<List>);
}

template <class List>
void registerAll(const char* name) {
    registerWalks<List>(name);
    add("append", name, append<List>);
    add("find", name, find<List>);
    add("sort", name, sort<List>);
    add("interleaved", name, interleaved<List>);
}

const int g_registered = [] {
    registerAll<StdList>("std_list");
    registerAll<Doubly>("dlist");
    registerAll<Singly>("slist");
    registerWalks<DoublyByName>("dlist_by_name");
    registerWalks<SinglyByName>("slist_by_name");
#ifdef KELVO_WITH_GLIB
    registerAll<GlibQueue>("GQueue");
#endif
    registerAll<StdVector>("std_vector");
    registerAll<DoublyByQsort>("dlist_callers_comparator");
    return 0;
}();

}  // namespace
