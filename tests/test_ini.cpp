#include <anvil/hash.h>
#include <anvil/ini.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "text/ini_parser.hpp"  // white-box: bucket count and chain links
#include "support/test_support.hpp"

namespace fs = std::filesystem;

namespace {

struct Loaded {
    ini_parser *p = nullptr;
    int error = 0;
    explicit Loaded(const fs::path &path, uint32_t bits = 7)
    {
        ini_parser_config config{path.c_str(), bits};
        p = ini_parser_create_by_config(&config);
        error = p ? 0 : errno;
    }
    ~Loaded() { if (p) ini_parser_destroy(p); }
};

class Ini : public ::testing::Test {
protected:
    void TearDown() override
    {
        fs::remove(path_);
        EXPECT_EQ(anvil_test::open_fd_count(), fds_) << "descriptor leaked";
    }
    const fs::path &write(const std::string &content)
    {
        std::ofstream(path_, std::ios::binary) << content;
        return path_;
    }
    int fds_ = anvil_test::open_fd_count();
    fs::path path_ = fs::temp_directory_path() / ("anvil_ini_" + std::to_string(getpid()));
};

using Entry = std::array<const char *, 3>;  // section, key, value

std::vector<Entry> entries_of(ini_parser *p)
{
    std::vector<Entry> v;
    ini_parser_foreach(p, [](void *arg, const char *s, const char *k, const char *val) {
        static_cast<std::vector<Entry> *>(arg)->push_back({s, k, val});
    }, &v);
    return v;
}

// The .out form: "section\tkey\tvalue" lines, other control, high and '\'
// bytes as \xNN; "error ENOEXEC" for a malformed file.
std::string dump(const Loaded &h)
{
    if (!h.p)
        return h.error == ENOEXEC ? "error ENOEXEC\n" : strerror(h.error);
    std::string out;
    for (const Entry &e : entries_of(h.p)) {
        for (int i = 0; i < 3; ++i) {
            for (const char *c = e[i]; *c; ++c) {
                char hex[8];
                snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(*c));
                out += *c >= 0x20 && *c < 0x7f && *c != '\\' ? std::string(1, *c) : hex;
            }
            out += i < 2 ? '\t' : '\n';
        }
    }
    return out;
}

}  // namespace

// Each format case against its expected entries, walked twice, with 1, 128
// and 1024 buckets; every entry is chained once, in the bucket of djb2 over
// section and key. (Lookups are checked against a model by fuzz_ini.)
TEST_F(Ini, FilesGiveTheExpectedEntries)
{
    int cases = 0;
    for (const auto &f : fs::directory_iterator(fs::path(ANVIL_SOURCE_DIR) / "tests/data/ini")) {
        if (f.path().extension() != ".ini")
            continue;
        std::ifstream out(fs::path(f.path()).replace_extension(".out"), std::ios::binary);
        std::string want{std::istreambuf_iterator<char>(out), {}};
        for (uint32_t bits : {0u, 7u, 99u}) {
            Loaded h(f.path(), bits);
            ASSERT_EQ(dump(h) + dump(h), want + want) << f.path() << " bits " << bits;
            if (!h.p)
                continue;
            uint32_t count = h.p->bucket_count, chained = 0;
            EXPECT_EQ(count, bits == 99 ? 1024u : 1u << bits);
            for (uint32_t b = 0; b < count; ++b) {
                for (ini_entry **link = &h.p->buckets[b]; *link; link = &(*link)->next, ++chained) {
                    EXPECT_EQ((*link)->pprev, link);
                    std::string both = std::string((*link)->section) + (*link)->key;
                    EXPECT_EQ(DJBHash(both.c_str()) & (count - 1), b);
                }
            }
            EXPECT_EQ(chained, entries_of(h.p).size());
        }
        ++cases;
    }
    EXPECT_GE(cases, 20);
}

// Failed calls and allocations are the reliability matrix's; these are the
// sizes it cannot plant.
TEST_F(Ini, SizeFailures)
{
    // sysfs reports a page for files holding a few bytes: the read comes up short.
    if (access("/sys/devices/system/cpu/online", R_OK) == 0)
        EXPECT_EQ(Loaded("/sys/devices/system/cpu/online").error, EBUSY);
    // 4 GiB, sparse: refused before anything is allocated or read.
    ASSERT_EQ(truncate64(write("").c_str(), off64_t{1} << 32), 0);
    EXPECT_EQ(Loaded(path_).error, ENOMEM);
}

// A null callback is never called. A nested iteration exhausts the shared
// cursor: the outer one ends with the run of 32 it was in.
TEST_F(Ini, NestedForeachEndsTheOuterOneWithItsRun)
{
    Loaded h(fs::path(ANVIL_SOURCE_DIR) / "tests/data/ini/many_entries.ini");
    ASSERT_NE(h.p, nullptr);
    ini_parser_foreach(h.p, nullptr, nullptr);
    struct Nest { ini_parser *p; int outer; size_t inner; } nest{h.p, 0, 0};
    ini_parser_foreach(h.p, [](void *arg, const char *, const char *, const char *) {
        auto *n = static_cast<Nest *>(arg);
        if (n->outer++ == 0)
            n->inner = entries_of(n->p).size();
    }, &nest);
    EXPECT_EQ(nest.outer, 32);
    EXPECT_EQ(nest.inner, 70u);
}

// Every typed lookup of each value: int and double convert as atoi and atof,
// hex as a 32-bit strtoul; only the first byte decides a boolean.
TEST_F(Ini, TypedLookups)
{
    const struct { const char *value; uint32_t hex; int hex_errno, boolean; } cases[] = {
        {"8080", 0x8080, 0, 0}, {"42abc", 0x42ABC, 0, 0}, {"-1", ~0u, 0, 0}, {"3.25", 3, 0, 0},
        {"1f", 31, 0, 1}, {"0x1F", 31, 0, 0}, {"0X1f", 31, 0, 0}, {"zz", 0, 0, 0},
        {"FFFFFFFF", ~0u, 0, 0}, {"100000000", ~0u, ERANGE, 1}, {"10000000000000000", ~0u, ERANGE, 1},
        {"2147483647", ~0u, ERANGE, 0}, {"99999999999", ~0u, ERANGE, 0}, {"123456789x", ~0u, ERANGE, 1},
        {"", 0, 0, 0},  // present, not the default
        {"yes", 0, 0, 1}, {"Y", 0, 0, 1}, {"TRUE", 0, 0, 1}, {"t", 0, 0, 1}, {"Tx", 0, 0, 1},
        {"10", 0x10, 0, 1}, {"no", 0, 0, 0}, {"false", 0xFA, 0, 0}, {"on", 0, 0, 0}, {"0", 0, 0, 0},
    };
    std::string text = "[t]\n";
    for (size_t i = 0; i < std::size(cases); ++i)
        text += "k" + std::to_string(i) + " = " + cases[i].value + "\n";
    Loaded h(write(text), 0);  // one bucket: every lookup walks the whole chain
    ASSERT_NE(h.p, nullptr);
    for (size_t i = 0; i < std::size(cases); ++i) {
        const std::string name = "k" + std::to_string(i);
        const char *key = name.c_str(), *value = cases[i].value;
        SCOPED_TRACE(value);
        errno = 0;  // a found pair leaves it alone, but for the conversion's own
        EXPECT_STREQ(ini_parser_string(h.p, "t", key, "dflt"), value);
        EXPECT_EQ(ini_parser_boolean(h.p, "t", key, 5), cases[i].boolean);
        EXPECT_EQ(errno, 0);
        EXPECT_EQ(ini_parser_hex(h.p, "t", key, 5), cases[i].hex);
        EXPECT_EQ(errno, cases[i].hex_errno);
        EXPECT_EQ(ini_parser_int(h.p, "t", key, 5), atoi(value));
        EXPECT_EQ(ini_parser_double(h.p, "t", key, 5), atof(value));
    }
    // A missing pair, matched by exact bytes, gives the default itself and ENOKEY.
    const char *dflt = "d";
    auto missing = [](auto result, auto want) {
        errno = 0;
        EXPECT_EQ(result(), want);
        EXPECT_EQ(errno, ENOKEY);
    };
    missing([&] { return ini_parser_string(h.p, "t", "nope", dflt); }, dflt);
    missing([&] { return ini_parser_string(h.p, "", "k0", nullptr); }, nullptr);
    missing([&] { return ini_parser_int(h.p, "T", "k0", -3); }, -3);
    missing([&] { return ini_parser_hex(h.p, "t", "K0", 0xABu); }, 0xABu);
    missing([&] { return ini_parser_double(h.p, "t", " k0", 1.5); }, 1.5);
    missing([&] { return ini_parser_boolean(h.p, "t", "k0 ", 5); }, 5);
}
