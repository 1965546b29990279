// Circular doubly linked rings whose links are fields of the members themselves.
#pragma once

#include "base/qkassert.h"

/// Links of one kind of ring. `Next` and `Prev` name the member's link fields.
///
/// Invariant: m->Next->Prev == m == m->Prev->Next for every member m; a lone one points at itself.
/// A node that is in no ring has null links or points at itself, whichever its owner chooses.
template <class T, T* T::*Next, T* T::*Prev>
struct Ring {
    static void init(T* node) { node->*Next = node->*Prev = node; }
    static bool isLone(const T* node) { return node->*Next == node; }

    /// Asserts the neighbours' links. @return whether they are right: a broken ring must not be
    /// changed
    static bool checkLinks(const T* node) {
        const bool hasNext = QK_CHECK(node->*Next != nullptr);
        const bool hasPrev = QK_CHECK(node->*Prev != nullptr);
        if (!hasNext || !hasPrev) return false;
        const bool nextHolds = QK_CHECK(node->*Next->*Prev == node);
        const bool prevHolds = QK_CHECK(node->*Prev->*Next == node);
        return nextHolds && prevHolds;
    }

    /// Links `node`, which is in no ring, in just before `pos`: at the end when `pos` is the first
    /// member. @return false, after an assertion, when `node` is in a ring or the links of `pos`
    /// are wrong
    static bool insertBefore(T* pos, T* node) {
        if (!checkLinks(pos)) return false;
        const bool isOther = QK_CHECK(pos != node);
        const bool isFree = QK_CHECK(!(node->*Next) || isLone(node));
        if (!isOther || !isFree) return false;
        node->*Next = pos;
        node->*Prev = pos->*Prev;
        pos->*Prev->*Next = node;
        pos->*Prev = node;
        return true;
    }

    /// Adds `node` as the last member of the ring at `head`, which may be empty (null).
    static bool append(T*& head, T* node) {
        if (head) return insertBefore(head, node);
        init(node);
        head = node;
        return true;
    }

    /// Adds `node` as the first member of the ring at `head`, which may be empty (null).
    static void prepend(T*& head, T* node) {
        if (append(head, node)) head = node;
    }

    /// Removes `node` from the ring at `head`. If it was the head, the next member becomes the
    /// head, or null if it was alone.
    static void remove(T*& head, T* node) {
        const bool holds = checkLinks(node);
        T *const next = node->*Next, *const prev = node->*Prev;
        if (!holds || !next || !prev) return;  // static analysis does not look into the check
        if (head == node) head = isLone(node) ? nullptr : next;
        next->*Prev = prev;
        prev->*Next = next;
        node->*Next = node->*Prev = nullptr;
    }

    /// Calls `visit` for each member from `head` on. The visit may remove the member it is given.
    template <class Visit>
    static void each(T* head, Visit&& visit) {
        if (!head) return;
        T* const last = head->*Prev;
        for (T* node = head; node;) {  // always true; for static analysis, which does not know
                                       // rings
            T* const following = node->*Next;
            const bool isLast = node == last;
            visit(node);
            if (isLast) return;
            node = following;
        }
    }

    /// @return the first member for which `wanted` is true, or null
    template <class Wanted>
    static T* find(T* head, Wanted&& wanted) {
        for (T* node = head; node;) {
            if (wanted(node)) return node;
            node = node->*Next;
            if (node == head) break;
        }
        return nullptr;
    }

    /// Relinks `count` members in the order of the array, the first as head.
    static void relink(T*& head, T* const* members, int count) {
        head = nullptr;
        if (count == 0) return;
        for (int i = 0; i < count; ++i) {
            T* const node = members[i];
            node->*Next = members[i + 1 < count ? i + 1 : 0];
            node->*Prev = members[i > 0 ? i - 1 : count - 1];
        }
        head = members[0];
    }
};
