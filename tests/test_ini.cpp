#include <anvil/ini.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <locale.h>
#include <malloc.h>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "../text/ini_parser.hpp"  // white-box: bucket count and chain links
#include "fuzz/ini_model.hpp"
#include "support/test_support.hpp"

namespace fs = std::filesystem;
using anvil_test::IniEntry;

namespace {

const fs::path kSource = ANVIL_SOURCE_DIR;

struct Handle {
    ini_parser *p = nullptr;
    int error = 0;
    ~Handle() { if (p) ini_parser_destroy(p); }
};

class Ini : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/anvil_ini_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        fds_ = anvil_test::open_fd_count();
    }
    void TearDown() override
    {
        fs::remove_all(dir_);
        EXPECT_EQ(anvil_test::open_fd_count(), fds_) << "descriptor leaked";
    }
    std::string write(const std::string &content)
    {
        std::string path = dir_ / ("f" + std::to_string(files_++) + ".ini");
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static void load_path(Handle &h, const std::string &path, uint32_t bits = 7)
    {
        ini_parser_config config{path.c_str(), bits};
        errno = 0;
        h.p = ini_parser_create_by_config(&config);
        h.error = h.p ? 0 : errno;
    }
    void load(Handle &h, const std::string &content, uint32_t bits = 7)
    {
        load_path(h, write(content), bits);
    }
    fs::path dir_;
    int files_ = 0;
    int fds_ = 0;
};

std::vector<IniEntry> entries_of(ini_parser *p)
{
    std::vector<IniEntry> v;
    ini_parser_foreach(p, [](void *arg, const char *s, const char *k, const char *val) {
        static_cast<std::vector<IniEntry> *>(arg)->push_back({s, k, val});
    }, &v);
    return v;
}

std::string escaped(const std::string &s)
{
    std::string out;
    for (unsigned char c : s) {
        char hex[8];
        snprintf(hex, sizeof hex, "\\x%02x", c);
        out += c < 0x20 || c >= 0x7f || c == '\\' ? hex : std::string(1, char(c));
    }
    return out;
}

std::string dump(const Handle &h)
{
    if (!h.p)
        return h.error == ENOEXEC ? "error ENOEXEC\n" : "error " + std::to_string(h.error) + "\n";
    std::string out;
    for (const IniEntry &e : entries_of(h.p))
        out += escaped(e.section) + "\t" + escaped(e.key) + "\t" + escaped(e.value) + "\n";
    return out;
}

std::string slurp(const fs::path &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Every lookup finds the last occurrence, and every chain is linked newest
// first in the bucket its hash names, with back-links that match.
void check_index(ini_parser *p, const std::vector<IniEntry> &entries)
{
    std::map<std::pair<std::string, std::string>, std::string> last;
    for (const IniEntry &e : entries)
        last[{e.section, e.key}] = e.value;
    for (const auto &[pair, value] : last) {
        errno = 0;
        EXPECT_STREQ(ini_parser_string(p, pair.first.c_str(), pair.second.c_str(), nullptr),
                     value.c_str());
        EXPECT_EQ(errno, 0);
    }
    size_t chained = 0;
    for (uint32_t b = 0; b < p->bucket_count; ++b) {
        ini_entry **link = &p->buckets[b];
        for (ini_entry *e = *link; e; link = &e->next, e = e->next, ++chained) {
            EXPECT_EQ(e->pprev, link);
            EXPECT_EQ(anvil::ini_hash(e->section, e->key, p->bucket_count), b);
            if (e->next)
                EXPECT_LT(e->next, e);  // older entries were written first
        }
    }
    EXPECT_EQ(chained, entries.size());
}

}  // namespace

TEST_F(Ini, FormatCasesGiveTheExpectedEntries)
{
    int cases = 0;
    for (const auto &f : fs::directory_iterator(kSource / "tests/data/ini")) {
        if (f.path().extension() != ".ini")
            continue;
        ++cases;
        fs::path expected = f.path();
        expected.replace_extension(".out");
        for (uint32_t bits : {0u, 7u, 99u}) {
            Handle h;
            load_path(h, f.path(), bits);
            EXPECT_EQ(dump(h), slurp(expected)) << f.path() << " with hash_bits " << bits;
            if (h.p) {
                EXPECT_EQ(h.p->bucket_count, bits == 99 ? 1024u : 1u << bits);
                check_index(h.p, entries_of(h.p));
            }
        }
    }
    EXPECT_GE(cases, 20);
}

TEST_F(Ini, FuzzSeedsMatchTheModel)
{
    std::vector<fs::path> seeds;
    for (const char *dir : {"tests/fuzz/ini", "tests/data/ini"}) {
        for (const auto &f : fs::directory_iterator(kSource / dir))
            if (f.path().extension() != ".out")
                seeds.push_back(f.path());
    }
    for (const fs::path &f : seeds) {
        std::string text = slurp(f);
        anvil_test::IniModel want = anvil_test::ini_model(text);
        Handle h;
        load(h, text);
        EXPECT_EQ(h.error, want.error) << f;
        if (h.p)
            EXPECT_EQ(entries_of(h.p), want.entries) << f;
    }
}

TEST_F(Ini, WhiteSpaceIsTheLocalesClassForEveryByte)
{
    std::string text;
    for (int b = 1; b < 256; ++b) {
        if (std::strchr("\n;#=[]", b))
            continue;
        char key[8];
        snprintf(key, sizeof key, "k%02x", b);
        text += key + std::string{char(b), '=', char(b), 'v', char(b), '\n'};
    }
    for (const char *name : {"C", "C.UTF-8"}) {
        locale_t loc = newlocale(LC_ALL_MASK, name, nullptr);
        ASSERT_NE(loc, nullptr);
        locale_t old = uselocale(loc);
        Handle h;
        load(h, text);
        ASSERT_NE(h.p, nullptr) << name;
        for (const IniEntry &e : entries_of(h.p)) {
            int b = std::stoi(e.key.substr(1, 2), nullptr, 16);
            std::string sp(std::isspace(b) ? "" : std::string(1, char(b)));
            EXPECT_EQ(e.key.substr(3), sp) << name << " byte " << b;
            EXPECT_EQ(e.value, sp + "v" + sp) << name << " byte " << b;
        }
        uselocale(old);
        freelocale(loc);
    }
}

TEST_F(Ini, SystemFailures)
{
    Handle missing, dir, shrank;
    load_path(missing, dir_ / "absent.ini");
    EXPECT_EQ(missing.error, ENOENT);
    load_path(dir, dir_);
    EXPECT_EQ(dir.error, EISDIR);  // open and fstat succeed, the read fails
    // sysfs reports a page for files that hold a few bytes: the read comes up short.
    const char *sys = "/sys/devices/system/cpu/online";
    if (access(sys, R_OK) != 0)
        GTEST_SKIP() << "no " << sys;
    load_path(shrank, sys);
    EXPECT_EQ(shrank.error, EBUSY);
}

TEST_F(Ini, EveryFailedAllocationReleasesEverything)
{
    std::string text;
    for (int i = 0; i < 300; ++i)  // ten chunks of entries: the chunk table doubles
        text += (i % 50 == 0 ? "[s" + std::to_string(i) + "]\n" : "") + "k" +
                std::to_string(i) + " = v\n";
    std::string path = write(text);
    // Blocks in the allocator's per-thread cache count as in use: the heap
    // balance is exact only without it (ctest turns it off for this program).
    const char *tunables = getenv("GLIBC_TUNABLES");
    bool exact = tunables && strstr(tunables, "tcache_count=0");
    size_t before = mallinfo2().uordblks;
    int n = 0;
    for (;; ++n) {
        anvil_test::fail_alloc_after(n);
        errno = 0;
        ini_parser *p = ini_parser_create(path.c_str());
        int err = errno;
        int calls = anvil_test::alloc_calls();
        anvil_test::disarm_alloc_failure();
        if (p) {
            // handle, text, buckets, stream and its table, 10 chunks, one table growth
            EXPECT_EQ(calls, 16);
            EXPECT_EQ(entries_of(p).size(), 300u);
            ini_parser_destroy(p);
            break;
        }
        EXPECT_EQ(err, ENOMEM) << "allocation " << n;
        ASSERT_LT(n, 100);
    }
    EXPECT_EQ(n, 16);
    if (exact)
        EXPECT_EQ(mallinfo2().uordblks, before);
}

TEST_F(Ini, TypedLookups)
{
    Handle h;
    load(h, "top = 7\n[net]\nport = 8080\nPort = 1\nint = 42abc\nneg = -12\n"
            "h1 = 1f\nh2 = 0x1F\nh3 = 0X1f\nhzz = zz\nhbig = 100000000\nhneg = -1\n"
            "hmax = FFFFFFFF\npi = 3.25\nempty =\nk = 1\nk = 2\n[other]\nport = 9\n");
    ini_parser *p = h.p;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(ini_parser_int(p, "", "top", 0), 7);
    EXPECT_EQ(ini_parser_int(p, "net", "port", 0), 8080);
    EXPECT_EQ(ini_parser_int(p, "net", "Port", 0), 1);
    EXPECT_EQ(ini_parser_int(p, "other", "port", 0), 9);
    EXPECT_EQ(ini_parser_int(p, "net", "int", 0), 42);
    EXPECT_EQ(ini_parser_int(p, "net", "neg", 0), -12);
    EXPECT_EQ(ini_parser_int(p, "net", "k", 0), 2);
    EXPECT_EQ(ini_parser_hex(p, "net", "h1", 0), 31u);
    EXPECT_EQ(ini_parser_hex(p, "net", "h2", 0), 31u);
    EXPECT_EQ(ini_parser_hex(p, "net", "h3", 0), 31u);
    EXPECT_EQ(ini_parser_hex(p, "net", "hzz", 5), 0u);
    errno = 0;
    EXPECT_EQ(ini_parser_hex(p, "net", "hmax", 0), 0xFFFFFFFFu);
    EXPECT_EQ(ini_parser_hex(p, "net", "hneg", 0), 0xFFFFFFFFu);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(ini_parser_hex(p, "net", "hbig", 0), 0xFFFFFFFFu);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(ini_parser_double(p, "net", "pi", 0), 3.25);
    // An empty value is present: not the default.
    EXPECT_STREQ(ini_parser_string(p, "net", "empty", "dflt"), "");
    EXPECT_EQ(ini_parser_int(p, "net", "empty", 5), 0);
    EXPECT_EQ(ini_parser_hex(p, "net", "empty", 5), 0u);
    EXPECT_EQ(ini_parser_double(p, "net", "empty", 5), 0.0);
    EXPECT_EQ(ini_parser_boolean(p, "net", "empty", 5), 0);
    // Missing pairs: the default itself, and ENOKEY.
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
    missing([&] { return ini_parser_double(p, "other", "pi", 1.5); }, 1.5);
    missing([&] { return ini_parser_boolean(p, "net", "port ", 5); }, 5);
}

TEST_F(Ini, BooleanLooksAtTheFirstByteOnly)
{
    const char *truths[] = {"yes", "Yes", "YES", "true", "True", "TRUE", "y", "t", "1", "10", "Tx"};
    const char *lies[] = {"no", "false", "off", "on", "0", "n", "2", "-1"};
    std::string text;
    for (const char *v : truths)
        text += std::string("[t]\n") + v + "=" + v + "\n";
    for (const char *v : lies)
        text += std::string("[f]\n") + v + "=" + v + "\n";
    Handle h;
    load(h, text);
    ASSERT_NE(h.p, nullptr);
    for (const IniEntry &e : entries_of(h.p))
        EXPECT_EQ(ini_parser_boolean(h.p, e.section.c_str(), e.key.c_str(), 7), e.section == "t")
            << e.value;
}

TEST_F(Ini, ForeachVisitsEveryEntryInFileOrderAcrossChunks)
{
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += "k=" + std::to_string(i) + "\n";
    Handle h, empty;
    load(h, text);
    load(empty, "; nothing\n");
    ASSERT_TRUE(h.p && empty.p);
    ini_parser_foreach(h.p, nullptr, nullptr);
    EXPECT_TRUE(entries_of(empty.p).empty());
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<IniEntry> v = entries_of(h.p);
        ASSERT_EQ(v.size(), 100u);
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(v[i].value, std::to_string(i));
    }
    // A nested iteration exhausts the shared cursor: the outer one ends with
    // the run of 32 it was in.
    struct Nest { ini_parser *p; int outer; size_t inner; } nest{h.p, 0, 0};
    ini_parser_foreach(h.p, [](void *arg, const char *, const char *, const char *) {
        auto *n = static_cast<Nest *>(arg);
        if (n->outer++ == 0)
            n->inner = entries_of(n->p).size();
    }, &nest);
    EXPECT_EQ(nest.outer, 32);
    EXPECT_EQ(nest.inner, 100u);
}
