// Generates a realistic INI configuration: comment blocks, sections of a few
// dozen keys each, and values of the usual kinds (numbers, hex masks, flags,
// addresses, paths, free text, some with a trailing comment). Deterministic
// for a given size. Lines stay under 200 bytes and never start with white
// space, so that every parser compared reads the same entries.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace anvil_bench {

struct Xorshift {
    uint32_t s = 2463534242u;
    uint32_t operator()(uint32_t n)
    {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        return s % n;
    }
};

inline std::string make_ini(size_t bytes)
{
    static const char *words[] = {"net", "log", "port", "timeout", "device", "buffer", "retry",
                                  "level", "path", "mode", "address", "enable", "limit",
                                  "interval", "user", "channel", "gain", "offset", "name", "mask"};
    Xorshift rnd;
    std::string out = "; generated configuration\n";
    char line[200];
    for (unsigned section = 0; out.size() < bytes; ++section) {
        if (rnd(4) == 0)
            out += "\n# settings of one module\n";
        snprintf(line, sizeof line, "\n[%s.%s_%u]\n", words[rnd(20)], words[rnd(20)], section);
        out += line;
        for (unsigned k = 0, n = 10 + rnd(40); k < n; ++k) {
            int len = snprintf(line, sizeof line, "%s_%s_%s%u = ", words[rnd(20)], words[rnd(20)],
                               words[rnd(20)], k);
            char *v = line + len;
            size_t room = sizeof line - len;
            switch (rnd(7)) {
            case 0: snprintf(v, room, "%u", rnd(100000)); break;
            case 1: snprintf(v, room, "0x%08X", rnd(0x7fffffff)); break;
            case 2: snprintf(v, room, "%s", rnd(2) ? "yes" : "false"); break;
            case 3: snprintf(v, room, "192.168.%u.%u", rnd(256), rnd(256)); break;
            case 4: snprintf(v, room, "/var/lib/%s/%s.conf", words[rnd(20)], words[rnd(20)]); break;
            case 5: snprintf(v, room, "%s %s %s %s", words[rnd(20)], words[rnd(20)], words[rnd(20)],
                             words[rnd(20)]); break;
            default: snprintf(v, room, "%u.%u ; %s", rnd(100), rnd(100), words[rnd(20)]); break;
            }
            out += line;
            out += '\n';
        }
    }
    return out;
}

inline bool write_file(const char *path, const std::string &text)
{
    FILE *f = fopen(path, "wb");
    bool ok = f && fwrite(text.data(), 1, text.size(), f) == text.size();
    return f && fclose(f) == 0 && ok;
}

}  // namespace anvil_bench
