// Loads every input as an INI file from a memfd and checks the result, the
// iteration and the lookups against a plain line-by-line reading.
#include <anvil/ini.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using Entries = std::vector<std::array<std::string, 3>>;  // section, key, value

// The fuzzer runs in the C locale: these six are its white space.
constexpr std::string_view kSpace = " \t\n\v\f\r";

std::string_view strip(std::string_view s)
{
    size_t first = s.find_first_not_of(kSpace);
    return first == s.npos ? "" : s.substr(first, s.find_last_not_of(kSpace) - first + 1);
}

std::string c_str(std::string_view s)
{
    return std::string(s.substr(0, s.find('\0')));
}

// The entries of text, or false for a malformed file.
bool model(std::string_view text, Entries &out)
{
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        text.remove_prefix(3);
    std::string section;
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
        if (text.empty())
            return true;
        size_t nl = text.find('\n');
        std::string_view line = text.substr(0, nl);
        text.remove_prefix(nl == text.npos ? text.size() : nl + 1);
        if (line[0] == ';' || line[0] == '#')
            continue;
        bool header = line[0] == '[';
        size_t close = line.find(header ? ']' : '=');
        std::string_view name = close == line.npos ? "" : strip(line.substr(header, close - header));
        if (name.empty())
            return false;
        if (header) {
            section = c_str(name);
            continue;
        }
        std::string_view value = line.substr(close + 1);
        out.push_back({section, c_str(name), c_str(strip(value.substr(0, value.find_first_of(";#"))))});
    }
}

}  // namespace

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
    Entries want, got;
    bool ok = model({reinterpret_cast<const char *>(data), size}, want);
    if (!p && (ok || errno != ENOEXEC))
        abort();
    if (!p)
        return 0;
    ini_parser_foreach(p, [](void *arg, const char *s, const char *k, const char *v) {
        static_cast<Entries *>(arg)->push_back({s, k, v});
    }, &got);
    if (!ok || got != want)
        abort();
    std::map<std::pair<std::string, std::string>, std::string> last;
    for (const auto &e : got)
        last[{e[0], e[1]}] = e[2];
    for (const auto &[pair, value] : last) {
        const char *v = ini_parser_string(p, pair.first.c_str(), pair.second.c_str(), nullptr);
        if (!v || value != v)
            abort();
    }
    ini_parser_destroy(p);
    return 0;
}
