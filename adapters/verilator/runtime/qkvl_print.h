// Included before all else in each file of a model, so that what its design prints is console text.
#ifndef QKVL_PRINT_H
#define QKVL_PRINT_H

#ifdef __cplusplus
extern "C"
#endif
    int
    qkvl_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

#define VL_PRINTF qkvl_printf

#endif
