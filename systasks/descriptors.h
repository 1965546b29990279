// The files of a design: descriptors, and channels in a mask.
#pragma once

#include <string_view>

#include "systasks/args.h"

inline constexpr unsigned QK_FD = 0x80000000u;  ///< marks a descriptor
inline constexpr unsigned QK_FDs_SIZE = 8;
inline constexpr unsigned QK_MCDs_SIZE = 31;

/// Reads the descriptor or mask of a task; ends the run when it is invalid.
/// @return 0 if it is invalid and qk_exit returned
unsigned readDescriptor(TaskCall& call);

/// Writes to a descriptor or to all channels of a mask.
void writeToDescriptor(unsigned descriptor, std::string_view text);
