// Blocks of a plain or compressed file, read one after the other or ahead of their use.
//
// Every byte that is neither a line end nor a printable character without the blank becomes a blank
// when its block is read. Blanks follow the end, too, for reads of several bytes. No tool writes a
// NUL into a trace: the first one is damage, and ends the input.
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
    int count = 0;            ///< of the bytes, as gzread() gives it: 0 at the end, -1 for an error
    int error = Z_OK;         ///< zlib's, after the block
    int systemError = 0;      ///< errno, for an error of Z_ERRNO
    bool endsAtNul = false;   ///< nothing after the block is to be read
    uint64_t fileOffset = 0;  ///< of what follows the block, in the file

    /// @return whether there was memory
    bool allocate();
    bool isFull() const { return count == static_cast<int>(kInputBlockBytes); }
};

void readInputBlock(gzFile gz, InputBlock& block);

/// A thread that reads one block ahead, up to the first that is not full. Until this is destroyed,
/// nothing else may use the file.
class ReadAhead {
public:
    /// @return null when there is no memory, or no thread to be had or allowed
    static std::unique_ptr<ReadAhead> start(gzFile gz);
    /// Waits for the end of the read under way.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    /// Exchanges a block that is done with for the next one; a block that is not full is the last.
    /// A process forked off since has no thread, and is given an error.
    void next(InputBlock& block);

private:
    enum class State { kWanted, kRead, kStopped };

    explicit ReadAhead(gzFile file) : gz(file) {}
    bool startThread();
    void run();

    gzFile gz;
    InputBlock spare;  // the thread's while it is wanted, else the user's
    std::atomic<State> state = State::kWanted;
    pthread_t thread = {};
    pid_t process = 0;  // that has the thread; 0: none
};
