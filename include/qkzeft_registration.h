// The tables by which generated code declares its scopes and nets.
//
// Each module has one section, in this order: start, genid, exportk, addScopes, addNets,
// addExtracts, addTerms, end. A table may be passed in several calls. Only one section is open at a
// time. A table that breaks the protocol means a broken generator: the run ends with a message and
// status 1. The rows and texts are copied; the storage that rows point to must outlive the module.
// A table without rows may be null.
#ifndef QKZEFT_REGISTRATION_H
#define QKZEFT_REGISTRATION_H

#include <stddef.h>

#include "qkzeft_api.h"

class kelvo_module;
struct QkRegistrationData;

/// One scope below the module's own, which has id 0.
struct QkGRScope {
    int parent;                      ///< id of the parent, in this or an earlier row
    int scope;                       ///< id, 1 or more
    const char* name;                ///< local name, not null
    unsigned char case_insensitive;  ///< non-zero: names compare without regard to case
};

/// One net, or one part of a net that is held in several variables.
struct QkGRNet {
    int scope;         ///< id of the scope
    int net;           ///< id, counts from 1
    const char* name;  ///< local name
    void* address;     ///< the storage, or for ports the place of a pointer to it
    int left, right;   ///< bit bounds as declared
    unsigned mode;     ///< type code and QkNetMode bits
    int array_left;    ///< element bounds as declared; read with QK_array only
    int array_right;
    int replacement;         ///< id of the net that replaces this one, negative if inverted
    unsigned flags;          ///< QkNetFlag bits
    const void* trace_word;  ///< storage of the owner if this net is a copy, else null
    void* array_data;        ///< the generated code's cell for an array's change list, or null
};

/// A name that reads a slice of a net.
struct QkGRExtract {
    int scope;
    const char* name;
    unsigned char scalar;  ///< non-zero: one bit without bounds
    int left, right;       ///< bit bounds of the name
    int actual;            ///< id of the net read, negative if inverted; -1 skips the row
    int offset;            ///< bit offset within the net read
    int reserved;
};

/// A name that reads a net with bounds of its own: that many bits, starting with the net's lowest.
struct QkGRTerm {
    int scope;
    const char* name;
    unsigned char scalar;
    int left, right;
    int actual;
};

// Generated code was compiled with these layouts, so no field may move, with 64-bit or with 32-bit
// pointers.
#define QK_LAYOUT(row, field, offset64, offset32, size64, size32)                       \
    static_assert(offsetof(row, field) == (sizeof(void*) == 8 ? offset64 : offset32) && \
                      sizeof(row) == (sizeof(void*) == 8 ? size64 : size32),            \
                  #row " has another layout")
QK_LAYOUT(QkGRScope, case_insensitive, 16, 12, 24, 16);
QK_LAYOUT(QkGRNet, left, 24, 16, 72, 52);
QK_LAYOUT(QkGRNet, flags, 48, 40, 72, 52);
QK_LAYOUT(QkGRNet, array_data, 64, 48, 72, 52);
QK_LAYOUT(QkGRExtract, scalar, 16, 8, 40, 32);
QK_LAYOUT(QkGRExtract, reserved, 36, 28, 40, 32);
QK_LAYOUT(QkGRTerm, actual, 28, 20, 32, 24);
#undef QK_LAYOUT

/// Value type codes, the low byte of the mode word, that the library tells apart.
enum QkNetType {
    QK_type_input = 13,
    QK_type_inout = 14,
    QK_type_output = 15,
    QK_type_integer = 20
};

/// Bits of the mode word above the type code.
enum QkNetMode {
    QK_invert = 0x100,  ///< the net is also needed in inverted form
    QK_parts = 0x600,   ///< either bit: one part of a net held in several variables, low part first
    /// An array in parts: the parts of an element are adjacent, element after element, each in
    /// whole words of 32 bits.
    QK_interleaved = 0x1000,
    QK_array = 0x2000  ///< an array, with element bounds
};

/// Net flags.
enum QkNetFlag {
    QK_flag_register = 0x23,        ///< any of these: a clocked register
    QK_flag_not_compared = 0x4,     ///< not listed as a register, not compared
    QK_flag_hidden = 0x200,         ///< not listed, not found by name
    QK_flag_replaced = 0x800,       ///< another net stands for this one
    QK_flag_not_replaced = 0x1000,  ///< cancels QK_flag_replaced at registration
    QK_flag_shadow = 0x4000,        ///< a copy of the net whose storage the trace word names
    QK_flag_clock = 0x8000,         ///< a clock
    QK_flag_early_input = 0x10000,  ///< an input applied before the clocks
    QK_flag_step_input = 0x20000,   ///< an input after which the model is evaluated
    QK_flag_never_write = 0x40000   ///< never written by the library
};

extern "C" {

/// For authors of generators: checks tables for faults that the protocol lets pass. False at start;
/// kelvo_start() sets it if the environment has ZEFT_CHECK_TABLES with any value but 0. Each fault
/// prints one line with the net's name: a null address (the net is then left out; without the
/// check, the run ends), ids of replacing nets that do not exist, bits that two rows of one name
/// both have in storage of their own, extracts and terms of bits beyond their net, storage that
/// overlaps another net's without starting with it, and, when the model is first used, a section
/// without an end(). Faulty rows are registered as they are without the check. Set it before the
/// tables are passed.
QK_API extern bool qk_check_tables;

}  // extern "C"

/// Static entry points of registration.
class QK_API QkRegistration {
public:
    /// Opens the section of `m`.
    /// @param m   the module, not null, with a module name
    /// @param ns  number of scopes that will follow, including the module's own: 1 or more
    /// @param nn  number of nets that will follow: 0 or more
    /// @param case_insensitive  names of the module's scope compare without regard to case
    static void start(kelvo_module* m, int ns, int nn, bool case_insensitive);
    /// Sets the generator's two words, which are kept in the module's scope.
    static void genid(kelvo_module* m, unsigned word1, unsigned word2);
    /// Sets the generator's export word, which is kept in the module's scope.
    static void exportk(kelvo_module* m, unsigned word);
    /// Adds `count` scopes, parents before children.
    static void addScopes(kelvo_module* m, int count, const QkGRScope* rows);
    /// Adds `count` nets.
    static void addNets(kelvo_module* m, int count, const QkGRNet* rows);
    /// Adds `count` names that read slices of nets of this section. A call, even without rows,
    /// carries out the replacements of the section.
    static void addExtracts(kelvo_module* m, int count, const QkGRExtract* rows);
    /// Adds `count` names that read nets of this section with bounds of their own.
    static void addTerms(kelvo_module* m, int count, const QkGRTerm* rows);
    /// Closes the section. The numbers of scopes and nets must be those given to start(), and if
    /// nets are replaced, addExtracts() or addTerms() must have been called.
    static void end(kelvo_module* m);

    QkRegistration& operator=(const QkRegistration&) { return *this; }

private:
    friend struct QkRegistrationData;
    static QkRegistrationData* data;
};

#endif
