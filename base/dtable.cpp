#include "base/dtable.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/memory.h"
#include "base/qkassert.h"

namespace {

constexpr int32_t kLightSide = 10;  // a side with at most this many entries is never too heavy

int order(uintptr_t a, uintptr_t b) { return a < b ? -1 : a > b ? 1 : 0; }

bool isTooHeavy(int32_t side, int32_t other) {
    return side > kLightSide && side >= 2 * int64_t{other};
}

void checkNode(const Dtable* t) {
    if (!QK_CHECK(t)) return;
    QK_ASSERT(t->nleft == Dtable_nEntries(t->left));
    QK_ASSERT(t->nright == Dtable_nEntries(t->right));
    QK_ASSERT(t->k);
    QK_ASSERT(t->v);
    QK_ASSERT(t->left ? t->left->h <= t->h : 1);
    QK_ASSERT(t->right ? t->right->h >= t->h : 1);
}

void checkBelow(const Dtable* t) {
    for (; t; t = t->right) {
        checkNode(t);
        checkBelow(t->left);
    }
}

/// Frees the node and clears the pointer to it. Its words are overwritten first, so that a dangling
/// pointer shows at once.
void release(Dtable** t) {
    if (!QK_CHECK(t)) return;
    Dtable* const r = *t;
    if (!QK_CHECK(r)) return;
    std::memset(r, 0xA5, sizeof *r);
    __asm__ volatile("" : : "r"(r) : "memory");  // else the dead stores are dropped
    std::free(r);
    *t = nullptr;
}

/// Links the tree's nodes through `right`, ascending, before the list `tail`.
/// @return the first
Dtable* flatten(Dtable* t, Dtable* tail) {
    while (t) {
        Dtable* const left = t->left;
        t->right = flatten(t->right, tail);
        t->left = nullptr;
        tail = t;
        t = left;
    }
    return tail;
}

/// Makes a balanced tree of the first `n` nodes of the list. @return its root
Dtable* build(Dtable** source, int32_t n) {
    if (n == 0) return nullptr;
    const int32_t half = (n - 1) / 2;
    Dtable* const left = build(source, half);
    Dtable* root = *source;
    Dtable** const t = &root;
    if (!QK_CHECK(*t)) return left;
    QK_ASSERT((*t)->k && (*t)->v);
    *source = root->right;
    root->left = left;
    root->nleft = half;
    root->nright = n - 1 - half;
    root->right = build(source, root->nright);
    return root;
}

void rebuild(Dtable** t) {
    const int32_t n = Dtable_nEntries(*t);
    Dtable* source = flatten(*t, nullptr);
    *t = build(&source, n);
    QK_ASSERT_AS(!source, "source == NULL");
    checkBelow(*t);
    QK_ASSERT(n == Dtable_nEntries(*t));
}

/// Removes the smallest entry from the subtree. A node that has a right side is not unlinked: the
/// smallest entry of that side moves up into it.
void moveSmallest(Dtable** t, int32_t* h, void** k, void** v) {
    QK_ASSERT(t && *t && h && k && v);
    for (; (*t)->left; t = &(*t)->left) --(*t)->nleft;
    Dtable* const smallest = *t;
    *h = smallest->h;
    *k = smallest->k;
    *v = smallest->v;
    if (!smallest->right) return release(t);
    moveSmallest(&smallest->right, &smallest->h, &smallest->k, &smallest->v);
    --smallest->nright;
}

/// Removes the entry of the node at `t`, whose value is null already.
void removeEntry(Dtable** t) {
    QK_ASSERT_AS(t && (*t)->v == nullptr, "t && (*t)->v == NULL");
    Dtable* node = *t;
    if (!node->right) {
        *t = node->left;
        return release(&node);
    }
    moveSmallest(&node->right, &node->h, &node->k, &node->v);
    --node->nright;
}

void exchange(Dtable* node, int32_t h, void** key, void** value) {
    node->h = h;
    std::swap(node->k, *key);
    std::swap(node->v, *value);
}

void insert(Dtable** t, int32_t h, void** key, void** value) {
    auto* const r = static_cast<Dtable*>(std::calloc(1, sizeof(Dtable)));
    if (!r) failAllocation("calloc", "table");
    exchange(r, h, key, value);
    *t = r;
}

/// @return negative, zero or positive if the key comes before, at or after the node
int placeOf(const Dtable* node, int32_t h, const void* key, DtableCompare compare) {
    if (h != node->h) return h < node->h ? -1 : 1;
    return key == node->k ? 0 : compare(key, node->k);
}

}  // namespace

int Dtable_compareStrings(const void* a, const void* b) {
    const int difference = std::strcmp(static_cast<const char*>(a), static_cast<const char*>(b));
    return difference < 0 ? -1 : difference > 0 ? 1 : 0;
}

int Dtable_comparePointers(const void* a, const void* b) {
    return order(reinterpret_cast<uintptr_t>(a), reinterpret_cast<uintptr_t>(b));
}

int32_t Dtable_nEntries(const Dtable* table) {
    return table ? table->nleft + table->nright + 1 : 0;
}

void* Dtable_get(const Dtable* table, int32_t h, const void* key, DtableCompare compare) {
    if (!key) return nullptr;
    while (table) {
        const int place = placeOf(table, h, key, compare);
        if (place == 0) return table->v;
        table = place < 0 ? table->left : table->right;
    }
    return nullptr;
}

void Dtable_put(Dtable** t, int32_t h, void** k, void** v, DtableCompare compare) {
    if (!QK_CHECK(t && k && v && *k)) return;
    if (!*t) {
        if (!*v) return;
        insert(t, h, k, v);
    } else if (const int place = placeOf(*t, h, *k, compare); place > 0) {
        if (isTooHeavy((*t)->nright, (*t)->nleft)) {
            rebuild(t);
            return Dtable_put(t, h, k, v, compare);
        }
        Dtable_put(&(*t)->right, h, k, v, compare);
        (*t)->nright = Dtable_nEntries((*t)->right);
    } else if (place < 0) {
        if (isTooHeavy((*t)->nleft, (*t)->nright)) {
            rebuild(t);
            return Dtable_put(t, h, k, v, compare);
        }
        Dtable_put(&(*t)->left, h, k, v, compare);
        (*t)->nleft = Dtable_nEntries((*t)->left);
    } else {
        exchange(*t, h, k, v);
        if (!(*t)->v) removeEntry(t);
    }
    if (*t) checkNode(*t);
}

void Dtable_map(Dtable** t, void* context, DtableVisit visit) {
    if (!*t) return;
    QK_ASSERT(t && (*t)->k && (*t)->v);
    Dtable_map(&(*t)->left, context, visit);
    (*t)->nleft = Dtable_nEntries((*t)->left);
    while (!((*t)->v = visit((*t)->h, (*t)->k, (*t)->v, context))) {
        // Without a right side, the left one, already visited, takes the node's place; otherwise
        // the next entry, not yet visited, moves up into the node.
        const bool wasLast = !(*t)->right;
        removeEntry(t);
        if (wasLast) return;
    }
    Dtable_map(&(*t)->right, context, visit);
    (*t)->nright = Dtable_nEntries((*t)->right);
}

void* Dtable_freeValue(int32_t, void*, void* v, void*) {
    std::free(v);
    return nullptr;
}

void Dtable_free(Dtable** t) {
    if (!QK_CHECK(t) || !*t) return;
    Dtable_free(&(*t)->left);
    Dtable_free(&(*t)->right);
    release(t);
}

int32_t hashName(const char* name) { return hashNameFrom(1, name); }

int32_t hashNameFrom(int32_t hash, const char* text) {
    auto bits = static_cast<uint32_t>(hash);
    for (; *text; ++text) {
        bits ^= static_cast<uint32_t>(int32_t{static_cast<signed char>(*text)});
        bits = (bits | bits >> 31) * 2;
    }
    return static_cast<int32_t>(bits);
}
