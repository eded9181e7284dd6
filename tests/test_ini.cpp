#include <anvil/hash.h>
#include <anvil/ini.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "../text/ini_parser.hpp"  // white-box: bucket count and chain links
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

// Each format case against its expected entries, with 1, 128 and 1024
// buckets; lookups give the value of the last occurrence itself, and every
// entry is chained once, in the bucket of djb2 over section and key.
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
            ASSERT_EQ(dump(h), want) << f.path() << " bits " << bits;
            if (!h.p)
                continue;
            std::vector<Entry> all = entries_of(h.p);
            for (size_t i = 0; i < all.size(); ++i) {
                const char *last = all[i][2];
                for (size_t j = i + 1; j < all.size(); ++j)
                    if (!strcmp(all[j][0], all[i][0]) && !strcmp(all[j][1], all[i][1]))
                        last = all[j][2];
                EXPECT_EQ(ini_parser_string(h.p, all[i][0], all[i][1], nullptr), last);
            }
            uint32_t count = h.p->bucket_count, chained = 0;
            EXPECT_EQ(count, bits == 99 ? 1024u : 1u << bits);
            for (uint32_t b = 0; b < count; ++b) {
                for (ini_entry **link = &h.p->buckets[b]; *link; link = &(*link)->next, ++chained) {
                    EXPECT_EQ((*link)->pprev, link);
                    std::string both = std::string((*link)->section) + (*link)->key;
                    EXPECT_EQ(DJBHash(both.c_str()) & (count - 1), b);
                }
            }
            EXPECT_EQ(chained, all.size());
        }
        ++cases;
    }
    EXPECT_GE(cases, 20);
}

TEST_F(Ini, SystemFailures)
{
    EXPECT_EQ(Loaded(path_).error, ENOENT);
    EXPECT_EQ(Loaded(ANVIL_SOURCE_DIR).error, EISDIR);  // open and fstat succeed, the read fails
    // sysfs reports a page for files holding a few bytes: the read comes up short.
    if (access("/sys/devices/system/cpu/online", R_OK) == 0)
        EXPECT_EQ(Loaded("/sys/devices/system/cpu/online").error, EBUSY);
    // 4 GiB, sparse: refused before anything is allocated or read.
    ASSERT_EQ(truncate64(write("").c_str(), off64_t{1} << 32), 0);
    EXPECT_EQ(Loaded(path_).error, ENOMEM);
}

// Ten chunks of entries: the iteration crosses chunk boundaries.
TEST_F(Ini, ForeachCrossesChunks)
{
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += (i % 50 ? "" : "[s" + std::to_string(i) + "]\n") + "k=" + std::to_string(i) + "\n";
    write(text);
    // Failed allocations are the reliability matrix's; here, the walk.
    ini_parser *p = ini_parser_create(path_.c_str());
    ASSERT_NE(p, nullptr);
    ini_parser_foreach(p, nullptr, nullptr);
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<Entry> v = entries_of(p);
        ASSERT_EQ(v.size(), 300u);
        for (int i = 0; i < 300; ++i)
            EXPECT_EQ(v[i][2], std::to_string(i));
    }
    // A nested iteration exhausts the shared cursor: the outer one ends with
    // the run of 32 it was in.
    struct Nest { ini_parser *p; int outer; size_t inner; } nest{p, 0, 0};
    ini_parser_foreach(p, [](void *arg, const char *, const char *, const char *) {
        auto *n = static_cast<Nest *>(arg);
        if (n->outer++ == 0)
            n->inner = entries_of(n->p).size();
    }, &nest);
    EXPECT_EQ(nest.outer, 32);
    EXPECT_EQ(nest.inner, 300u);
    ini_parser_destroy(p);
}

TEST_F(Ini, TypedLookups)
{
    Loaded h(write("[net]\nport = 8080\nPort = 1\nint = 42abc\nneg = -12\nh1 = 1f\nh2 = 0x1F\n"
                   "h3 = 0X1f\nhzz = zz\nhbig = 100000000\nhhuge = 10000000000000000\nhneg = -1\nhmax = FFFFFFFF\npi = 3.25\n"
                   "empty =\nd9 = 123456789x\nd10 = 2147483647\nd11 = 99999999999\n[bool]\nt1 = yes\nt2 = TRUE\nt3 = y\nt4 = t\nt5 = Tx\nt6 = 10\n"
                   "f1 = no\nf2 = false\nf3 = on\nf4 = 0\nf5 = n\n"));
    ini_parser *p = h.p;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(ini_parser_int(p, "net", "port", 0) + ini_parser_int(p, "net", "Port", 0), 8081);
    EXPECT_EQ(ini_parser_int(p, "net", "int", 0) + ini_parser_int(p, "net", "neg", 0), 30);
    for (const char *k : {"d9", "d10", "d11", "hzz", "hneg", "pi"})  // the cases converted inline
        EXPECT_EQ(ini_parser_int(p, "net", k, 0), atoi(ini_parser_string(p, "net", k, ""))) << k;
    EXPECT_EQ(ini_parser_hex(p, "net", "h1", 0) + ini_parser_hex(p, "net", "h2", 0) +
              ini_parser_hex(p, "net", "h3", 0) + ini_parser_hex(p, "net", "hzz", 5), 93u);
    errno = 0;  // strtoul on a 32-bit long, wherever long is wider
    EXPECT_EQ(ini_parser_hex(p, "net", "hmax", 0) & ini_parser_hex(p, "net", "hneg", 0), ~0u);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(ini_parser_hex(p, "net", "hbig", 0) & ini_parser_hex(p, "net", "hhuge", 0), ~0u);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(ini_parser_double(p, "net", "pi", 0), 3.25);
    // An empty value is present, not the default.
    EXPECT_STREQ(ini_parser_string(p, "net", "empty", "dflt"), "");
    EXPECT_EQ(ini_parser_int(p, "net", "empty", 5) + ini_parser_hex(p, "net", "empty", 5) +
              ini_parser_double(p, "net", "empty", 5) + ini_parser_boolean(p, "net", "empty", 5), 0);
    for (const Entry &e : entries_of(p))  // the first byte decides, whatever follows
        if (!strcmp(e[0], "bool"))
            EXPECT_EQ(ini_parser_boolean(p, "bool", e[1], 7), e[1][0] == 't') << e[2];
    // A missing pair gives the default itself and ENOKEY.
    const char *dflt = "d";
    auto missing = [](auto result, auto want) {
        errno = 0;
        EXPECT_EQ(result(), want);
        EXPECT_EQ(errno, ENOKEY);
    };
    missing([&] { return ini_parser_string(p, "net", "nope", dflt); }, dflt);
    missing([&] { return ini_parser_string(p, "", "port", nullptr); }, nullptr);
    missing([&] { return ini_parser_int(p, "NET", "port", -3); }, -3);
    missing([&] { return ini_parser_hex(p, "net", " port", 0xABu); }, 0xABu);
    missing([&] { return ini_parser_double(p, "bool", "pi", 1.5); }, 1.5);
    missing([&] { return ini_parser_boolean(p, "net", "port ", 5); }, 5);
}
