// The I/O vector helpers on fuzzer-built vectors against one flat buffer: the
// iterator as a position in it, the copies as slices of it. Input: a segment
// count and their lengths, then operations, each a code and two arguments.
#include <anvil/iov.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "model/reader.hpp"

namespace {

enum Op : uint8_t { Advance, Shorten, FromVec, ToVec, FromVecEnd, ToVecEnd, kOps };

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    anvil_model::Reader in{data, size};
    // Each segment in memory of its own and exactly its size, an empty one
    // without any; the array exactly as long as the vector.
    std::vector<iovec> v(in.byte() % 9);
    std::vector<size_t> start{0};  // where each segment begins in the flat buffer
    for (iovec &s : v) {
        s.iov_len = in.byte() % 16;
        s.iov_base = s.iov_len ? std::malloc(s.iov_len) : nullptr;
        start.push_back(start.back() + s.iov_len);
    }
    const size_t total = start.back();
    std::string flat(total, '\0');
    for (size_t i = 0; i < total; ++i)
        flat[i] = char('a' + i % 26);
    memcpy_toiovec(v.data(), flat.data(), total);
    auto vector_holds = [&] {
        std::string seen(total, '\0');
        for (size_t k = 0; k < v.size(); ++k)
            std::copy_n(static_cast<char *>(v[k].iov_base), v[k].iov_len, &seen[start[k]]);
        return seen;
    };
    ANVIL_CHECK(vector_holds() == flat);

    // The iterator may stop short of the vector's end.
    const size_t limit = total - in.byte() % (total + 1);
    iov_iter it{v.data(), unsigned(v.size()), 0, limit};
    size_t k = 0, pos = 0;  // the iterator's segment and position
    while (in.more()) {
        uint8_t op = in.byte() % kOps, a = in.byte(), b = in.byte();
        switch (op) {
        case Advance: {
            size_t bytes = a % (it.count + 1);
            bool last = v.size() - k == 1;
            iov_iter_advance(&it, bytes);
            pos += bytes;
            // Past the segment that holds the last byte moved if that ends
            // there, then past empty ones while bytes are left; on the last
            // segment only the offset moves.
            if (bytes && !last) {
                k = size_t(std::upper_bound(start.begin(), start.end(), pos - 1) - start.begin()) - 1;
                k += pos == start[k + 1];
            }
            while (!last && it.count && !v[k].iov_len)
                ++k;
            ANVIL_CHECK(it.seg == v.data() + k && it.nr_segs == v.size() - k && it.count == limit - pos &&
                  it.seg_offset == pos - start[k]);
            if (k < v.size())
                ANVIL_CHECK(iov_iter_single_seg_count(&it) ==
                      (k + 1 == v.size() ? it.count : std::min(it.count, start[k + 1] - pos)));
            break;
        }
        case Shorten: {
            // The fewest entries that hold target bytes, the last of them cut.
            size_t target = a % (total + 8);
            std::vector<iovec> cut = v;
            auto reach = std::lower_bound(start.begin() + 1, start.end(), target);
            unsigned want = reach == start.end() ? unsigned(v.size()) : unsigned(reach - start.begin());
            ANVIL_CHECK(iov_shorten(cut.data(), unsigned(cut.size()), target) == want);
            for (size_t i = 0; i < v.size(); ++i)
                ANVIL_CHECK(cut[i].iov_len == (i + 1 == want && reach != start.end() ? target - start[i] : v[i].iov_len));
            break;
        }
        case FromVec:
        case FromVecEnd: {
            if (op == FromVecEnd && total == 0)
                break;  // the offset must lie inside the vector
            size_t offset = op == FromVec ? 0 : a % total, len = b % (total - offset + 1);
            std::vector<char> buf(len + 1, '#');
            if (op == FromVec)
                memcpy_fromiovec(buf.data(), v.data(), len);
            else
                memcpy_fromiovecend(buf.data(), v.data(), offset, len);
            ANVIL_CHECK(std::string(buf.data(), len + 1) == flat.substr(offset, len) + '#');
            break;
        }
        case ToVec:
        case ToVecEnd: {
            size_t offset = op == ToVec ? 0 : a % (total + 1), len = b % (total - offset + 1);
            std::string text(len, '\0');
            for (size_t i = 0; i < len; ++i)
                text[i] = char('A' + (a + i) % 26);
            if (op == ToVec)
                memcpy_toiovec(v.data(), text.data(), len);
            else
                memcpy_toiovecend(v.data(), text.data(), offset, len);
            flat.replace(offset, len, text);
            ANVIL_CHECK(vector_holds() == flat);
            break;
        }
        }
    }
    for (iovec &s : v)
        std::free(s.iov_base);
    return 0;
}
