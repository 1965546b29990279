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

/// Formats all remaining pairs: format strings with their values, and single values.
void formatArguments(Line& line, TaskCall& call, Printer defaultPrinter);

/// Adds the current time in the form set by $timeformat; the argument is read and ignored.
void printTime(Line& line, TaskCall& call, int marked);

/// Adds the hierarchical name of the caller.
void printLocation(Line& line, const TaskCall& call);
