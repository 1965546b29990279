// VHDL's package TEXTIO, and its report and assert statements, for generated code (IEEE 1076-1993,
// 14.3, 8.2 and 8.3; what IEEE 1076-2008 adds is marked 2008).
//
// Calls begin with the same four parameters as system tasks, followed by argument pairs
// (qkzeft_systasks.h). Pairs in brackets may be left out, from the right. In the descriptions below
// a pair is
//
//     F, L  the address of the model's 64-bit cell that holds a file or line handle: size -64
//     f     a file handle: the address of its cell, size -64, or the handle, size 1 to 32
//     n     a number: size 1 to 32 or -1 to -32; signed if the size is 32, -32 or marked as signed
//     o     the place of a small result: size -1 to -32
//     v     a bit vector, the rightmost element in bit 0; as a result by pointer; size 0 with an
//           empty text for the null vector
//     s     a string: size 0 and a text, a vector of 8 bits a character with the leftmost in its
//           highest byte, or an array with the leftmost character in its last element; as a result
//           a vector by pointer, or an array; size 0 with an empty text for the null string
//
// A cell starts at 0, for a file that is not open and a line that is null. File 1 is INPUT, which
// reads qk_stdin, and file 2 OUTPUT, which prints to the console; so do files named STD_INPUT and
// STD_OUTPUT. Cells that hold the same line handle denote the same line. Codes are position
// numbers: kind 0 read, 1 write, 2 append; status 0 open_ok, 1 status_error, 2 name_error, 3
// mode_error; justified 0 right, 1 left; severity 0 note to 3 failure; unit 0 fs, 1 ps, 2 ns, 3 us,
// 4 ms, 5 sec, 6 min, 7 hr.
//
// A call that makes no sense, such as a read from a file that is not open, prints a message and
// ends the run with status 1, as system tasks do. If qk_exit returns, nothing has been stored.
// Files that are still open are flushed and closed when the process exits.
#ifndef QKZEFT_TEXTIO_H
#define QKZEFT_TEXTIO_H

#include <stdint.h>

#include "qkzeft_api.h"

extern "C" {

// ---- Files (1993 3.4.1, 4.3.1.4; 2008 5.5.2, 6.4.2.5)

/// F, s name [, n kind = 0 [, o status]]. Opens the file at a path, which is relative to the
/// current directory. The cell must hold 0. Without `status` any failure ends the run; with it the
/// cell stays 0 on failure. A directory cannot be opened.
QK_API void qksysvhdl_file_open(int flags, const void* instance, const char* scope,
                                int ArgPairCount, ...);
/// F. Closes a file and sets its cell to 0; does nothing if it is 0.
QK_API void qksysvhdl_file_close(int flags, const void* instance, const char* scope,
                                 int ArgPairCount, ...);
/// f. @return 1 when nothing is left to read, and for a file opened for writing; else 0. Waits for
/// input
QK_API int qksysvhdl_endfile(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
/// f, a file opened for writing (2008 5.5.2).
QK_API void qksysvhdl_flush(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);

// ---- Lines (1993 14.3; 2008 16.4)

/// f, L. Reads a line, without its line feed and a carriage return before it. The end of the file
/// ends the run.
QK_API void qksysvhdl_readline(int flags, const void* instance, const char* scope, int ArgPairCount,
                               ...);
/// f, L. Writes the line and a line feed; afterwards the line is empty, not null.
QK_API void qksysvhdl_writeline(int flags, const void* instance, const char* scope,
                                int ArgPairCount, ...);
/// f, L. The same, to the console too (2008).
QK_API void qksysvhdl_tee(int flags, const void* instance, const char* scope, int ArgPairCount,
                          ...);
/// L. Frees the line and sets the cell to null.
QK_API void qksysvhdl_deallocate(int flags, const void* instance, const char* scope,
                                 int ArgPairCount, ...);
/// L, s value. L := new string'(value); the old line stays for other cells that denote it.
QK_API void qksysvhdl_new_line(int flags, const void* instance, const char* scope, int ArgPairCount,
                               ...);
/// L. @return characters left; 0 for null
QK_API int qksysvhdl_line_length(int flags, const void* instance, const char* scope,
                                 int ArgPairCount, ...);
/// L, n index. @return the position number (code) of a character; index 1 is the first character
/// left
QK_API int qksysvhdl_line_char(int flags, const void* instance, const char* scope, int ArgPairCount,
                               ...);

// ---- Typed reads (1993 14.3; 2008 16.4): L, value [, o good]. What was read is removed from the
// line. If there is no such value, nothing is removed, and 0 is stored in `good`; without `good`
// the run ends. All but character and string skip blanks, tabs and no-break spaces first.

/// value o: 0 or 1.
QK_API void qksysvhdl_read_bit(int flags, const void* instance, const char* scope, int ArgPairCount,
                               ...);
/// value v: as many digits as it has elements.
QK_API void qksysvhdl_read_bit_vector(int flags, const void* instance, const char* scope,
                                      int ArgPairCount, ...);
/// value o: true or false in upper or lower case; stores 1 or 0.
QK_API void qksysvhdl_read_boolean(int flags, const void* instance, const char* scope,
                                   int ArgPairCount, ...);
/// value o of 8 bits or more.
QK_API void qksysvhdl_read_character(int flags, const void* instance, const char* scope,
                                     int ArgPairCount, ...);
/// value of size -32: an optional sign and decimal digits; a number out of range counts as no
/// value.
QK_API void qksysvhdl_read_integer(int flags, const void* instance, const char* scope,
                                   int ArgPairCount, ...);
/// value s: as many characters as the string has.
QK_API void qksysvhdl_read_string(int flags, const void* instance, const char* scope,
                                  int ArgPairCount, ...);
/// value of size -64, in ticks and signed: a decimal with an optional exponent, white space, a
/// unit. Exact; a fraction of a tick is truncated towards zero.
QK_API void qksysvhdl_read_time(int flags, const void* instance, const char* scope,
                                int ArgPairCount, ...);
/// value v: as many hexadecimal digits as it needs; single _ may separate them (2008).
QK_API void qksysvhdl_hread(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
/// value v: the same with octal digits (2008).
QK_API void qksysvhdl_oread(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);
/// L, value s, o length. Reads up to the next white space, but no more characters than the string
/// has; the rest of the string keeps its value (2008). Never fails.
QK_API void qksysvhdl_sread(int flags, const void* instance, const char* scope, int ArgPairCount,
                            ...);

// ---- Typed writes (1993 14.3; 2008 16.4): L, value [, n justified = 0 [, n field = 0]]. Appends
// to the line, which may be null, and pads with blanks to `field` characters.

/// value n: its lowest bit.
QK_API void qksysvhdl_write_bit(int flags, const void* instance, const char* scope,
                                int ArgPairCount, ...);
/// value v.
QK_API void qksysvhdl_write_bit_vector(int flags, const void* instance, const char* scope,
                                       int ArgPairCount, ...);
/// value n: TRUE unless it is 0.
QK_API void qksysvhdl_write_boolean(int flags, const void* instance, const char* scope,
                                    int ArgPairCount, ...);
/// value n: its low 8 bits.
QK_API void qksysvhdl_write_character(int flags, const void* instance, const char* scope,
                                      int ArgPairCount, ...);
/// value n.
QK_API void qksysvhdl_write_integer(int flags, const void* instance, const char* scope,
                                    int ArgPairCount, ...);
/// value s.
QK_API void qksysvhdl_write_string(int flags, const void* instance, const char* scope,
                                   int ArgPairCount, ...);
/// L, value of size 64 or -64 in ticks [, n justified [, n field [, n unit = 2]]]. Exact, except
/// for minutes and hours whose fraction does not terminate: 16 and 17 digits are written.
QK_API void qksysvhdl_write_time(int flags, const void* instance, const char* scope,
                                 int ArgPairCount, ...);
/// value v: hexadecimal digits in upper case (2008).
QK_API void qksysvhdl_hwrite(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
/// value v: octal digits (2008).
QK_API void qksysvhdl_owrite(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);

// ---- Reports (1993 8.2, 8.3; 2008 10.3, 10.4)

/// n severity, s message. Prints the message with the time and the instance; at the stop severity
/// or above it ends the run with status 1.
QK_API void qksysvhdl_report(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
/// n severity [, s message]. The same for an assertion whose condition is false.
QK_API void qksysvhdl_assert(int flags, const void* instance, const char* scope, int ArgPairCount,
                             ...);
/// @return how many reports and assertions of a severity there have been; 0 for a code outside 0 to
///         3
QK_API uint64_t qksysvhdl_severity_count(int severity);
/// Sets the lowest severity at which a report ends the run: 0 to 3, 4 for never; 3 at first. Any
/// other value changes nothing. @return the severity before
QK_API int qksysvhdl_stop_severity(int severity);

}  // extern "C"

#endif
