// Results that outlive the program: a table of primes is computed once and kept in a file, where
// later runs, and other programs of the same user, find it by its key.
// usage: example_cache DIRECTORY [LIMIT]
#include <Base/zo_os_file.h>
#include <KelvoBase/file_cache.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string primesUpTo(int limit) {
    std::vector<bool> composite(static_cast<std::size_t>(limit) + 1);
    std::string text;
    for (std::size_t i = 2; i < composite.size(); ++i) {
        if (composite[i]) continue;
        text += std::to_string(i) + '\n';
        for (std::size_t j = i * i; j < composite.size(); j += i) composite[j] = true;
    }
    return text;
}

// The table from the cache, or computed and entered there.
std::string cachedPrimes(zoKelvoBase::FileCache& cache, int limit) {
    const zoString::CString key = "primes up to " + std::to_string(limit);
    if (const zo::Reference<zoKelvoBase::FileCacheItem> item = cache.find(key)) {
        std::cout << "found " << item->key() << '\n';
        std::ifstream file(item->path().c_str());
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::cout << "computing " << key << '\n';
    const std::string text = primesUpTo(limit);
    const zoString::CString path = cache.generatePath();
    if (std::ofstream(path.c_str()) << text << std::flush) cache.add(key, path);
    return text;
}

}  // namespace

int main(int count, char** arguments) {
    const char* directory = count > 1 ? arguments[1] : "example_cache_files";
    const int wanted = count > 2 ? std::atoi(arguments[2]) : 1000;
    const int limit = std::max(wanted, 2);
    zoUtil::Error error = zoOS::File(directory).makeDirectoryAll();
    zoKelvoBase::FileCache cache;
    constexpr int kEntries = 100;
    constexpr int64 kBytes = 64 << 20;
    if (!error) error = cache.initialize(directory, kEntries, kBytes);
    if (error) std::cerr << "no cache: " << error.message() << '\n';
    const std::string primes = error ? primesUpTo(limit) : cachedPrimes(cache, limit);
    const std::size_t last = primes.find_last_of('\n', primes.size() - 2);
    std::cout << "the largest is " << primes.substr(last == std::string::npos ? 0 : last + 1);
}
