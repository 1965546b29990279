// The formatter of the display tasks (IEEE 1364-2005, 17.1).
#pragma once

#include "systasks/args.h"
#include "systasks/line.h"

/// Adds a value's digits.
/// @param marked    size, with the mark of a signed value if it is one
/// @param suppress  no leading zeros and blanks
using Printer = void (*)(Line& line, TaskCall& call, int marked, bool suppress);
void printHexadecimal(Line& line, TaskCall& call, int marked, bool suppress);
void printDecimal(Line& line, TaskCall& call, int marked, bool suppress);
void printOctal(Line& line, TaskCall& call, int marked, bool suppress);
void printBinary(Line& line, TaskCall& call, int marked, bool suppress);

/// Formats all pairs that are left: format strings with their values, and values alone.
void formatArguments(Line& line, TaskCall& call, Printer defaultPrinter);

/// Adds the current time as $timeformat wants it; the argument is taken and has no effect.
void printTime(Line& line, TaskCall& call, int marked);

/// Adds the hierarchical name of the caller.
void printLocation(Line& line, const TaskCall& call);
