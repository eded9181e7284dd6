// ls: the names of one directory, filtered, sorted and handed over at once.
#include "anvil/dir.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <regex.h>

#include "base/errno_guard.hpp"
#include "fs/dir_entries.hpp"

namespace {

constexpr uint32_t kGrowStep = 128;

struct NameList {
    char **names = nullptr;
    uint32_t count = 0;

    // Returns 0 or an errno value.
    int append(const char *name)
    {
        if (count % kGrowStep == 0) {
            void *grown = std::realloc(names, (count + kGrowStep) * sizeof *names);
            if (!grown)
                return errno;
            names = static_cast<char **>(grown);
        }
        char *copy = ::strdup(name);
        if (!copy)
            return errno;
        names[count++] = copy;
        return 0;
    }

    void release()
    {
        while (count > 0)
            std::free(names[--count]);
        std::free(names);
    }
};

int compare_names(const void *a, const void *b)
{
    return std::strcmp(*static_cast<char *const *>(a), *static_cast<char *const *>(b));
}

// Collects the names of dir that filter keeps. Returns 0 or an errno value.
int collect(DIR *dir, const regex_t *filter, NameList *list)
{
    int err = 0;
    dirent storage;
    while (dirent *e = anvil::next_entry(dir, &storage, &err)) {
        if (filter && ::regexec(filter, e->d_name, 0, nullptr, 0) != 0)
            continue;
        if ((err = list->append(e->d_name)) != 0)
            return err;
    }
    return err;
}

}  // namespace

int ls(const char *directory, const char *pattern, int sort, ls_callback consumer, void *arg)
{
    if (!consumer)
        return anvil::fail(EINVAL);
    // Zeroed: glibc's regcomp can fail before setting every field that
    // regfree releases.
    regex_t re{};
    const regex_t *filter = nullptr;
    if (pattern && *pattern) {
        int rc = ::regcomp(&re, pattern, REG_EXTENDED | REG_NOSUB);
        if (rc != 0) {
            ::regfree(&re);
            return anvil::fail(EINVAL);
        }
        filter = &re;
    }
    NameList list;
    int err = 0;
    DIR *dir = ::opendir(directory);
    if (!dir) {
        err = errno;
    } else {
        err = collect(dir, filter, &list);
        (void)::closedir(dir);  // read-only stream: its close changes nothing
    }
    if (err == 0 && list.count > 0) {
        if (sort)
            std::qsort(list.names, list.count, sizeof *list.names, compare_names);
        consumer(arg, list.names, list.count);
    }
    list.release();
    if (filter)
        ::regfree(&re);
    return err ? anvil::fail(err) : 0;
}
