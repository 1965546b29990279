#include "validate/input_blocks.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

#include "base/threads.h"

namespace {

constexpr size_t kSlackBytes = 16;

// Without branches, so that compilers can vectorise it.
void blankOut(char* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const char c = bytes[i];
        const bool isPrintable = static_cast<unsigned char>(c - '!') <= '~' - '!';
        const bool isKept = isPrintable | (c == '\n');
        bytes[i] = isKept ? c : ' ';
    }
}

/// Truncates a block at its first NUL.
void cutAtNul(InputBlock& block) {
    const char* const bytes = block.bytes.get();
    const void* const nul = std::memchr(bytes, '\0', static_cast<size_t>(block.count));
    block.endsAtNul = nul != nullptr;
    if (nul) block.count = static_cast<int>(static_cast<const char*>(nul) - bytes);
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
    if (block.count > 0) cutAtNul(block);
    const auto count = static_cast<size_t>(std::max(block.count, 0));
    blankOut(bytes, count);
    std::memset(bytes + count, ' ', kSlackBytes);
}

std::unique_ptr<ReadAhead> ReadAhead::start(gzFile gz) {
    if (!threadsAllowed()) return nullptr;
    std::unique_ptr<ReadAhead> ahead(new (std::nothrow) ReadAhead(gz));
    if (!ahead || !ahead->startThread()) return nullptr;
    return ahead;
}

bool ReadAhead::startThread() {
    // Exhausted memory must not end the run here.
    const std::new_handler handler = std::set_new_handler(nullptr);
    const bool hasMemory = spare.allocate();
    std::set_new_handler(handler);
    if (!hasMemory) return false;
    const auto body = [](void* self) -> void* {
        static_cast<ReadAhead*>(self)->run();
        return nullptr;
    };
    const bool isStarted = ::startThread(thread, body, this);
    if (isStarted) process = getpid();
    return isStarted;
}

void ReadAhead::run() {
    for (bool isLast = false; !isLast;) {
        state.wait(State::kRead);
        if (state == State::kStopped) return;
        readInputBlock(gz, spare);
        isLast = !spare.isFull();
        State expected = State::kWanted;
        if (!state.compare_exchange_strong(expected, State::kRead)) return;
        state.notify_one();
    }
}

void ReadAhead::next(InputBlock& block) {
    if (process != getpid()) {
        block.count = -1;
        block.error = Z_ERRNO;
        block.systemError = EBADF;
        return;
    }
    state.wait(State::kWanted);
    std::swap(block, spare);
    state = State::kWanted;
    state.notify_one();
}

ReadAhead::~ReadAhead() {
    if (process != getpid()) return;
    state = State::kStopped;
    state.notify_one();
    pthread_join(thread, nullptr);
}
