#include <anvil/dlist.h>

#include <algorithm>
#include <vector>

#include "model/model.hpp"

namespace anvil_model {

namespace {

// No header. Values are small so that searches meet duplicates.
enum Op : uint8_t {
    AddFirst, AddLast, AddBefore, AddAfter,  // [index,] value
    RemoveFirst, RemoveLast, RemoveNode,     // [index]
    Clear, Find, FindLast, Equal,            // [value]; Equal compares with a copy
    kOps
};

using Values = std::vector<uintptr_t>;
Values freed;

void *v(uintptr_t x) { return reinterpret_cast<void *>(x); }
uintptr_t u(const void *p) { return reinterpret_cast<uintptr_t>(p); }
int differ(const void *a, const void *b) { return a != b; }
void record(void *value) { freed.push_back(u(value)); }

// The nodes from the first on, each checked against its neighbours, owner and
// value, and the walk back from the last.
std::vector<dlist_node *> nodes(const dlist *l, const Values &want)
{
    std::vector<dlist_node *> fwd;
    for (dlist_node *n = dlist_first(l); n; n = n->next) {
        ANVIL_CHECK(n->prev == (fwd.empty() ? nullptr : fwd.back()) && n->list == l);
        ANVIL_CHECK(fwd.size() < want.size() && u(n->data) == want[fwd.size()]);
        fwd.push_back(n);
    }
    size_t back = fwd.size();
    for (const dlist_node *n = dlist_last(l); n; n = n->prev)
        ANVIL_CHECK(back && n == fwd[--back]);
    ANVIL_CHECK(back == 0 && fwd.size() == want.size() && dlist_length(l) == want.size());
    return fwd;
}

}  // namespace

void check_dlist(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    dlist *l = dlist_create();
    ANVIL_CHECK(l);
    Values m, gone;
    freed.clear();
    while (in.more()) {
        std::vector<dlist_node *> all = nodes(l, m);
        uint8_t op = in.byte() % kOps;
        bool at = op == AddBefore || op == AddAfter || op == RemoveNode;
        size_t i = at ? in.byte() % (m.size() + 1) : 0;  // m.size(): no such node
        uintptr_t x = op >= RemoveFirst && op <= Clear ? 0 : in.byte() % 4;
        dlist_node *node = i < all.size() && at ? all[i] : nullptr;
        int valid = node ? 0 : -1;
        switch (op) {
        case AddFirst:
        case AddLast:
            ANVIL_CHECK((op == AddFirst ? dlist_add_first : dlist_add_last)(l, v(x)) == 0);
            m.insert(op == AddFirst ? m.begin() : m.end(), x);
            break;
        case AddBefore:
        case AddAfter:
            ANVIL_CHECK((op == AddBefore ? dlist_add_before : dlist_add_after)(l, node, v(x)) == valid);
            if (node)
                m.insert(m.begin() + long(i) + (op == AddAfter), x);
            break;
        case RemoveFirst:
        case RemoveLast:
        case RemoveNode:
            if (op == RemoveNode)
                ANVIL_CHECK(dlist_remove_node(l, node, record) == valid);
            else
                (op == RemoveFirst ? dlist_remove_first : dlist_remove_last)(l, record);
            i = op == RemoveFirst ? 0 : op == RemoveLast ? m.size() - 1 : i;
            if (!m.empty() && (node || op != RemoveNode))
                gone.push_back(m[i]), m.erase(m.begin() + long(i));
            break;
        case Clear:
            dlist_clear(l, record);
            gone.insert(gone.end(), m.begin(), m.end());
            m.clear();
            break;
        case Find:
        case FindLast: {
            auto first = std::find(m.begin(), m.end(), x), last = std::find(m.rbegin(), m.rend(), x).base();
            dlist_node *want = first == m.end() ? nullptr : all[size_t((op == Find ? first : last - 1) - m.begin())];
            ANVIL_CHECK((op == Find ? dlist_find : dlist_find_last)(l, v(x), differ) == want);
            ANVIL_CHECK(dlist_contains(l, v(x), differ) == (want != nullptr));
            break;
        }
        case Equal: {
            dlist *b = dlist_create();
            for (uintptr_t y : m)
                dlist_add_last(b, v(y == x ? y ^ 1 : y));
            ANVIL_CHECK(dlist_equal(l, b, differ) == (std::find(m.begin(), m.end(), x) == m.end()));
            dlist_destroy(b, nullptr);
            break;
        }
        }
        ANVIL_CHECK(freed == gone);
    }
    nodes(l, m);
    dlist_destroy(l, nullptr);
}

}  // namespace anvil_model
