#include "validate/input_blocks.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr size_t kSlackBytes = 16;

// Without branches, for compilers to make vectors of.
void blankOut(char* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const char c = bytes[i];
        const bool isPrintable = static_cast<unsigned char>(c - '!') <= '~' - '!';
        bytes[i] = isPrintable | (c == '\n') ? c : ' ';
    }
}

}  // namespace

bool InputBlock::allocate() {
    bytes.reset(new (std::nothrow) char[kInputBlockBytes + kSlackBytes]);
    return bytes != nullptr;
}

void readInputBlock(gzFile gz, InputBlock& block) {
    char* const bytes = block.bytes.get();
    block.count = gzread(gz, bytes, kInputBlockBytes);
    block.systemError = errno;
    gzerror(gz, &block.error);
    block.fileOffset = static_cast<uint64_t>(std::max<z_off_t>(gzoffset(gz), 0));
    const auto count = static_cast<size_t>(std::max(block.count, 0));
    blankOut(bytes, count);
    std::memset(bytes + count, ' ', kSlackBytes);
}

std::unique_ptr<ReadAhead> ReadAhead::start(gzFile gz) {
    std::unique_ptr<ReadAhead> ahead(new (std::nothrow) ReadAhead(gz));
    if (!ahead || !ahead->startThread()) return nullptr;
    return ahead;
}

bool ReadAhead::startThread() {
    for (InputBlock& block : blocks)
        if (!block.allocate()) return false;
    // Signals are for the model's thread, whose handlers they call.
    sigset_t all, before;
    sigfillset(&all);
    if (pthread_sigmask(SIG_SETMASK, &all, &before) != 0) return false;
    const auto body = [](void* self) -> void* {
        static_cast<ReadAhead*>(self)->run();
        return nullptr;
    };
    const bool isStarted = pthread_create(&thread, nullptr, body, this) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (isStarted) process = getpid();
    return isStarted;
}

void ReadAhead::run() {
    for (unsigned at = 0;; ++at) {
        for (unsigned seen; (seen = taken) + kBlocks == at;) taken.wait(seen);
        if (stopped) return;
        InputBlock& block = blocks[at % kBlocks];
        readInputBlock(gz, block);
        const bool isLast = !block.isFull();
        filled = at + 1;
        filled.notify_one();
        if (isLast) return;
    }
}

void ReadAhead::next(InputBlock& block) {
    if (process != getpid()) {
        block.count = -1;
        block.error = Z_ERRNO;
        block.systemError = EBADF;
        return;
    }
    const unsigned at = taken;
    filled.wait(at);
    std::swap(block, blocks[at % kBlocks]);
    taken = at + 1;
    taken.notify_one();
}

ReadAhead::~ReadAhead() {
    if (process != getpid()) return;
    stopped = true;
    ++taken;
    taken.notify_one();
    pthread_join(thread, nullptr);
}
