// The library's identity.
#pragma once

/// Written to every VCD file; `strings` shows it in a program that was linked with the library.
inline constexpr const char* kLibraryMarker =
    "VERSION__BUILT_FOR_ZEFT_3_1_6__LIBVER_8__CODEREQ_0x020300__unknown";
