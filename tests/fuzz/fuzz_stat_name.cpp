// The name field of /proc/<pid>/stat from any text the one read may return:
// the first byte is the output size, the rest the bytes read.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "fs/stat_name.hpp"
#include "model/reader.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    size_t out_size = data[0], got = size - 1 < 511 ? size - 1 : 511;
    // Both buffers exactly as large as the contract allows, so that a step
    // past them is caught.
    std::vector<char> text(got + 1, '?'), out(out_size ? out_size : 1, '#');
    std::copy_n(data + 1, got, text.begin());
    std::string read(text.data(), got);
    read = read.c_str();
    size_t close = read.find(')'), open = read.find('(');
    bool named = close != read.npos && open < close;
    int r = anvil::copy_stat_name(text.data(), got, out.data(), out_size);
    ANVIL_CHECK(named ? r == 0 : r == -1 && errno == EFAULT);
    std::string want(out.size(), '#');
    if (named && out_size) {
        std::string name = read.substr(open + 1, close - open - 1).substr(0, out_size - 1);
        want.replace(0, name.size() + 1, name.c_str(), name.size() + 1);
    }
    ANVIL_CHECK(std::string(out.data(), out.size()) == want);
    return 0;
}
