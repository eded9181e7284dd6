#include <anvil/dlist.h>

#include <algorithm>
#include <vector>

#include "model/model.hpp"
#include "model/reader.hpp"

namespace anvil_model {

namespace {

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
        uint8_t op = in.byte() % list::kOps;
        bool at = op == list::AddBefore || op == list::AddAfter || op == list::RemoveNode;
        bool removes = op >= list::RemoveFirst && op <= list::Clear;
        size_t i = at ? in.byte() % (m.size() + 1) : 0;  // m.size(): no such node
        uintptr_t x = removes ? 0 : in.byte() % 4;
        dlist_node *node = i < all.size() && at ? all[i] : nullptr;
        int valid = node ? 0 : -1;
        switch (op) {
        case list::AddFirst:
            ANVIL_CHECK(dlist_add_first(l, v(x)) == 0);
            m.insert(m.begin(), x);
            break;
        case list::AddLast:
            ANVIL_CHECK(dlist_add_last(l, v(x)) == 0);
            m.push_back(x);
            break;
        case list::AddBefore:
        case list::AddAfter:
            ANVIL_CHECK((op == list::AddBefore ? dlist_add_before : dlist_add_after)(l, node, v(x)) == valid);
            if (node)
                m.insert(m.begin() + long(i) + (op == list::AddAfter), x);
            break;
        case list::RemoveFirst:
            dlist_remove_first(l, record);
            if (!m.empty())
                gone.push_back(m.front()), m.erase(m.begin());
            break;
        case list::RemoveLast:
            dlist_remove_last(l, record);
            if (!m.empty())
                gone.push_back(m.back()), m.pop_back();
            break;
        case list::RemoveNode:
            ANVIL_CHECK(dlist_remove_node(l, node, record) == valid);
            if (node)
                gone.push_back(m[i]), m.erase(m.begin() + long(i));
            break;
        case list::Clear:
            dlist_clear(l, record);
            gone.insert(gone.end(), m.begin(), m.end());
            m.clear();
            break;
        case list::Find:
        case list::FindLast: {
            auto first = std::find(m.begin(), m.end(), x), last = std::find(m.rbegin(), m.rend(), x).base();
            dlist_node *want = first == m.end() ? nullptr : all[size_t((op == list::Find ? first : last - 1) - m.begin())];
            ANVIL_CHECK((op == list::Find ? dlist_find : dlist_find_last)(l, v(x), differ) == want);
            ANVIL_CHECK(dlist_contains(l, v(x), differ) == (want != nullptr));
            break;
        }
        case list::Equal: {
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
