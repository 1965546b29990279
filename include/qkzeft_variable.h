// Handles: how a user's bench reaches the nets of a model by name.
//
// A handle represents one name of the design; all look-ups of a name return the same object, which
// counts the references to it and lives at least as long as the name. When a name is removed with
// its module, its handle becomes invalid, and stays until all references have been given back.
// Every member may be called on a null or invalid handle: values are then 0, pointers null, and
// results 11. Use handles from the model's thread only; callbacks may call any function of the
// library.
//
// Results: 0 success, 1 no such element, 2 no such source, 3 the source is an array, 4 the source
// is a virtual variable, 5 a value or range exceeds the width, 7 idle width outside 1 to 64, 8 no
// single net of that name, 9 the handle argument is null, 10 not a virtual variable, 11 invalid
// handle, 12 an array, 15 no such event, 18 a chunk beyond the width, 25 no usable name, 26 the
// name is taken, 27 no breakpoint, 30 a trace file is being written, 31 the handle has lost its
// name.
#ifndef QKZEFT_VARIABLE_H
#define QKZEFT_VARIABLE_H

#include <stdint.h>

#include "qkzeft_api.h"
#include "qkzeft_value_list.h"

struct QkBreakpoint;
struct QkHandleTable;
struct QkName;

class QK_API QkVariable {
public:
    /// What a breakpoint waits for. Only changes count: a value that the net already has when the
    /// breakpoint is set does not fire it until the net takes that value again.
    enum BreakEvent { BreakOnEqual = 1, BreakOnNotEqual = 2, BreakOnChange = 3 };
    typedef void (*Callback)(QkVariable*);

    // ---- Look-up. A pattern is a full name in which '*' matches any run of characters; hidden
    // nets, and nets that another one replaces, are skipped.

    /// @return the handle of the one net that matches, with a reference that the caller must give
    ///         back by Destroy(); null if no net or more than one matches
    static QkVariable* GetByName(const char* pattern);
    /// Begins a walk over all nets that match, in the order of listings.
    /// @param cookie  holds the handle that was returned; must not be changed between the calls
    /// @return the first match, or null. The next call gives its reference back
    static QkVariable* GetFirstByName(const char* pattern, QkVariable*& cookie);
    /// @return the match after the cookie's, or null, which ends the walk; also null when the
    ///         cookie's name has been removed meanwhile
    static QkVariable* GetNextByName(const char* pattern, QkVariable*& cookie);

    // ---- Virtual variables: catenations of slices of nets and of constant ("idle") bits, without
    // storage of their own. Elements are added at the right, the low end.

    /// Makes a virtual variable of `width` idle bits, named within the first top-level scope.
    /// @param width  1 to 64
    /// @param value  the constant; one that does not fit the width is refused
    /// @param code   if not null, receives the result
    /// @return the handle, with a reference that the caller must give back, or null
    static QkVariable* CreateByName(const char* name, int width, uint64_t value,
                                    int* code = nullptr);
    /// The same, of a whole net, found as by GetByName().
    static QkVariable* CreateByName(const char* name, const char* source, int* code = nullptr);
    /// The same, of the bits `left` to `right` of a net, within its bounds and in its direction.
    static QkVariable* CreateByName(const char* name, const char* source, int left, int right,
                                    int* code = nullptr);
    /// Adds a whole net.
    static int AddByName(QkVariable* variable, const char* source);
    /// Adds the bits `left` to `right` of a net.
    static int AddByName(QkVariable* variable, const char* source, int left, int right);
    /// Adds `width` constant bits, 1 to 64.
    static int AddIdleBits(QkVariable* variable, int width, uint64_t value);
    /// Deletes a virtual variable, by its full name or by the name given when it was made.
    static int DeleteByName(const char* name);
    /// Deletes a virtual variable and its handle, even if there are other references. Its
    /// breakpoints stay in the list, marked as deleted.
    /// @param variable  set to null, unless there was an error
    static int DeleteByPointer(QkVariable*& variable);

    /// Gives back one reference. The handle stays valid as long as its name exists.
    static int Destroy(QkVariable* variable);
    /// Sets the function that is called for changes of variables with SetChangeNotify(true); there
    /// is only one; null for none. @return 0
    static int RegisterChangeNotifier(Callback notifier);

    // ---- Values, in chunks of 64 bits, chunk 0 least significant. The index of an array is as
    // declared; for other variables it must be 0. A write reaches every copy of the net; bits above
    // those of the chunk are dropped, and bits written to idle bits have no effect.

    uint64_t GetValue();
    int SetValue(uint64_t value);
    uint64_t GetWideValue(int chunk);
    int SetWideValue(uint64_t value, int chunk);
    uint64_t GetArrayValue(int index);
    int SetArrayValue(uint64_t value, int index);
    /// @return the chunk; 0 beyond the width or the array
    uint64_t GetWideArrayValue(int chunk, int index);
    int SetWideArrayValue(uint64_t value, int chunk, int index);

    // ---- Properties

    /// @return bits of the value, or of an element
    int GetWidth();
    /// @return 1 for an array, else 0
    int GetDimension();
    /// @return elements of an array, else 0, whatever `which` is
    int GetBound(int which);
    /// @return the dotted name; valid as long as the name exists
    const char* GetFullname();
    /// @return the handle of the first visible name of the same net that is not a copy of an owner
    ///         elsewhere; this handle if there is none, null for a virtual variable. The caller
    ///         must give the reference back
    QkVariable* GetCanonical();
    /// @return the model's storage, or null where reading it would not give the value: for slices,
    ///         virtual variables, nets held in several variables, and inverted nets
    void* GetAddress();
    /// @return whether a value written stays until the model writes another
    bool IsStateful();
    bool IsReupdate();
    /// Keeps a pointer for the user. @return 0
    int SetHandle(void* user);
    /// @return the pointer; null before one is set
    void* GetHandle();

    // ---- Breakpoints. A breakpoint prints a line when it fires, and then calls its callback.
    // Setting one starts to trace the net.

    /// @param callback  may be null
    /// @param value     compared as unsigned; copied; null counts as 0, and is usual for
    ///                  BreakOnChange. For an array, the element that changed is compared
    /// @return 0, 5, 11, 15, 30 or 31
    int RegisterBreak(Callback callback, BreakEvent event, QkMaxuList* value);
    /// The same with `n` values of the type uint64_t, the least significant first.
    int RegisterBreak(Callback callback, BreakEvent event, int n, ...);
    /// Deletes all breakpoints of this variable. @return 0, 11, 27, 30 or 31
    int UnregisterBreak();
    int EnableBreak();
    int DisableBreak();

    /// Starts or stops calling the notifier for each change that qk_takenote() finds. Not possible
    /// for arrays (result 12).
    int SetChangeNotify(bool on);
    bool GetChangeNotify();

private:
    friend struct QkHandleTable;
    QkVariable() = default;
    ~QkVariable() = default;
    QkVariable(const QkVariable&) = delete;
    QkVariable& operator=(const QkVariable&) = delete;

    uint32_t magic;
    int32_t refCount;
    QkName* name;
    void* handle;
    unsigned char flags;
    QkBreakpoint* brkpts;
};

#endif
