// The library's identity.
#pragma once

/// Stands in every VCD file, and tells by `strings` what a program was linked with.
inline constexpr const char* kLibraryMarker =
    "VERSION__BUILT_FOR_ZEFT_3_1_6__LIBVER_8__CODEREQ_0x020300__unknown";
