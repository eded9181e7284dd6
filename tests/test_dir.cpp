#include <anvil/dir.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/scratch_dir.hpp"

using anvil_test::failure;

namespace {

class Dir : public anvil_test::ScratchTest {};

void record(void *arg, char **names, uint32_t count)
{
    static_cast<std::vector<std::string> *>(arg)->assign(names, names + count);
}

// Filters, sorting, the refusals and the names of files, directories and
// links are the fuzz target's; here, names it never makes.
TEST_F(Dir, ListsHiddenNamesAndSortsByByte)
{
    for (const char *name : {"b", "a", "B", ".hidden"})
        anvil_test::write_file(path(name), "");
    std::vector<std::string> names;
    ASSERT_EQ(ls(path("").c_str(), "", 1, record, &names), 0);
    EXPECT_EQ(names, (std::vector<std::string>{".hidden", "B", "a", "b"}));
    EXPECT_EQ(failure(ls(path("").c_str(), nullptr, 1, nullptr, nullptr)), EINVAL);
}

}  // namespace
