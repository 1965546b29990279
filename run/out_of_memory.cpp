#include "run/out_of_memory.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>
#include <utility>

namespace {

/// Enough for the texts of a header and for what zlib needs at the first write. Its pages are never
/// touched.
constexpr size_t kReserveBytes = size_t{1} << 20;

void* reserve = nullptr;
std::thread::id modelThread;

[[noreturn]] void endAtOnce() { std::_Exit(1); }

void outOfMemory() {
    if (std::this_thread::get_id() != modelThread) throw std::bad_alloc();
    std::set_new_handler(endAtOnce);
    releaseMemoryReserve();
    std::fflush(stdout);
    std::fputs("ZEFT: out of memory\n", stderr);
    std::exit(1);
}

}  // namespace

void prepareForOutOfMemory() {
    if (std::get_new_handler()) return;
    modelThread = std::this_thread::get_id();
    if (!reserve) reserve = std::malloc(kReserveBytes);
    std::set_new_handler(outOfMemory);
}

void releaseMemoryReserve() { std::free(std::exchange(reserve, nullptr)); }
