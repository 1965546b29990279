// Numbers of any width as Verilog and VHDL people write them.
//
// A list has as many chunks as its digits fill, and at least one. Leading zeros of a binary, octal
// or hexadecimal literal count, those of a decimal one do not; a size adds none.
#pragma once

#include <string>

#include "qkzeft_value_list.h"

/// Reads one literal: <size>'<radix><digits>, 0x..., 0<octal>, decimal, or <radix>#<digits># (IEEE
/// 1364-2005, 3.5.1; IEEE 1076-2008, 15.5.3). White space around it is skipped. Underscores are
/// skipped after the first digit, but refused in a size and after 0x or 0. The size, 1 to 2^31 - 2,
/// is checked and not kept.
/// @param text  not null
/// @param list  null on entry; receives the value in 64-bit chunks, to be freed with freeList()
/// @return false, with no list, when the text is not a literal or does not fit its size
bool parseValue(const char* text, QkMaxuList*& list);
/// @return a deep copy; null for null
QkMaxuList* copyList(const QkMaxuList* source);
/// @return significant bits: 64 for each node below the top, and those of the top up to its highest
///         set bit; 0 for a single chunk of 0
int listWidth(const QkMaxuList* list);
/// @return the value as "0x" and hexadecimal digits without leading zeros, which parseValue() reads
std::string listText(const QkMaxuList* list);
/// Deletes all nodes; null is allowed.
void freeList(QkMaxuList* list);
