// Who may use what: licences, and whether the model came from a generator that is known.
//
// By default everything is granted and any model is accepted; the library reads no file and asks no
// server. A program that embeds the library may set its own rules.
#ifndef QKZEFT_LICENCE_H
#define QKZEFT_LICENCE_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

/// Sets who decides at the gates. A gate that refuses prints "ZEFT: no licence for GATE" once, and
/// refuses from then on, until a policy is set again.
///
///     gate          what a refusal does
///     run           the run ends with status 1 before its first use of the design
///     traceto       qk_traceto() and `traceto` open no file and return 0
///     savesim       qk_savesim(), qk_loadsim() and their commands do nothing and return 0
///     validate      qk_mtc() and `validate` return 0; the message goes to the error stream
///     malloc        qk_malloc() gives the block, and qk_free() ends the process, until qk_malloc()
///                   is granted again
///     wide_shift    shifts of more than 64 bits give zero
///     display       display and write tasks format nothing
///     array_string  an array passed as a string is the empty string
///
/// @param policy  called with the gate's name each time one is passed: non-zero grants. It must not
///                call the library. Null restores the default
QK_API void qk_licence_policy(int (*policy)(const char* gate));

/// Sets who decides whether a model's tables come from a known generator. It is called at the end
/// of each registration section whose first generator word is not zero; if it returns 0, the run
/// ends with a message and status 1.
///
/// The shape of a section is a sum over its net rows in the order of their registration. It starts
/// at 0; each row takes it through five steps `shape = (shape ^ word) * 0x9e3779b97f4a7c15` modulo
/// 2^64, with the words (high half, low half, each 32 bits):
///
///     scope, net;  left, right;  mode, flags;  array_left, array_right;  0, replacement
///
/// @param check  given the two generator words and the shape: non-zero accepts. Null accepts all
QK_API void qk_generator_check(int (*check)(unsigned word1, unsigned word2, uint64_t shape));

}  // extern "C"

#endif
