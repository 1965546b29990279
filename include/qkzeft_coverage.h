// Toggle coverage: which bits of the model's nets rose and fell.
//
// Changes are seen at captures: qk_takenote(), and each time step of a comparison with a reference
// trace. A bit that rises and falls between two captures has not changed. All functions need a
// model (kelvo_start()), whose tables must have been registered.
#ifndef QKZEFT_COVERAGE_H
#define QKZEFT_COVERAGE_H

#include "qkzeft_api.h"

extern "C" {

/// Begins to count, or continues after qk_cover_stop(), and adds nets.
/// @param pattern  of full names, in which '*' matches any run of characters; null: registers,
///                 outputs and nets that are traced now. Arrays and slices of nets are skipped
/// @return how many nets were added
QK_API int qk_cover(const char* pattern);
/// Stops counting. What was counted is kept.
QK_API void qk_cover_stop(void);
/// Writes what was counted so far, as JSON (docs/formats.md lists its members). The file appears
/// under its name only when it is complete.
/// @param path  not null
/// @return 1, or 0 with a message
QK_API int qk_coverage(const char* path);

}  // extern "C"

#endif
