// Runs a target once for each file in the directories named. Fails when there is none.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzz.h"

int main(int count, char** arguments) {
    int runs = 0;
    for (int i = 1; i < count; ++i)
        for (const auto& file : std::filesystem::directory_iterator(arguments[i])) {
            std::ifstream in(file.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(in), {}};
            std::printf("%s\n", file.path().c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
            ++runs;
        }
    std::printf("%d inputs\n", runs);
    return runs > 0 ? 0 : 1;
}
