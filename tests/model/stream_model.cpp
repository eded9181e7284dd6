#include <anvil/array_stream.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "model/model.hpp"

namespace anvil_model {

namespace {

// Header: element size code, chunk size code. Each operation takes one byte.
enum Op : uint8_t { Write, Read, ReadOne, Index, Seek, Clear, Drop, CopyAll, kOps };

const uint32_t kSizes[] = {1, 3, 4, 8, 13};
const uint32_t kChunks[] = {1, 2, 3, 4, 8};  // 3 is rounded up to 4

}  // namespace

void check_array_stream(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    uint32_t esize = kSizes[in.byte() % std::size(kSizes)];
    uint32_t chunk = kChunks[in.byte() % std::size(kChunks)];
    array_stream *st = array_stream_create(esize, chunk);
    ANVIL_CHECK(st);
    chunk = chunk == 3 ? 4 : chunk;
    // Contents, cursor, and where each index has ever lived: an element's
    // address never changes, not even across a clear.
    std::vector<unsigned char> bytes, out;
    std::vector<unsigned char *> where;
    uint32_t cursor = 0;
    unsigned char next = 1;
    auto len = [&] { return uint32_t(bytes.size() / esize); };
    auto at = [&](uint32_t i) { return bytes.data() + size_t(i) * esize; };
    while (in.more()) {
        uint8_t op = in.byte() % kOps, arg = in.byte();
        switch (op) {
        case Write: {
            uint32_t n = arg % 12, want = std::min(n, chunk - cursor % chunk);
            errno = 0;
            auto *p = static_cast<unsigned char *>(array_stream_write(st, &n));
            if (want == 0) {
                ANVIL_CHECK(!p && errno == EINVAL);
                break;
            }
            ANVIL_CHECK(p && n == want && (cursor >= where.size() || where[cursor] == p));
            for (size_t i = where.size() - cursor; i < want; ++i)  // the cursor never passes where.size()
                where.push_back(p + i * esize);
            bytes.resize(std::max(bytes.size(), size_t(cursor + want) * esize));
            for (size_t b = 0; b < size_t(want) * esize; ++b)
                at(cursor)[b] = p[b] = next++;
            cursor += want;
            break;
        }
        case Read:
        case ReadOne: {
            uint32_t n = 12345, want = std::min({len() - cursor, chunk - cursor % chunk, op == Read ? chunk : 1});
            errno = 0;
            auto *p = static_cast<unsigned char *>(array_stream_read(st, op == Read ? &n : nullptr));
            ANVIL_CHECK(want == 0 ? !p && !errno : p == where[cursor] && (op == ReadOne || n == want));
            ANVIL_CHECK(!p || std::memcmp(p, at(cursor), size_t(want) * esize) == 0);
            cursor += want;
            break;
        }
        case Index: {
            uint32_t i = arg % (len() + 1);
            errno = 0;
            void *p = array_stream_index(st, i);
            ANVIL_CHECK(i == len() ? !p && errno == EINVAL : p == where[i] && std::memcmp(p, at(i), esize) == 0);
            break;
        }
        case Seek: {
            int origin = arg % 4;
            int32_t offset = int32_t(arg / 4) - 32;
            int64_t to = int64_t(offset) + (origin == SEEK_SET ? 0 : origin == SEEK_CUR ? cursor : len());
            ANVIL_CHECK(array_stream_seek(st, offset, origin) == cursor);
            if (origin != 3)  // no such origin: the cursor stays
                cursor = uint32_t(std::clamp<int64_t>(to, 0, len()));
            break;
        }
        case Clear:
        case Drop:
            op == Clear ? array_stream_clear(st) : array_stream_drop(st, arg);
            bytes.clear();
            cursor = 0;
            break;
        case CopyAll:
            out.assign(bytes.size() + 1, 0xa5);
            array_stream_copy_all(st, out.data());
            ANVIL_CHECK(std::equal(bytes.begin(), bytes.end(), out.begin()) && out.back() == 0xa5);
            break;
        }
        ANVIL_CHECK(array_stream_length(st) == len() && array_stream_element_size(st) == esize);
        // The cursor, seen through a seek that leaves it where it is.
        ANVIL_CHECK(array_stream_seek(st, 0, SEEK_CUR) == cursor);
    }
    array_stream_destroy(st);
}

}  // namespace anvil_model
