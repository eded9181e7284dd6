// Loading an INI file: one read of the whole file, then the parse.
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "anvil/io.h"
#include "base/errno_guard.hpp"
#include "text/ini_parser.hpp"

namespace {

constexpr std::uint32_t kDefaultHashBits = 7;
constexpr std::uint32_t kMaxHashBits = 10;
constexpr std::uint32_t kEntriesPerChunk = 32;

// Reads the whole file into a buffer with one extra NUL byte. 0, or -1 with
// the errno of the first failure; EBUSY when the file shrank under us.
int ini_read_file(const char *path, char **text, std::uint32_t *size)
{
    int fd = ::open(path, O_RDONLY);
    if (fd == -1)
        return -1;
    struct stat st;
    if (::fstat(fd, &st) == -1) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    // The length and its extra byte must fit the 32-bit size and the allocator.
    if (static_cast<std::uint64_t>(st.st_size) >= UINT32_MAX ||
        static_cast<std::uint64_t>(st.st_size) >= SIZE_MAX) {
        anvil::close_keep_errno(fd);
        return anvil::fail(ENOMEM);
    }
    auto length = static_cast<std::uint32_t>(st.st_size);
    auto *buf = static_cast<char *>(std::malloc(length + size_t(1)));
    if (buf == nullptr) {
        anvil::close_keep_errno(fd);
        return -1;
    }
    buf[length] = '\0';
    ssize_t got = readn(fd, buf, length);
    if (got != static_cast<ssize_t>(length)) {
        if (got >= 0)
            errno = EBUSY;
        anvil::free_keep_errno(buf);
        anvil::close_keep_errno(fd);
        return -1;
    }
    ::close(fd);
    *text = buf;
    *size = length;
    return 0;
}

}  // namespace

ini_parser *ini_parser_create_by_config(const ini_parser_config *config)
{
    auto *parser = static_cast<ini_parser *>(std::malloc(sizeof(ini_parser)));
    if (parser == nullptr)
        return nullptr;
    char *text;
    std::uint32_t size;
    if (ini_read_file(config->path, &text, &size) == -1) {
        anvil::free_keep_errno(parser);
        return nullptr;
    }
    std::uint32_t bits = config->hash_bits > kMaxHashBits ? kMaxHashBits : config->hash_bits;
    std::uint32_t bucket_count = std::uint32_t(1) << bits;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): the buckets are pointers
    auto **buckets = static_cast<ini_entry **>(std::malloc(bucket_count * sizeof(ini_entry *)));
    array_stream *entries = nullptr;
    if (buckets != nullptr)
        entries = array_stream_create(sizeof(ini_entry), kEntriesPerChunk);
    if (entries == nullptr) {
        anvil::ErrnoGuard guard;
        std::free(buckets);
        std::free(text);
        std::free(parser);
        return nullptr;
    }
    *parser = ini_parser{text, size, buckets, bucket_count, entries};
    for (std::uint32_t i = 0; i < bucket_count; ++i)
        buckets[i] = nullptr;
    if (anvil::ini_parse(parser) == -1) {
        anvil::ErrnoGuard guard;
        ini_parser_destroy(parser);
        return nullptr;
    }
    return parser;
}

ini_parser *ini_parser_create(const char *path)
{
    ini_parser_config config{path, kDefaultHashBits};
    return ini_parser_create_by_config(&config);
}

void ini_parser_destroy(ini_parser *parser)
{
    array_stream_destroy(parser->entries);
    std::free(parser->buckets);
    std::free(parser->text);
    std::free(parser);
}
