#include "base/ring.h"

#include <gmock/gmock.h>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;

struct Bead {
    int number;
    Bead *next = nullptr, *prev = nullptr;
};
using Beads = Ring<Bead, &Bead::next, &Bead::prev>;

class RingTest : public testing::Test {
protected:
    RingTest() {
        for (Bead& bead : beads) Beads::append(head, &bead);
    }
    std::vector<int> numbers() {
        std::vector<int> found;
        Beads::each(head, [&](const Bead* bead) {
            EXPECT_TRUE(bead->next->prev == bead && bead->prev->next == bead);
            found.push_back(bead->number);
        });
        return found;
    }

    Bead beads[4] = {{0}, {1}, {2}, {3}};
    Bead* head = nullptr;
};

TEST_F(RingTest, AddsAndRemovesAtBothEndsAndInBetween) {
    Beads::remove(head, &beads[0]);
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3));
    Beads::remove(head, &beads[2]);
    Beads::prepend(head, &beads[0]);
    Beads::insertBefore(&beads[3], &beads[2]);
    EXPECT_THAT(numbers(), ElementsAre(0, 1, 2, 3));
}

TEST_F(RingTest, AVisitMayRemoveTheMemberItIsGiven) {
    for (int keep : {0, 2, 3, -1}) {
        std::vector<int> seen;
        Beads::each(head, [&](Bead* bead) {
            seen.push_back(bead->number);
            if (bead->number != keep) Beads::remove(head, bead);
        });
        EXPECT_THAT(seen, ElementsAre(0, 1, 2, 3));
        EXPECT_EQ(numbers(), keep < 0 ? std::vector<int>{} : std::vector{keep});
        EXPECT_TRUE(!head || Beads::isLone(head));
        Bead* const order[] = {&beads[0], &beads[1], &beads[2], &beads[3]};
        Beads::relink(head, order, 4);
    }
}

TEST_F(RingTest, FindsAndRelinks) {
    Bead* const order[] = {&beads[2], &beads[0], &beads[3], &beads[1]};
    Beads::relink(head, order, 4);
    EXPECT_THAT(numbers(), ElementsAre(2, 0, 3, 1));
    const auto find = [&](int number) {
        return Beads::find(head, [=](const Bead* bead) { return bead->number == number; });
    };
    EXPECT_EQ(find(1), &beads[1]);
    EXPECT_EQ(find(7), nullptr);
    Beads::relink(head, order, 1);
    EXPECT_TRUE(head == &beads[2] && Beads::isLone(head));
    Beads::relink(head, order, 0);
    EXPECT_EQ(find(2), nullptr);
}

TEST_F(RingTest, LeavesABrokenRingAlone) {
    beads[1].next = &beads[3];
    FailedAssertions failed;
    Beads::remove(head, &beads[1]);
    EXPECT_THAT(failed.take(), ElementsAre("node->*Next->*Prev == node"));
    Beads::insertBefore(&beads[2], &beads[0]);
    EXPECT_THAT(failed.take(), ElementsAre("node->*Prev->*Next == node"));
    Bead stranger{9};
    Beads::remove(head, &stranger);
    EXPECT_THAT(failed.take(), ElementsAre("node->*Next != nullptr", "node->*Prev != nullptr"));
    Beads::append(head, &beads[3]);
    EXPECT_THAT(failed.take(), ElementsAre("!(node->*Next) || isLone(node)"));
    EXPECT_EQ(head, &beads[0]);
}

}  // namespace
