// A plain line-by-line reading of the INI format, to check the in-place
// parser against: what it should yield for any input.
#pragma once

#include <cctype>
#include <cerrno>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace anvil_test {

struct IniEntry {
    std::string section, key, value;
    bool operator==(const IniEntry &) const = default;
};

inline std::ostream &operator<<(std::ostream &os, const IniEntry &e)
{
    return os << '[' << e.section << "] " << e.key << '=' << e.value;
}

struct IniModel {
    int error = 0;  // ENOEXEC for a malformed file, and then no entries
    std::vector<IniEntry> entries;
};

inline IniModel malformed()
{
    return {ENOEXEC, {}};
}

// As a C string would read it: up to the first NUL.
inline std::string c_str_of(std::string_view s)
{
    return std::string(s.substr(0, s.find('\0')));
}

inline bool model_space(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

inline std::string_view strip(std::string_view s)
{
    while (!s.empty() && model_space(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && model_space(s.back()))
        s.remove_suffix(1);
    return s;
}

inline IniModel ini_model(std::string_view text)
{
    IniModel m;
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        text.remove_prefix(3);
    std::string section;
    while (!text.empty()) {
        if (model_space(text.front())) {
            text.remove_prefix(1);
            continue;
        }
        size_t nl = text.find('\n');
        std::string_view line = text.substr(0, nl);
        text.remove_prefix(nl == text.npos ? text.size() : nl + 1);
        if (line[0] == ';' || line[0] == '#')
            continue;
        if (line[0] == '[') {
            size_t close = line.find(']');
            if (close == line.npos || strip(line.substr(1, close - 1)).empty())
                return malformed();
            section = c_str_of(strip(line.substr(1, close - 1)));
            continue;
        }
        size_t eq = line.find('=');
        if (eq == line.npos || eq == 0)
            return malformed();
        std::string_view value = line.substr(eq + 1);
        value = value.substr(0, value.find_first_of(";#"));
        m.entries.push_back({section, c_str_of(strip(line.substr(0, eq))), c_str_of(strip(value))});
    }
    return m;
}

}  // namespace anvil_test
