// The reliability matrix: every exported function under every fault a
// device meets, as tables of scenarios run by one harness. A scenario
// performs its library calls inside armed(), where the fault under test is
// planted; the harness plants each fault in turn and checks the outcome, the
// errno, the heap and the descriptor table after every run.
#include <anvil.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <fcntl.h>
#include <unistd.h>

#include "support/execd_stub.hpp"
#include "support/isolated_test.hpp"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using anvil_test::open_fd_count;

// The fault planted by the next armed(): the nth call of a system call, or
// every allocation after the first `allocs`.
struct Fault {
    const char *call = nullptr;
    int nth = 0, err = 0, allocs = -1;
} fault;
bool reached;  // the last armed() met the planted fault
int armed_errno;

// Runs f, true on success, with the current fault planted.
template <class F>
bool armed(F f)
{
    if (fault.call)
        anvil_test::fail_call(fault.call, fault.nth, fault.err);
    if (fault.allocs >= 0)
        anvil_test::fail_alloc_after(fault.allocs);
    errno = 0;
    bool ok = f();
    armed_errno = errno;
    reached = fault.call ? anvil_test::disarm_call_failure() : anvil_test::alloc_calls() > fault.allocs;
    anvil_test::disarm_alloc_failure();
    return ok;
}

// For calls that return a descriptor, closed again at once.
template <class F>
bool armed_fd(F f)
{
    int fd = -1;
    bool ok = armed([&] { return (fd = f()) >= 0; });
    if (ok)
        close(fd);
    return ok;
}

struct Pair {
    int fd[2];
    Pair() { socketpair(AF_UNIX, SOCK_STREAM, 0, fd); }
    ~Pair() { close(fd[0]), close(fd[1]); }
};

struct Listener {
    int fd = listenUnTcpSock("matrix");
    ~Listener() { close(fd); }
};

// Exported names a scenario covers, space-separated, and its run. A scenario
// that absorbs failures may succeed despite one where its contract says so
// (a process that vanished mid-scan is skipped).
struct Scenario {
    const char *functions;
    bool (*run)();
    bool absorbs = false;
};

// A directory of its own for a scenario, removed with what it holds. Paths
// live in fixed buffers: nothing of the test's own may allocate while armed.
struct Scratch {
    struct Path {
        char s[96];
    };
    Path dir = path("");
    Scratch() { mkdir(dir.s, 0700); }
    ~Scratch() { std::filesystem::remove_all(dir.s); }
    static Path path(const char *name)
    {
        Path p;
        snprintf(p.s, sizeof p.s, "/tmp/anvil_matrix_%d_dir/%s", int(getpid()), name);
        return p;
    }
    Path operator()(const char *name) const { return path(name); }
};

// An INI file of 300 keys: ten chunks of entries, one growth of the chunk table.
const char *big_ini()
{
    static const std::string path = [] {
        std::string p = "/tmp/anvil_matrix_" + std::to_string(getpid()) + ".ini";
        std::ofstream f(p);
        for (int i = 0; i < 300; ++i)
            f << (i % 50 ? "" : "[s" + std::to_string(i) + "]\n") << "k=" << i << "\n";
        return p;
    }();
    return path.c_str();
}

// Made under the fault, released at once.
template <class T>
bool created(T *(*make)(), void (*destroy)(T *))
{
    T *p = nullptr;
    bool ok = armed([&] { return (p = make()) != nullptr; });
    if (p)
        destroy(p);
    return ok;
}

void *word(uintptr_t x) { return reinterpret_cast<void *>(x); }

// Every function that allocates or holds a descriptor, in scenarios. Where
// the contract says a failed call leaves its object as it was, the scenario
// checks that and uses the object again.
const Scenario kScenarios[] = {
    {"listenUnTcpSock", [] { return armed_fd([] { return listenUnTcpSock("m"); }); }},
    {"bindUnUdpSock", [] { return armed_fd([] { return bindUnUdpSock("m"); }); }},
    {"connectUnSock", [] { Listener l; return armed_fd([] { return connectUnSock("matrix", SOCK_STREAM); }); }},
    {"acceptUnTcpSock", [] {
         Listener l;
         int c = connectUnSock("matrix", SOCK_STREAM);
         bool ok = armed_fd([&] { return acceptUnTcpSock(l.fd); });
         close(c);
         return ok;
     }},
    {"readn writen sockreadn sockwriten", [] {
         Pair p;
         char in[8] = {};
         return armed([&] {
             return writen(p.fd[0], "abc", 4) == 4 && readn(p.fd[1], in, 4) == 4 &&
                    sockwriten(p.fd[0], "def", 4) == 4 && sockreadn(p.fd[1], in + 4, 4) == 4;
         }) && !memcmp(in, "abc\0def", 8);
     }},
    {"recvstr", [] {  // a short string, and one of three blocks
         Pair p, q;
         std::string sent(9000, 'x');
         (void)!write(p.fd[0], "hello", 6);
         (void)!write(q.fd[0], sent.c_str(), sent.size() + 1);
         char *s = nullptr, *r = nullptr;
         bool ok = armed([&] { return (s = recvstr(p.fd[1])) && (r = recvstr(q.fd[1])); });
         EXPECT_TRUE((!s || !strcmp(s, "hello")) && (!r || r == sent));
         free(s), free(r);
         return ok;
     }},
    {"readvn writevn writens writevns sockwritens", [] {
         Pair p;
         char out[] = "abcd", in[5] = {};
         iovec w[2] = {{out, 2}, {out + 2, 3}}, r[2] = {{in, 3}, {in + 3, 2}};
         return armed([&] {
             return writevn(p.fd[0], w, 2) == 5 && readvn(p.fd[1], r, 2) == 5 && writens(p.fd[0], 100, out, 5) == 5 &&
                    writevns(p.fd[0], 100, w, 2) == 5 && sockwritens(p.fd[0], 100, out, 5) == 5;
         }) && !strcmp(in, "abcd");
     }},
    {"sendFdAndDataByUnSock recvFdAndDataByUnSock recvFdByUnSock", [] {
         Pair p;
         char buf[4];
         size_t len = sizeof buf;
         int got[2] = {-1, -1};
         bool ok = armed([&] {
             return sendFdAndDataByUnSock(p.fd[0], 0, "a", 1) == 1 && (got[0] = recvFdAndDataByUnSock(p.fd[1], buf, &len)) >= 0 &&
                    sendFdAndDataByUnSock(p.fd[0], 0, "b", 1) == 1 && (got[1] = recvFdByUnSock(p.fd[1])) >= 0;
         });
         for (int fd : got)
             if (fd >= 0)
                 close(fd);
         return ok && len == 1;
     }},
    {"fcntl_setfd fcntl_setfl", [] {
         Pair p;
         return armed([&] { return fcntl_setfd(p.fd[0], FD_CLOEXEC) == 0 && fcntl_setfl(p.fd[0], O_NONBLOCK) == 0; });
     }},
    {"lsystem lsystema waitlsystema", [] {
         anvil_test::ExecdStub daemon;
         int fd = -1;
         bool ok = armed([&] {
             return lsystem("reply 7") == 7 && (fd = lsystema("reply 7")) >= 0 && waitlsystema(fd) == 7;
         });
         if (fd >= 0)
             close(fd);
         return ok;
     }},
    {"echo", [] {
         Scratch d;
         static const std::string longer(300, 'x');  // too long for the line kept on the stack
         return armed([&] { return !echo(d("f").s, "line", 0) && !echo(d("f").s, longer.c_str(), 1); });
     }},
    {"cat", [] {
         Scratch d;  // a first buffer of 4096 bytes, grown twice
         std::ofstream(d("f").s) << std::string(20480, 'z');
         uint32_t seen = 0;
         auto count = [](void *arg, const char *, uint32_t n) { *static_cast<uint32_t *>(arg) = n; };
         return armed([&] { return cat(d("f").s, count, &seen) == 0; }) && seen == 20481;  // and a NUL
     }},
    {"foreachProcess getProcessNameByPid killall", [] {
         int seen = 0;
         char name[32] = "";
         auto count = [](void *arg, int, const char *) { ++*static_cast<int *>(arg); };
         return armed([&] {
             return !foreachProcess(count, &seen) && !getProcessNameByPid(getpid(), name, sizeof name) &&
                    !killall("no such process", 0);
         }) && seen > 0 && name[0];
     }, true},
    {"file_log_create file_log_destroy", [] {
         Scratch d;
         (void)!symlink("elsewhere", d("log").s);  // removed at creation
         file_log *log = nullptr;
         bool ok = armed([&] { return (log = file_log_create(d("log").s, 2, 64)) != nullptr; });
         if (ok)
             file_log_destroy(log);
         return ok;
     }},
    {"file_log_append", [] {
         Scratch d;
         file_log *log = file_log_create(d("log").s, 2, 64);
         armed([&] {
             for (int i = 0; i < 8; ++i)  // rotates
                 file_log_append(log, "line %d", i);
             file_log_append(log, "%ls", L"\xe9");  // unencodable here: no line
             return true;  // it reports nothing
         });
         file_log_destroy(log);
         return true;
     }, true},
    {"touch", [] {
         Scratch d;
         return armed([&] { return !touch(d("t").s) && !touch(d("t").s); });
     }},
    {"mkdirp rm", [] {
         Scratch d;
         mkdir(d("a").s, 0700);  // with a name too long for rm's first path buffer
         std::ofstream(d("a/").s + std::string(255, 'n'));
         std::ofstream(d("a/..x").s);  // no "..": removed with the rest
         return armed([&] {
             return !mkdirp(d("a/b/c").s) && !echo(d("a/b/f").s, "x", 0) && !mkdirp(d("a/d/..").s) &&
                    !rm(d("a").s);
         });
     }},
    {"__copyFile mv", [] {
         Scratch d;
         echo(d("f").s, "text", 0);
         (void)!symlink("f", d("g").s);  // replaced, never written through
         return armed([&] { return !__copyFile(d("f").s, d("g").s, 0) && !mv(d("g").s, d("h").s); });
     }},
    {"ls", [] {
         // The name array grows twice. No pattern: glibc's regcomp itself
         // leaks on some of its allocation failures.
         Scratch d;
         for (int i = 0; i < 129; ++i)
             std::ofstream(d(std::to_string(i).c_str()).s);
         uint32_t names = 0;
         auto count = [](void *arg, char **, uint32_t n) { *static_cast<uint32_t *>(arg) = n; };
         return armed([&] { return ls(d("").s, nullptr, 1, count, &names) == 0; }) && names == 129;
     }},
    {"array_stream_create array_stream_destroy",
     [] { return created<array_stream>([] { return array_stream_create(4, 8); }, array_stream_destroy); }},
    {"array_stream_write", [] {
         array_stream *s = array_stream_create(4, 1);  // a chunk per element: the table doubles too
         uint32_t n = 1, granted = 0;
         bool ok = armed([&] {
             for (; granted < 20; ++granted)
                 if (!array_stream_write(s, &n))
                     return false;
             return true;
         });
         EXPECT_EQ(array_stream_length(s), granted);
         EXPECT_TRUE(array_stream_write(s, &n) && array_stream_length(s) == granted + 1);
         array_stream_destroy(s);
         return ok;
     }},
    {"ring_buffer_create ring_buffer_destroy",
     [] { return created<ring_buffer>([] { return ring_buffer_create(8, 4); }, ring_buffer_destroy); }},
    {"c_queue_create c_queue_destroy",
     [] { return created<c_queue>([] { return c_queue_create(4); }, c_queue_destroy); }},
    {"c_queue_create", [] { return created<c_queue>([] { return c_queue_create(0); }, c_queue_destroy); }},
    {"c_stack_create c_stack_destroy",
     [] { return created<c_stack>([] { return c_stack_create(4); }, c_stack_destroy); }},
    {"string_builder_create string_builder_destroy",
     [] { return created<string_builder>(string_builder_create, string_builder_destroy); }},
    {"string_builder_append", [] {
         string_builder *b = string_builder_create();
         string_builder_append(b, "abc");
         bool ok = armed([&] { return string_builder_append(b, "%2000d", 1) == 0; });
         EXPECT_EQ(string_builder_length(b), ok ? 2003u : 3u);
         EXPECT_EQ(string_builder_append(b, "d"), 0);
         string_builder_destroy(b);
         return ok;
     }},
    {"dlist_create dlist_add_first dlist_add_last dlist_add_before dlist_add_after dlist_destroy", [] {
         dlist *l = nullptr;
         uint32_t added = 0;
         bool ok = armed([&] {
             return (l = dlist_create()) && !dlist_add_first(l, word(1)) && ++added &&
                    !dlist_add_last(l, word(2)) && ++added && !dlist_add_before(l, dlist_last(l), word(3)) &&
                    ++added && !dlist_add_after(l, dlist_first(l), word(4)) && ++added;
         });
         if (l) {
             EXPECT_EQ(dlist_length(l), added);
             EXPECT_EQ(dlist_add_last(l, word(5)), 0);
             dlist_destroy(l, nullptr);
         }
         return ok;
     }},
    {"ini_parser_create ini_parser_create_by_config ini_parser_destroy", [] {
         ini_parser_config config{big_ini(), 3};
         ini_parser *p = nullptr, *q = nullptr;
         bool ok = armed([&] {
             return (p = ini_parser_create(ANVIL_SOURCE_DIR "/tests/data/ini/sections.ini")) &&
                    (q = ini_parser_create_by_config(&config));
         });
         if (q)
             EXPECT_EQ(ini_parser_int(q, "s250", "k", 0), 299);
         for (ini_parser *x : {p, q})
             if (x)
                 ini_parser_destroy(x);
         return ok;
     }},
};

// Abstract socket names, execd's among them, stay inside the test.
using Matrix = anvil_test::IsolatedTest;

// Memory in use, exact only without the allocator's per-thread cache (ctest
// turns it off for this program); with the sanitizer, the leak checker is
// asked instead.
bool heap_exact()
{
#if defined(__SANITIZE_ADDRESS__)
    return false;
#else
    const char *tunables = getenv("GLIBC_TUNABLES");
    return tunables && strstr(tunables, "tcache_count=0");
#endif
}

// Every allocation fails in turn, the 1st, the 2nd, ... until the scenario
// gets through: each failed run reports ENOMEM and leaves no memory and no
// descriptor behind.
TEST_F(Matrix, EveryAllocationFailsInTurn)
{
    for (const Scenario &s : kScenarios) {
        ASSERT_TRUE(s.run()) << s.functions << ": no fault planted";  // also warms up lazy allocations
        for (int n = 0;; ++n) {
            ASSERT_LT(n, 200) << s.functions;
            SCOPED_TRACE(std::string(s.functions) + ": allocation " + std::to_string(n + 1));
            int fds = open_fd_count();
            size_t heap = mallinfo2().uordblks;
            fault.allocs = n;
            bool ok = s.run();
            fault = {};
            // A failure the C library absorbs (qsort sorts in place instead)
            // may still end in a correct result.
            EXPECT_TRUE(ok || (reached && armed_errno == ENOMEM)) << strerror(armed_errno);
            if (heap_exact())
                EXPECT_EQ(mallinfo2().uordblks, heap) << "memory leaked";
            EXPECT_EQ(open_fd_count(), fds) << "descriptor leaked";
            if (!reached)
                break;
        }
#if defined(__SANITIZE_ADDRESS__)
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << s.functions << ": memory leaked";
#endif
    }
}

// Exported functions that neither allocate nor hold descriptors.
const char kPure[] =
    "array_stream_read array_stream_index array_stream_seek array_stream_length "
    "array_stream_element_size array_stream_clear array_stream_copy_all array_stream_drop "
    "ring_buffer_reset ring_buffer_len ring_buffer_empty ring_buffer_full ring_buffer_write "
    "ring_buffer_read ring_buffer_reserve ring_buffer_commit ring_buffer_peek ring_buffer_decommit "
    "RSHash JSHash PJWHash ELFHash BKDRHash SDBMHash DJBHash DEKHash BPHash FNVHash APHash "
    "mutex_lock mutex_unlock set_normalized_timespec timespec_add_safe "
    "dlist_remove_first dlist_remove_last dlist_remove_node dlist_clear dlist_first dlist_last "
    "dlist_length dlist_find dlist_find_last dlist_contains dlist_equal "
    "c_queue_push c_queue_pop c_queue_peek c_queue_length c_stack_push c_stack_pop c_stack_peek "
    "c_stack_length string_builder_truncate string_builder_length string_builder_to_string "
    "bitmap_set bitmap_clear find_first_bit find_first_zero_bit find_next_bit find_next_zero_bit "
    "ShakerSort u32_swap u64_swap generic_swap bsearch trim parseNameValue "
    "ini_parser_foreach ini_parser_string ini_parser_int ini_parser_hex ini_parser_double "
    "ini_parser_boolean catint catlong catstring catstringdln getPathLastComponent "
    "set_normalized_timespec_time64 timespec_add_safe_time64 "
    // Not swept yet: they keep a locked pid file under /var/run open for the
    // life of the process, which needs a process of its own per run.
    "ensureOnlyoneProcessEntity ensureProcessOnlyRunOnce "
    "iov_iter_advance iov_iter_single_seg_count iov_shorten memcpy_fromiovec memcpy_fromiovecend "
    "memcpy_toiovec memcpy_toiovecend";

std::set<std::string> words_of(const std::string &text)
{
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

// A new exported function must join a table, or the list above.
TEST_F(Matrix, EveryExportedFunctionIsInATable)
{
    std::ifstream file(ANVIL_SOURCE_DIR "/cmake/libanvil.map");
    std::string map((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>()), names;
    for (size_t at = map.find("global:") + 7; at < map.find("local:"); ++at)
        if (map.compare(at, 2, "/*") == 0)
            at = map.find("*/", at) + 1;
        else
            names += map[at] == ';' ? ' ' : map[at];
    std::set<std::string> exported = words_of(names), tabled = words_of(kPure);
    for (const Scenario &s : kScenarios)
        tabled.merge(words_of(s.functions));
    EXPECT_GT(exported.size(), 100u);
    for (const std::string &name : exported)
        EXPECT_TRUE(tabled.count(name)) << name << " is in no table";
    for (const std::string &name : tabled)
        EXPECT_TRUE(exported.count(name)) << name << " is not exported";
}

// The calls the library makes, each with a hard error to plant, and whether
// the library retries it when interrupted.
const struct Call {
    const char *name;
    int err;
    bool retries_eintr;
} kCalls[] = {
    {"socket", EMFILE, false}, {"bind", EADDRINUSE, false}, {"listen", EADDRINUSE, false},
    {"connect", ECONNREFUSED, false}, {"accept", EMFILE, true}, {"send", EPIPE, true},
    {"recv", ECONNRESET, true}, {"sendmsg", EPIPE, true}, {"recvmsg", ECONNRESET, true},
    {"read", EIO, true}, {"write", EIO, true}, {"open64", EACCES, false},
    {"fstat64", EIO, false}, {"fcntl64", EBADF, false}, {"close", EIO, false},
    {"lstat64", EACCES, false}, {"creat64", EACCES, false}, {"flock", ENOLCK, true},
    {"ftruncate64", EIO, true}, {"utimes", EACCES, false}, {"mkdir", EACCES, false},
    {"rmdir", EBUSY, false}, {"unlink", EACCES, false}, {"rename", EACCES, false},
    {"opendir", EMFILE, false}, {"readdir64_r", EIO, false}, {"readv", EIO, true},
    {"writev", EIO, true}, {"select", ENOMEM, false},
};

// Each call fails in turn at its 1st, 2nd, ... use, first with a hard error,
// then interrupted: the failure surfaces with its own errno (a failed close
// may go unreported), an interruption is retried where the library promises
// it, and no descriptor is left open either way.
TEST_F(Matrix, EverySystemCallFailsInTurn)
{
    for (const Scenario &s : kScenarios) {
        ASSERT_TRUE(s.run()) << s.functions << ": no fault planted";
        for (const Call &c : kCalls)
            for (int err : {c.err, EINTR})
                for (int nth = 1; nth <= 64; ++nth) {  // the scan of /proc alone makes hundreds
                    int fds = open_fd_count();
                    fault = {c.name, nth, err};
                    bool ok = s.run();
                    fault = {};
                    if (!reached)
                        break;
                    SCOPED_TRACE(std::string(s.functions) + ": " + c.name + " #" + std::to_string(nth) + " " + strerror(err));
                    if (err == EINTR && c.retries_eintr)
                        EXPECT_TRUE(ok) << "interruption not retried";
                    else if (!ok || (!s.absorbs && strcmp(c.name, "close") != 0))
                        EXPECT_TRUE(!ok && armed_errno == err) << "got " << strerror(armed_errno);
                    EXPECT_EQ(open_fd_count(), fds) << "descriptor leaked";
                }
    }
}

}  // namespace
