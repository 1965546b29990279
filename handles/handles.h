// The handles of a model's names, their breakpoints, and who is notified of changes.
//
// A name has at most one handle, made when it is first requested. A handle with breakpoints, or one
// that asks for changes, keeps its name among those compared at captures, traced or not. When a
// name is removed, its handle loses its breakpoints and its request, so that an invalid handle only
// waits until its references are given back.
//
// Handles are never freed: a dropped handle has no magic number, and its memory is reused only
// after many others, so that a stale pointer in a user's code finds an invalid handle.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/ring.h"
#include "netdb/listener.h"
#include "qkzeft_variable.h"

struct QkName;

/// Results of the operations on handles, breakpoints and virtual variables. 0 is success.
enum HandleResult {
    kNoSuchElement = 1,
    kNoSource = 2,
    kSourceIsArray = 3,
    kSourceIsVirtual = 4,
    kOutOfRange = 5,
    kBadConstant = 6,
    kBadIdleWidth = 7,
    kNoSuchNet = 8,
    kNullHandle = 9,
    kNotVirtual = 10,
    kInvalidHandle = 11,
    kIsArray = 12,
    kNotArray = 13,
    kCombinational = 14,
    kBadOperator = 15,
    kRedundantOption = 16,
    kBadIndex = 17,
    kBeyondWidth = 18,
    kNoName = 25,
    kNameTaken = 26,
    kNoBreak = 27,
    kNoBreakNumber = 28,
    kBadBreakNumber = 29,
    kSaveInProgress = 30,
    kNameGone = 31,
};

struct FreeList {
    void operator()(QkMaxuList* list) const;
};
using OwnedList = std::unique_ptr<QkMaxuList, FreeList>;

struct QkBreakpoint {
    unsigned number;
    std::string var_name;
    QkVariable* variable;  ///< null once it is gone
    QkVariable::Callback callback;
    QkVariable::BreakEvent event;
    bool enabled;
    OwnedList value;                ///< null for a break on change
    QkBreakpoint *v_next, *v_prev;  ///< ring QkVariable::brkpts
};
using VariableBreaks = Ring<QkBreakpoint, &QkBreakpoint::v_next, &QkBreakpoint::v_prev>;

struct QkHandleTable final : DatabaseListener {
    // ---- Handles (handles/handles.cpp)

    /// @return the handle of a name, with one more reference
    QkVariable* give(QkName* name);
    /// @return the handle of a name, or null when none has been requested
    QkVariable* of(const QkName* name) const;
    const char* fullName(const QkName* name);
    /// Detaches the name from its handle.
    void nameGoes(QkName* name) override;
    /// Drops a handle at once. Its name has no handle any more.
    void drop(QkVariable* variable);

    static bool isHandle(const QkVariable* variable) {
        return variable && variable->magic == kMagic;
    }
    static bool isValid(const QkVariable* variable) { return isHandle(variable) && variable->name; }
    static QkName* nameOf(const QkVariable* variable) { return variable->name; }
    static void*& userPointer(QkVariable* variable) { return variable->handle; }
    int giveBack(QkVariable* variable);

    // ---- Notification of changes (handles/breakpoints.cpp)

    int setNotify(QkVariable* variable, bool on);
    /// Calls the notifier and tests the breakpoints of a watched name whose value has changed. What
    /// they call may remove the name.
    /// @param index  of the element that changed, 0 for a scalar
    void noteChange(QkName* name, int64_t index);

    // ---- Breakpoints (handles/breakpoints.cpp)

    /// @param value  copied; the caller keeps its own
    int addBreak(QkVariable* variable, QkVariable::Callback callback, QkVariable::BreakEvent event,
                 const QkMaxuList* value);
    int deleteBreaks(QkVariable* variable);
    int enableBreaks(QkVariable* variable, bool on);
    int deleteBreak(unsigned number);
    int enableBreak(unsigned number, bool on);

    /// By ascending number, the order in which they were made.
    std::vector<std::unique_ptr<QkBreakpoint>> brks;
    QkVariable::Callback notifier = nullptr;

private:
    static constexpr uint32_t kMagic = 0x1234feed;
    static constexpr unsigned char kHasBreaks = 1, kNotifies = 2;
    static constexpr size_t kQuarantine = 1024;  ///< dropped handles that are not reused yet

    QkVariable* make(QkName* name);
    void setFlag(QkVariable* variable, unsigned char flag, bool on);
    void detachBreaks(QkVariable* variable);
    void fireBreaks(QkVariable* variable, int64_t index);
    void dropBreak(QkBreakpoint* brk);
    QkBreakpoint* find(unsigned number) const;
    static int refusal(const QkVariable* variable);

    std::vector<QkVariable*> byId;  ///< by QkName::id; null without a handle
    std::unordered_map<uint32_t, std::string> fullNames;
    std::vector<QkVariable*> made;  ///< all handles, including those that only a user refers to
    std::deque<QkVariable*> gone;
    unsigned lastNumber = 0;  ///< of a breakpoint; numbers are not used again
};

/// Those of the live model; null without one.
extern QkHandleTable* qkHandles;
