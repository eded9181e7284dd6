// Runs a fuzz target over saved inputs without the fuzzer: every file named,
// and every file in every directory named. A failing input aborts.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fs = std::filesystem;

int main(int argc, char **argv)
{
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        fs::path arg = argv[i];
        auto run = [&](const fs::path &file) {
            std::ifstream in(file, std::ios::binary);
            if (!in)
                std::exit(1);
            std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++inputs;
        };
        if (fs::is_directory(arg)) {
            for (const auto &e : fs::directory_iterator(arg))
                run(e.path());
        } else {
            run(arg);
        }
    }
    std::printf("%d inputs replayed\n", inputs);
    return inputs ? 0 : 1;
}
