#include "base/ring.h"

#include <gmock/gmock.h>

#include <vector>

#include "failed_assertions.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Bead {
    int number;
    Bead* next = nullptr;
    Bead* prev = nullptr;
};
using Beads = Ring<Bead, &Bead::next, &Bead::prev>;

class RingTest : public testing::Test {
protected:
    std::vector<int> numbers() {
        std::vector<int> found;
        Beads::each(head, [&](const Bead* bead) {
            EXPECT_TRUE(bead->next->prev == bead && bead->prev->next == bead);
            found.push_back(bead->number);
        });
        return found;
    }
    void fill() {
        for (Bead& bead : beads) Beads::append(head, &bead);
    }

    Bead beads[4] = {{0}, {1}, {2}, {3}};
    Bead* head = nullptr;
};

TEST_F(RingTest, AddsAtBothEndsAndInBetween) {
    Beads::append(head, &beads[1]);
    EXPECT_TRUE(Beads::isLone(head));
    Beads::append(head, &beads[3]);
    Beads::prepend(head, &beads[0]);
    Beads::insertBefore(&beads[3], &beads[2]);
    EXPECT_THAT(numbers(), ElementsAre(0, 1, 2, 3));
}

TEST_F(RingTest, RemovesHeadMiddleAndLast) {
    fill();
    Beads::remove(head, &beads[0]);
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3));
    Beads::remove(head, &beads[2]);
    EXPECT_THAT(numbers(), ElementsAre(1, 3));
    Beads::remove(head, &beads[3]);
    Beads::remove(head, &beads[1]);
    EXPECT_EQ(head, nullptr);
    EXPECT_THAT(numbers(), IsEmpty());
    EXPECT_EQ(beads[1].next, nullptr);
}

TEST_F(RingTest, AVisitMayRemoveTheMemberItIsGiven) {
    for (int keep = -1; keep < 4; ++keep) {
        SCOPED_TRACE(keep);
        fill();
        std::vector<int> seen;
        Beads::each(head, [&](Bead* bead) {
            seen.push_back(bead->number);
            if (bead->number != keep) Beads::remove(head, bead);
        });
        EXPECT_THAT(seen, ElementsAre(0, 1, 2, 3));
        if (keep < 0) {
            EXPECT_EQ(head, nullptr);
        } else {
            EXPECT_THAT(numbers(), ElementsAre(keep));
            Beads::remove(head, &beads[keep]);
        }
    }
}

TEST_F(RingTest, FindsAndRelinks) {
    const auto isNumber = [](int wanted) {
        return [wanted](const Bead* bead) { return bead->number == wanted; };
    };
    EXPECT_EQ(Beads::find(head, isNumber(1)), nullptr);
    Bead* const order[] = {&beads[2], &beads[0], &beads[3], &beads[1]};
    Beads::relink(head, order, 4);
    EXPECT_THAT(numbers(), ElementsAre(2, 0, 3, 1));
    EXPECT_EQ(Beads::find(head, isNumber(1)), &beads[1]);
    EXPECT_EQ(Beads::find(head, isNumber(7)), nullptr);
    Beads::relink(head, order, 1);
    EXPECT_TRUE(head == &beads[2] && Beads::isLone(head));
}

TEST_F(RingTest, LeavesABrokenRingAlone) {
    fill();
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
