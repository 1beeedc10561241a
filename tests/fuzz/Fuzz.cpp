#include "Fuzz.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

void fuzz::broken(const char* statement, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, statement);
    std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    takeIn({reinterpret_cast<const char*>(data), size});
    return 0;
}

#ifndef QUILLON_FUZZ
/// Without a fuzzer: takes in the files of one folder, one after the other. No file is an error.
int main(int argc, char** argv)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argc == 2 ? argv[1] : ".")) {
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        std::ifstream file(entry.path(), std::ios::binary);
        // Of exactly its size, so that the sanitizer sees who reads beyond it.
        const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
        ++count;
    }
    return count > 0 ? 0 : 1;
}
#endif
