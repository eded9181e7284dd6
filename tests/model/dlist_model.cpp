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

dlist_node *nth(const dlist *l, size_t i)
{
    dlist_node *n = dlist_first(l);
    while (n && i--)
        n = n->next;
    return n;
}

// Position of a node, or -1 for NULL.
long index_of(const dlist *l, const dlist_node *node)
{
    long i = 0;
    for (const dlist_node *n = dlist_first(l); n; n = n->next, ++i)
        if (n == node)
            return i;
    return node ? -2 : -1;
}

// Both walks, every link and owner, the ends and the length.
bool same(const dlist *l, const Values &want)
{
    Values fwd, back;
    const dlist_node *prev = nullptr;
    for (const dlist_node *n = dlist_first(l); n; prev = n, n = n->next) {
        if (n->prev != prev || n->list != l)
            return false;
        fwd.push_back(u(n->data));
    }
    for (const dlist_node *n = dlist_last(l); n; n = n->prev)
        back.insert(back.begin(), u(n->data));
    return dlist_last(l) == prev && fwd == want && back == want && dlist_length(l) == want.size();
}

struct List {
    dlist *l = dlist_create();
    ~List() { dlist_destroy(l, nullptr); }
};

}  // namespace

const char *check_dlist(const uint8_t *data, size_t size)
{
    Reader in{data, size};
    List a;
    if (!a.l)
        return "create failed";
    Values m, gone;
    freed.clear();
    while (in.more()) {
        uint8_t op = in.byte() % list::kOps;
        bool at = op == list::AddBefore || op == list::AddAfter || op == list::RemoveNode;
        bool removes = op >= list::RemoveFirst && op <= list::Clear;
        size_t i = at ? in.byte() % (m.size() + 1) : 0;  // m.size(): no such node
        uintptr_t x = removes ? 0 : in.byte() % 4;
        dlist_node *node = at ? nth(a.l, i) : nullptr;
        bool valid = node != nullptr;
        switch (op) {
        case list::AddFirst:
            if (dlist_add_first(a.l, v(x)))
                return "add_first";
            m.insert(m.begin(), x);
            break;
        case list::AddLast:
            if (dlist_add_last(a.l, v(x)))
                return "add_last";
            m.push_back(x);
            break;
        case list::AddBefore:
        case list::AddAfter:
            if ((op == list::AddBefore ? dlist_add_before : dlist_add_after)(a.l, node, v(x)) != (valid ? 0 : -1))
                return "add_before/after";
            if (valid)
                m.insert(m.begin() + long(i) + (op == list::AddAfter), x);
            break;
        case list::RemoveFirst:
            dlist_remove_first(a.l, record);
            if (!m.empty())
                gone.push_back(m.front()), m.erase(m.begin());
            break;
        case list::RemoveLast:
            dlist_remove_last(a.l, record);
            if (!m.empty())
                gone.push_back(m.back()), m.pop_back();
            break;
        case list::RemoveNode:
            if (dlist_remove_node(a.l, node, record) != (valid ? 0 : -1))
                return "remove_node";
            if (valid)
                gone.push_back(m[i]), m.erase(m.begin() + long(i));
            break;
        case list::Clear:
            dlist_clear(a.l, record);
            gone.insert(gone.end(), m.begin(), m.end());
            m.clear();
            break;
        case list::Find:
        case list::FindLast: {
            long want = -1;
            for (size_t k = 0; k < m.size(); ++k)
                if (m[k] == x && (want < 0 || op == list::FindLast))
                    want = long(k);
            if (index_of(a.l, (op == list::Find ? dlist_find : dlist_find_last)(a.l, v(x), differ)) != want)
                return op == list::Find ? "find" : "find_last";
            if (dlist_contains(a.l, v(x), differ) != (want >= 0))
                return "contains";
            break;
        }
        case list::Equal: {
            List b;
            for (uintptr_t y : m)
                dlist_add_last(b.l, v(y == x ? y ^ 1 : y));
            bool changed = std::find(m.begin(), m.end(), x) != m.end();
            if (dlist_equal(a.l, b.l, differ) != !changed)
                return "equal";
            break;
        }
        }
        if (freed != gone)
            return "freed values";
        if (!same(a.l, m))
            return "links";
    }
    return nullptr;
}

}  // namespace anvil_model
