// The exported functions of memory images.
#include <climits>
#include <cstdio>

#include "memimage/memory_image.h"
#include "netdb/database.h"
#include "qkzeft_memimage.h"
#include "qkzeft_run.h"
#include "run/failure.h"
#include "run/printout.h"
#include "run/written_files.h"

namespace {

bool isEmpty(const char* text) { return !text || !*text; }

char baseLetter(int base) { return base == 2 ? 'b' : 'h'; }

bool isFileGiven(const MemoryImage& image) {
    if (isEmpty(image.file))
        printFailure("qk_readmem%c: File name must be provided\n", baseLetter(image.base));
    return !isEmpty(image.file);
}

/// @return the first array that a pattern matches, or null with a message
QkTrace* findArray(const char* pattern) {
    completeRegistration(true);
    for (const QkName* name : qkDatabase->matching(pattern))
        if (name->trace && name->trace->isArray()) return name->trace;
    printFailure("Array '%s' not found\n", pattern);
    return nullptr;
}

int readNamed(const char* array, const MemoryImage& image) {
    if (isEmpty(array)) {
        printFailure("qk_readmem%c: Array name must be provided\n", baseLetter(image.base));
        return 0;
    }
    if (!isFileGiven(image)) return 0;
    QkTrace* const trace = findArray(array);
    if (!trace || !loadMemoryImage(trace, image)) return 0;
    say("Array '%s' read from file: '%s'\n", array, image.file);
    return 1;
}

}  // namespace

int qk_readmemh(const char* array, const char* file) { return readNamed(array, {file, 16}); }

int qk_readmemb(const char* array, const char* file) { return readNamed(array, {file, 2}); }

int qk_readmemh_sf(const char* array, const char* file, int args, int start, int finish) {
    return readNamed(array, {file, 16, args, start, finish});
}

int qk_readmemb_sf(const char* array, const char* file, int args, int start, int finish) {
    return readNamed(array, {file, 2, args, start, finish});
}

int qk_writememh(const char* array, const char* file) {
    if (isEmpty(array) || isEmpty(file)) {
        printFailure("qk_writememh: Array and File names must be provided\n");
        return 0;
    }
    const QkTrace* const trace = findArray(array);
    if (!trace) return 0;
    std::FILE* const out = mayWrite(file) ? std::fopen(file, "w") : nullptr;
    if (!out) {
        printFailure("Cannot open '%s' for writing\n", file);
        return 0;
    }
    writeMemoryImage(out, trace);
    if (!closeWritten(out, file)) return 0;
    say("Array '%s' written to file: '%s'\n", array, file);
    return 1;
}

int qk_readmem_lr_c(int base, void* abase, int awidth, int left, int right, const char* file,
                    int args, int start, int finish) {
    const bool widthIsGood = awidth >= 1 && awidth <= QK_MAXUBITS;
    QK_ASSERT(abase);
    QK_ASSERT(awidth >= 1);
    QK_ASSERT_AS(awidth <= QK_MAXUBITS, "awidth <= 64");
    QK_ASSERT(args >= 0 && args <= 2);
    const MemoryImage image{file, base, args, start, finish};
    if (!abase || !widthIsGood || !isFileGiven(image)) return 0;

    TraceExtras extras;
    extras.arrayLeft = left;
    extras.arrayRight = right;
    QkTrace memory{};
    memory.address = abase;
    memory.range = BitRange(awidth - 1, 0);
    memory.header = &memory;
    memory.extras = &extras;
    const int64_t distance = int64_t{left} - right;
    memory.nel = static_cast<uint32_t>((distance < 0 ? -distance : distance) + 1);
    return loadMemoryImage(&memory, image) ? 1 : 0;
}

int qk_readmem_c(int base, void* abase, int awidth, int low, int count, const char* file, int args,
                 int start, int finish) {
    qk_printf(
        "ZEFT: qk_readmem_c: Deprecated interface:\n"
        "  Arrays are now represented differently in the underlying model, if your array\n"
        "  has \"downto\" indices, for example [10:0] rather than [0:10], this function\n"
        "  will load it correctly. Function qk_readmem_lr_c() can be used in the general\n"
        "  case, it takes the left and right indices rather than low index and number of\n"
        "  elements. See qkzeft.h.\n\n");
    const int64_t left = int64_t{low} + count - 1;
    QK_ASSERT(count >= 1);
    QK_ASSERT(left <= INT_MAX);
    if (count < 1 || left > INT_MAX) return 0;
    return qk_readmem_lr_c(base, abase, awidth, static_cast<int>(left), low, file, args, start,
                           finish);
}
