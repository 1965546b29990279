// Blocks of a plain or compressed file, read one after the other or ahead of their use.
//
// Every byte that is neither a line end nor a printable character is replaced by a blank when its
// block is read. There are also blanks after the end, for reads of several bytes. No tool writes a
// NUL to a trace: the first one means damage, and ends the input.
#pragma once

#include <pthread.h>
#include <sys/types.h>
#include <zlib.h>

#include <atomic>
#include <cstdint>
#include <memory>

inline constexpr unsigned kInputBlockBytes = 0x800000;

struct InputBlock {
    std::unique_ptr<char[]> bytes;
    int count = 0;            ///< of the bytes, as returned by gzread(): 0 at the end, -1 for an
                              ///< error
    int error = Z_OK;         ///< zlib's, after the block
    int systemError = 0;      ///< errno, for an error of Z_ERRNO
    bool endsAtNul = false;   ///< nothing after the block must be read
    uint64_t fileOffset = 0;  ///< in the file, of the bytes after the block

    /// @return whether there was enough memory
    bool allocate();
    bool isFull() const { return count == static_cast<int>(kInputBlockBytes); }
};

void readInputBlock(gzFile gz, InputBlock& block);

/// A thread that reads one block ahead, up to the first that is not full. Until this is destroyed,
/// nothing else may use the file.
class ReadAhead {
public:
    /// @return null when memory is exhausted, or a thread is not allowed or cannot be started
    static std::unique_ptr<ReadAhead> start(gzFile gz);
    /// Waits for the end of the current read.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Exchanges a used block for the next one; a block that is not full is the last. A process
    /// forked since has no thread, and gets an error.
    void next(InputBlock& block);

private:
    enum class State { kWanted, kRead, kStopped };

    explicit ReadAhead(gzFile file) : gz(file) {}
    bool startThread();
    void run();

    gzFile gz;
    InputBlock spare;  // used by the thread while a block is requested, else by the caller
    std::atomic<State> state = State::kWanted;
    pthread_t thread = {};
    pid_t process = 0;  // the process that has the thread; 0: none
};
