// I/O vector helpers: iterator moves, shortening and copies.
#include "anvil/iov.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

inline std::uint8_t *base(const iovec &v)
{
    return static_cast<std::uint8_t *>(v.iov_base);
}

}  // namespace

void iov_iter_advance(iov_iter *it, size_t bytes)
{
    if (it->nr_segs == 1) {
        it->seg_offset += bytes;
        it->count -= bytes;
        return;
    }
    const iovec *seg = it->seg;
    size_t offset = it->seg_offset;
    unsigned nr_segs = it->nr_segs;
    // Empty segments are stepped over while bytes remain, so the iterator
    // never rests on one with count above 0.
    while (bytes != 0 || (it->count != 0 && seg->iov_len == 0)) {
        size_t step = std::min(seg->iov_len - offset, bytes);
        it->count -= step;
        bytes -= step;
        offset += step;
        if (offset == seg->iov_len) {
            ++seg;
            --nr_segs;
            offset = 0;
        }
    }
    it->seg = seg;
    it->seg_offset = offset;
    it->nr_segs = nr_segs;
}

size_t iov_iter_single_seg_count(const iov_iter *it)
{
    if (it->nr_segs == 1)
        return it->count;
    return std::min(it->count, it->seg->iov_len - it->seg_offset);
}

unsigned iov_shorten(iovec *iov, unsigned entries, size_t target)
{
    size_t seen = 0;
    for (unsigned k = 0; k < entries; ++k) {
        if (iov[k].iov_len >= target - seen) {
            iov[k].iov_len = target - seen;
            return k + 1;
        }
        seen += iov[k].iov_len;
    }
    return entries;
}

void memcpy_fromiovec(void *buf, const iovec *iov, size_t len)
{
    auto *to = static_cast<std::uint8_t *>(buf);
    for (; len != 0; ++iov) {
        size_t n = std::min(iov->iov_len, len);
        if (n != 0)
            std::memcpy(to, iov->iov_base, n);
        to += n;
        len -= n;
    }
}

void memcpy_toiovec(const iovec *iov, const void *buf, size_t len)
{
    auto *from = static_cast<const std::uint8_t *>(buf);
    for (; len != 0; ++iov) {
        size_t n = std::min(iov->iov_len, len);
        if (n != 0)
            std::memcpy(iov->iov_base, from, n);
        from += n;
        len -= n;
    }
}

void memcpy_fromiovecend(void *buf, const iovec *iov, size_t offset, size_t len)
{
    // An entry that ends exactly at the offset is passed over, so is an empty one.
    for (; iov->iov_len <= offset; ++iov)
        offset -= iov->iov_len;
    auto *to = static_cast<std::uint8_t *>(buf);
    for (; len != 0; ++iov) {
        if (iov->iov_len == 0)
            continue;
        size_t n = std::min(iov->iov_len - offset, len);
        std::memcpy(to, base(*iov) + offset, n);
        to += n;
        len -= n;
        offset = 0;
    }
}

void memcpy_toiovecend(const iovec *iov, const void *buf, size_t offset, size_t len)
{
    auto *from = static_cast<const std::uint8_t *>(buf);
    for (; len != 0; ++iov) {
        if (iov->iov_len <= offset) {
            offset -= iov->iov_len;
            continue;
        }
        size_t n = std::min(len, iov->iov_len - offset);
        std::memcpy(base(*iov) + offset, from, n);
        from += n;
        len -= n;
        offset = 0;
    }
}
