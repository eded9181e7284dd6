// getPathLastComponent on any text, and mkdirp, rm, echo, cat and ls on a
// scratch directory against a model of the tree. Paths are one to four of a
// few names (one hidden, one in upper case, one of 255 bytes) joined by
// single or doubled slashes, with or without a trailing slash, relative to
// the scratch directory or absolute: they never leave it. Input: operations,
// each a code byte and arguments.
#include <anvil/dir.h>
#include <anvil/file.h>
#include <anvil/path.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "model/reader.hpp"
#include "support/test_support.hpp"

namespace fs = std::filesystem;

namespace {

enum Op : uint8_t { LastComponent, Mkdirp, Rm, Echo, Append, Cat, Link, List, kOps };

// What each path relative to the scratch directory holds: a file's content,
// which always ends in a line feed, or one of these.
const std::string kDir = "/", kLink = "@";
using Tree = std::map<std::string, std::string>;

// Listed sorted by byte: ".c", "B", "a", then the long one.
const std::string kNames[] = {"a", "B", ".c", std::string(255, 'l')};

// A path from a byte of flags (components, trailing slash, absolute, doubled
// slashes) and a byte of names.
struct Path {
    std::vector<std::string> prefixes;  // the model's names for each level
    std::string text;
    bool trailing;
    Path(anvil_model::Reader &in, const std::string &scratch)
    {
        uint8_t flags = in.byte(), names = in.byte();
        trailing = flags & 4;
        text = flags & 8 ? scratch + "/" : "";
        for (int i = 0; i <= (flags & 3); ++i, names >>= 2) {
            const char *slash = i == 0 ? "" : flags >> (3 + i) & 1 ? "//" : "/";
            prefixes.push_back((i ? prefixes.back() + "/" : "") + kNames[names & 3]);
            text += slash + kNames[names & 3];
        }
        text += trailing ? "/" : "";
    }
    const std::string &whole() const { return prefixes.back(); }
};

// What a lookup meets first above the last component: 0, or ENOENT for
// nothing or a link (they all lead nowhere), ENOTDIR for a file.
int above(const Tree &t, const Path &p)
{
    for (size_t i = 0; i + 1 < p.prefixes.size(); ++i) {
        auto n = t.find(p.prefixes[i]);
        if (n == t.end() || n->second != kDir)
            return n == t.end() || n->second == kLink ? ENOENT : ENOTDIR;
    }
    return 0;
}

int mkdirp_model(Tree &t, const Path &p)
{
    int e = above(t, p);
    if (e == ENOTDIR)
        return e;
    if (e == ENOENT) {
        // Level by level: existing ones are passed, the one below a link fails.
        for (const std::string &prefix : p.prefixes)
            if (t.emplace(prefix, kDir).first->second != kDir)
                return ENOENT;
        return 0;
    }
    const std::string &n = t.emplace(p.whole(), kDir).first->second;
    // A trailing slash looks through the link and refuses a file.
    return n == kDir ? 0 : !p.trailing ? EEXIST : n == kLink ? ENOENT : ENOTDIR;
}

int rm_model(Tree &t, const Path &p)
{
    if (int e = above(t, p))
        return e == ENOENT ? 0 : e;
    const std::string &w = p.whole();
    for (auto n = t.lower_bound(w); n != t.end() && n->first.compare(0, w.size(), w) == 0;)
        n = n->first.size() == w.size() || n->first[w.size()] == '/' ? t.erase(n) : std::next(n);
    return 0;
}

// The open of echo (create) or cat: the file's content, or the errno, which
// for a directory cat only meets at its read.
int open_model(Tree &t, const Path &p, bool create, std::string **file)
{
    if (int e = above(t, p))
        return e;
    if (create && p.trailing)
        return EISDIR;
    auto n = create ? t.emplace(p.whole(), "").first : t.find(p.whole());
    if (n == t.end() || n->second == kLink)
        return ENOENT;
    *file = &n->second;
    return n->second == kDir ? EISDIR : p.trailing ? ENOTDIR : 0;
}

// The tree on disk, with modes as created under a umask of 0 (else "?").
Tree scan(const std::string &scratch)
{
    Tree disk;
    for (const fs::directory_entry &e : fs::recursive_directory_iterator(scratch)) {
        std::string &n = disk[e.path().lexically_relative(scratch).string()];
        fs::file_status st = e.symlink_status();
        unsigned mode = unsigned(st.permissions());
        if (fs::is_symlink(st))
            n = fs::read_symlink(e.path()) == "nowhere/x" ? kLink : "?";
        else if (fs::is_directory(st))
            n = mode == 0777 ? kDir : "?";
        else if (std::ifstream f{e.path(), std::ios::binary}; mode == 0666)
            n.assign(std::istreambuf_iterator<char>(f), {});
    }
    return disk;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const std::string scratch = [] {
        umask(0);
        atexit([] { fs::remove_all("/tmp/anvil_fuzz_path_" + std::to_string(getpid())); });
        return "/tmp/anvil_fuzz_path_" + std::to_string(getpid());
    }();
    // Relative paths start in the scratch directory, for this input only.
    int back = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fs::remove_all(scratch);
    ANVIL_CHECK(mkdir(scratch.c_str(), 0700) == 0 && chdir(scratch.c_str()) == 0);
    const int fds = anvil_test::open_fd_count();
    anvil_model::Reader in{data, size};
    Tree model;
    while (in.more()) {
        uint8_t op = in.byte() % kOps;
        if (op == LastComponent) {
            // Any text: one trailing slash goes, unless it is all there is.
            std::string text;
            for (int n = in.byte() % 16; n > 0 && in.more(); --n)
                text += char(in.byte());
            text = text.c_str();
            std::string cut = text.size() > 1 && text.back() == '/' ? text.substr(0, text.size() - 1) : text;
            std::vector<char> buf(text.c_str(), text.c_str() + text.size() + 1);
            ANVIL_CHECK(getPathLastComponent(buf.data()) == buf.data() + (text == "/" ? 0 : cut.rfind('/') + 1) &&
                  buf.data() == cut);
            continue;
        }
        Path p(in, scratch);
        int want = 0, got = 0;
        std::string *file = nullptr;
        switch (op) {
        case Mkdirp:
            want = mkdirp_model(model, p);
            got = anvil_test::fails(mkdirp(p.text.c_str()));
            break;
        case Rm:
            want = rm_model(model, p);
            got = anvil_test::fails(rm(p.text.c_str()));
            break;
        case Echo:
        case Append: {
            // Up to 127 bytes, or 600 to 76800.
            uint8_t n = in.byte();
            std::string text(n < 128 ? n : (n - 127) * 600, '\0');
            for (size_t i = 0; i < text.size(); ++i)
                text[i] = char('A' + (i + n) % 26);
            if (!(want = open_model(model, p, true, &file)))
                *file = (op == Append ? *file : "") + text + "\n";
            got = anvil_test::fails(echo(p.text.c_str(), text.c_str(), op == Append));
            break;
        }
        case Cat: {
            want = open_model(model, p, false, &file);
            std::vector<std::string> seen;
            got = anvil_test::fails(cat(p.text.c_str(), [](void *arg, const char *d, uint32_t n) {
                static_cast<std::vector<std::string> *>(arg)->emplace_back(d, n);
            }, &seen));
            ANVIL_CHECK(seen == (want ? std::vector<std::string>{} : std::vector<std::string>{*file + '\0'}));
            break;
        }
        case Link:
            if (above(model, p) || model.count(p.whole()) || p.trailing)
                continue;
            model[p.whole()] = kLink;
            got = anvil_test::fails(symlink("nowhere/x", p.text.c_str()));
            break;
        case List: {
            // A directory's names, filtered by extended expressions that
            // match anywhere, sorted or not; "(" does not compile, and
            // nothing is listed without a consumer.
            static const char *const kPatterns[] = {nullptr, "", "^a", "l$", "B", "("};
            uint8_t how = in.byte();
            const char *pattern = kPatterns[how % 6];
            int e = open_model(model, p, false, &file);
            want = how % 6 == 5 ? EINVAL : e == EISDIR ? 0 : e ? e : ENOTDIR;
            std::vector<std::vector<std::string>> calls, names{{}};
            const std::string dir = p.whole() + "/";
            for (auto n = model.lower_bound(dir); !want && n != model.end() && n->first.starts_with(dir); ++n)
                if (std::string name = n->first.substr(dir.size()); name.find('/') == name.npos &&
                    (!pattern || std::regex_search(name, std::regex(pattern, std::regex::extended))))
                    names[0].push_back(name);
            ANVIL_CHECK(anvil_test::fails(ls(p.text.c_str(), pattern, how & 8, nullptr, nullptr)) == EINVAL);
            got = anvil_test::fails(ls(p.text.c_str(), pattern, how & 8, [](void *arg, char **n, uint32_t count) {
                static_cast<std::vector<std::vector<std::string>> *>(arg)->emplace_back(n, n + count);
            }, &calls));
            if (!(how & 8) && calls.size() == 1)
                std::sort(calls[0].begin(), calls[0].end());
            ANVIL_CHECK(calls == (names[0].empty() ? decltype(calls){} : names));
            break;
        }
        }
        ANVIL_CHECK(got == want && scan(scratch) == model && anvil_test::open_fd_count() == fds);
    }
    ANVIL_CHECK(fchdir(back) == 0 && close(back) == 0);
    return 0;
}
