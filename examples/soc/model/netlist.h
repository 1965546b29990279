// What the registration tables of this model share.
//
// A port of a module that has an object of its own is registered with its direction, and the
// address is the place of the object's pointer to the storage. Instances that were dissolved into
// the module around them are plain scopes of it. Their ports are plain nets, in the storage of what
// they are connected to, or inputs through the same pointer as the input around them.
//
// Nets of the design that the model does not have still have rows: with the id of the net that
// replaces them, negative if that is their inverse; or, if they are slices of another net or ports
// connected to it, rows in the tables of slices and terms.
#ifndef SOC_NETLIST_H
#define SOC_NETLIST_H

#include <qkzeft.h>

const unsigned kNet = 0;          // type code of a net inside a module
const unsigned kRegister = 0x20;  // one bit of QK_flag_register

template <class Row, int N>
int rowCount(const Row (&)[N]) {
    return N;
}

#endif
