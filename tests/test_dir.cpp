#include <anvil/dir.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "support/scratch_dir.hpp"

namespace fs = std::filesystem;
using anvil_test::failure;

namespace {

class Dir : public anvil_test::ScratchTest {};

struct Listing {
    int calls = 0;
    std::vector<std::string> names;
};

void record(void *arg, char **names, uint32_t count)
{
    auto *l = static_cast<Listing *>(arg);
    anvil_test::disarm_alloc_failure();  // the test's own copy must not fail
    ++l->calls;
    l->names.assign(names, names + count);
}

TEST_F(Dir, FiltersAndSortsEveryKindOfEntry)
{
    for (const char *name : {"b", "a", "B", "ab", ".hidden", "ba"})
        anvil_test::write_file(path(name), "");
    fs::create_directory(path("sub"));
    fs::create_symlink("nowhere", path("link"));
    struct Case {
        const char *pattern;
        int sort;
        std::vector<std::string> names;  // empty: the consumer is not called
    } cases[] = {
        {nullptr, 1, {".hidden", "B", "a", "ab", "b", "ba", "link", "sub"}},
        {"", 1, {".hidden", "B", "a", "ab", "b", "ba", "link", "sub"}},
        {"^a", 1, {"a", "ab"}}, {"a$", 1, {"a", "ba"}}, {"^zz", 1, {}},
        {"b", 0, {"ab", "b", "ba", "sub"}},  // unanchored; compared unsorted
    };
    for (const Case &c : cases) {
        Listing l;
        ASSERT_EQ(ls(path("").c_str(), c.pattern, c.sort, record, &l), 0);
        EXPECT_EQ(l.calls, c.names.empty() ? 0 : 1);
        if (!c.sort)
            std::sort(l.names.begin(), l.names.end());
        EXPECT_EQ(l.names, c.names) << (c.pattern ? c.pattern : "NULL");
    }
}

TEST_F(Dir, RefusesOrFindsNothingWithoutCallingTheConsumer)
{
    anvil_test::write_file(path("file"), "");
    fs::create_directory(path("empty"));
    struct Case {
        std::string dir;
        const char *pattern;
        bool consumer;
        int error;
    } cases[] = {
        {path(""), "(", true, EINVAL},
        {path(""), nullptr, false, EINVAL},
        {path("missing"), nullptr, true, ENOENT},
        {path("file"), nullptr, true, ENOTDIR},
        {path("empty"), nullptr, true, 0},
    };
    for (const Case &c : cases) {
        Listing l;
        EXPECT_EQ(failure(ls(c.dir.c_str(), c.pattern, 1, c.consumer ? record : nullptr, &l)), c.error)
            << c.dir;
        EXPECT_EQ(l.calls, 0);
    }
}

// All 129 names arrive sorted, in one call.
TEST_F(Dir, HandsOverAllNamesAtOnce)
{
    std::vector<std::string> want;
    for (int i = 0; i < 129; ++i) {
        want.push_back("n" + std::to_string(1000 + i * 7 % 129));
        anvil_test::write_file(path(want.back()), "");
    }
    std::sort(want.begin(), want.end());
    const std::string dir = path("");
    Listing l;  // failed allocations are the reliability matrix's
    EXPECT_EQ(ls(dir.c_str(), nullptr, 1, record, &l), 0);
    EXPECT_TRUE(l.calls == 1 && l.names == want);
}

}  // namespace
