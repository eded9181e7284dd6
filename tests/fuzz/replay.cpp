// Runs a fuzz target over saved inputs without the fuzzer: every file named,
// and every file in every directory named. A failing input aborts.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fs = std::filesystem;

int main(int argc, char **argv)
{
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        if (fs::is_directory(argv[i]))
            files.insert(files.end(), fs::directory_iterator(argv[i]), fs::directory_iterator());
        else
            files.emplace_back(argv[i]);
    }
    for (const fs::path &file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in)
            return 1;
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs replayed\n", files.size());
    return files.empty();
}
