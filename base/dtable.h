// An ordered map from a key pointer and a hash to a value pointer: a weight-balanced binary tree
// that is rebuilt, not rotated.
//
// A table is a pointer to its root node, null when empty. It is sorted by the hash as a signed
// number, then by the table's comparison function for keys. Keys and values belong to the owner of
// the table.
#pragma once

#include <cstdint>

struct Dtable {
    Dtable* left;
    Dtable* right;
    void* k;  ///< never null in a stored node
    void* v;  ///< never null in a stored node
    int32_t nleft;
    int32_t h;
    int32_t nright;
};

using DtableCompare = int (*)(const void* a, const void* b);
/// Receives an entry and the walk's context, returns the entry's new value; null removes the entry.
using DtableVisit = void* (*)(int32_t h, void* k, void* v, void* context);

/// Compares NUL-terminated texts bytewise: -1, 0 or 1.
int Dtable_compareStrings(const void* a, const void* b);
/// Compares addresses: -1, 0 or 1.
int Dtable_comparePointers(const void* a, const void* b);

/// @return the number of entries, which the table keeps
int32_t Dtable_nEntries(const Dtable* table);
/// @return the stored value, or null
void* Dtable_get(const Dtable* table, int32_t h, const void* key, DtableCompare compare);
/// Inserts, replaces or, with a null *value, deletes. *key and *value are exchanged with what was
/// stored: null for a new entry, else the old pair. *key must not be null.
void Dtable_put(Dtable** table, int32_t h, void** key, void** value, DtableCompare compare);
/// Visits every entry once, ascending. The visit may replace the value or remove the entry.
void Dtable_map(Dtable** table, void* context, DtableVisit visit);
/// A visit that frees the value with free() and removes the entry.
void* Dtable_freeValue(int32_t h, void* k, void* v, void* context);
/// Removes all nodes and leaves the table empty; keys and values are not touched.
void Dtable_free(Dtable** table);

/// A table of records by the addresses of others. It owns neither.
template <class Key, class Value>
class PointerTable {
public:
    PointerTable() = default;
    PointerTable(const PointerTable&) = delete;
    PointerTable& operator=(const PointerTable&) = delete;
    ~PointerTable() { Dtable_free(&root); }

    /// @return the value of a key, or null
    Value* find(const Key* key) const {
        return static_cast<Value*>(Dtable_get(root, 0, key, Dtable_comparePointers));
    }
    /// Gives a key a value; null takes the key out.
    void put(const Key* key, Value* value) {
        void* k = const_cast<Key*>(key);
        void* v = value;
        Dtable_put(&root, 0, &k, &v, Dtable_comparePointers);
    }

private:
    Dtable* root = nullptr;
};

/// The hash of a name, for tables whose keys are texts.
int32_t hashName(const char* name);
/// Continues a hash over more text.
int32_t hashNameFrom(int32_t hash, const char* text);
