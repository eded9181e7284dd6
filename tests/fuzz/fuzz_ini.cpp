// Loads every input as an INI file from a memfd and checks the result, the
// iteration and the lookups against the line-by-line model.
#include <anvil/ini.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/ini_model.hpp"

using anvil_test::IniEntry;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int fd = memfd_create("fuzz.ini", 0);
    if (fd == -1 || ftruncate(fd, 0) != 0 ||
        pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))
        abort();
    char path[32];
    snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    ini_parser_config config{path, size != 0 ? data[size - 1] % 12u : 7u};
    ini_parser *p = ini_parser_create_by_config(&config);
    int error = p ? 0 : errno;
    anvil_test::IniModel want = anvil_test::ini_model({reinterpret_cast<const char *>(data), size});
    if (error != want.error)
        abort();
    if (!p)
        return 0;
    std::vector<IniEntry> got;
    ini_parser_foreach(p, [](void *arg, const char *s, const char *k, const char *v) {
        static_cast<std::vector<IniEntry> *>(arg)->push_back({s, k, v});
    }, &got);
    if (got != want.entries)
        abort();
    std::map<std::pair<std::string, std::string>, std::string> last;
    for (const IniEntry &e : got)
        last[{e.section, e.key}] = e.value;
    for (const auto &[pair, value] : last) {
        const char *v = ini_parser_string(p, pair.first.c_str(), pair.second.c_str(), nullptr);
        if (!v || value != v)
            abort();
    }
    ini_parser_destroy(p);
    return 0;
}
