// The tasks that open, close, read and position files (IEEE 1364-2005, 17.2).
#include <algorithm>
#include <bit>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstring>

#include "base/memory.h"
#include "base/qkassert.h"
#include "qkzeft_systasks.h"
#include "run/console_text.h"
#include "run/written_files.h"
#include "systasks/descriptors.h"

namespace {

/// A place in one of the two tables.
struct Entry {
    std::FILE* stream = nullptr;
    bool isStandard = false;  ///< the process's own stream: it is not closed here
    bool failed = false;      ///< the last operation on it failed
    bool isFree() const { return !stream && !isStandard; }
};

struct Tables {
    Entry fds[QK_FDs_SIZE];
    Entry mcds[QK_MCDs_SIZE];
    Tables() {
        for (unsigned i = 0; i < 3; ++i) fds[i].isStandard = true;
        mcds[0].isStandard = true;
    }
};

Tables& tables() {
    static Tables* const all = new Tables;  // a design may write until the end of the process
    return *all;
}

std::FILE* standardStream(unsigned index) {
    return index == 0 ? stdin : index == 1 ? stdout : stderr;
}

Entry* descriptorEntry(unsigned fd) {
    const unsigned offset = fd & ~QK_FD;
    const bool isDescriptor = QK_CHECK(fd & QK_FD);
    const bool isInTable = QK_CHECK(offset < QK_FDs_SIZE);
    return isDescriptor && isInTable ? &tables().fds[offset] : nullptr;
}

/// @return the stream of an entry, or null when it is free
std::FILE* streamOf(Entry& entry, unsigned standard) {
    if (entry.isStandard && !entry.stream) entry.stream = standardStream(standard);
    return entry.stream;
}

/// A descriptor, which denotes one stream.
struct OpenFile {
    Entry* entry = nullptr;
    std::FILE* stream = nullptr;

    /// @param fd  0: no file; the error has been reported
    explicit OpenFile(unsigned fd) : entry(fd ? descriptorEntry(fd) : nullptr) {
        if (!entry) return;
        stream = streamOf(*entry, fd & ~QK_FD);
        if (!stream) entry->failed = true;
    }
    void noteFailure() const {
        if (entry) entry->failed = true;
    }
};

/// Calls visit(entry, standard stream's number) for a descriptor or each channel of a mask.
template <class Visit>
void eachEntry(unsigned descriptor, Visit&& visit) {
    if (descriptor & QK_FD) {
        if (Entry* const entry = descriptorEntry(descriptor)) visit(*entry, descriptor & ~QK_FD);
        return;
    }
    for (unsigned left = descriptor; left != 0; left &= left - 1)
        visit(tables().mcds[std::countr_zero(left)], 1);
}

int nextSize(TaskCall& call) {
    if (call.count <= 0) return 0;
    --call.count;
    return withoutSignedMark(va_arg(call.list, int));
}

/// Reads an integer argument; 0 when there is none.
uint64_t nextInteger(TaskCall& call) {
    if (call.count <= 0) return 0;
    return readInteger(call, nextSize(call));
}

}  // namespace

unsigned readDescriptor(TaskCall& call) {
    const bool isGiven = call.count > 0;
    const int size = nextSize(call);
    if (size != 32 && size != -32) {
        if (isGiven && size == 0) skipText(call);
        if (isGiven) qk_skip_arg(call, size);
        failTask(call, "Expected 32 bit integer file descriptor, got %d bits", size);
        return 0;
    }
    int left = size;
    const auto descriptor = static_cast<unsigned>(qk_read_chunk(call, left));
    const bool isBeyondTable = (descriptor & QK_FD) && (descriptor & ~QK_FD) >= QK_FDs_SIZE;
    if (descriptor != 0 && !isBeyondTable) return descriptor;
    failTask(call, "Illegal file descriptor of %x", descriptor);
    return 0;
}

void writeToDescriptor(unsigned descriptor, std::string_view text) {
    eachEntry(descriptor, [&](Entry& entry, unsigned standard) {
        std::FILE* const stream = streamOf(entry, standard);
        const bool written =
            stream && std::fwrite(text.data(), 1, text.size(), stream) == text.size();
        if (written) return;
        entry.failed = true;
        noteTextLost(stream);
    });
}

// ---- Opening and closing

namespace {

/// @return whether a mode may be passed to fopen(). One that chooses a character set would make a
/// stream of wide characters, from which bytes cannot be read.
bool isMode(const char* mode) { return mode && *mode && !std::strchr(mode, ','); }

/// Opens a file in the first free place of a table. @return its index, or -1
int openIn(Entry* begin, Entry* end, const char* name, const char* mode) {
    Entry* const entry = std::find_if(begin, end, [](const Entry& e) { return e.isFree(); });
    if (entry == end) {
        end[-1].failed = true;
        return -1;
    }
    const bool writes = mode && std::strpbrk(mode, "wa+");
    const bool isOpenable = name && isMode(mode) && (!writes || mayWrite(name, true));
    entry->stream = isOpenable ? std::fopen(name, mode) : nullptr;
    entry->failed = !entry->stream;
    if (writes && entry->stream)
        enterWrittenFile(entry->stream, name, FileWriter::kDesign, entry->stream);
    return entry->stream ? static_cast<int>(entry - begin) : -1;
}

void close(Entry& entry) {
    const bool isClosed = entry.isStandard || !entry.stream || closeWrittenText(entry.stream);
    entry = Entry{nullptr, false, !isClosed};
}

}  // namespace

int qkzeft_fopen(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fopen");
    const bool hasMode = call.count > 1;
    TextArgument name{}, mode{};
    if (call.count > 0) name = readNameArgument(call, nextSize(call));
    if (hasMode) mode = readNameArgument(call, nextSize(call));
    va_end(call.list);
    Tables& all = tables();
    unsigned opened = 0;
    if (hasMode) {
        const int index = openIn(all.fds, all.fds + QK_FDs_SIZE, name.text, mode.text);
        if (index >= 0) opened = static_cast<unsigned>(index) | QK_FD;
    } else {
        const int index = openIn(all.mcds, all.mcds + QK_MCDs_SIZE, name.text, "w");
        if (index >= 0) opened = 1u << index;
    }
    return static_cast<int>(opened);
}

void qkzeft_fclose(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fclose");
    eachEntry(readDescriptor(call), [](Entry& entry, unsigned) { close(entry); });
    va_end(call.list);
}

void qkzeft_fflush(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fflush");
    const auto flush = [](Entry& entry, unsigned standard) {
        std::FILE* const stream = streamOf(entry, standard);
        if (stream && std::fflush(stream) != 0) entry.failed = true;
    };
    if (call.count > 0) {
        eachEntry(readDescriptor(call), flush);
    } else {
        for (unsigned i = 0; i < QK_FDs_SIZE; ++i) flush(tables().fds[i], i);
        for (Entry& entry : tables().mcds) flush(entry, 1);
    }
    va_end(call.list);
}

// ---- Reading

int qkzeft_fgetc(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fgetc");
    const OpenFile file(readDescriptor(call));
    va_end(call.list);
    const int c = file.stream ? std::fgetc(file.stream) : EOF;
    if (c == EOF) file.noteFailure();
    return c;
}

int qkzeft_fungetc(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "fungetc");
    const int size = nextSize(call);
    int c = 0;
    if (size == 0) {
        const TextArgument text = ArgPairCount > 0 ? readTextArgument(call, size) : TextArgument{};
        if (!text.text) {
            va_end(call.list);
            failTask(call, "Argument is null string");
            return EOF;
        }
        c = static_cast<unsigned char>(*text.text);
    } else {
        c = static_cast<int>(readInteger(call, size));  // -1, the end of a file, cannot be put back
    }
    const OpenFile file(readDescriptor(call));
    va_end(call.list);
    return file.stream ? std::ungetc(c, file.stream) : EOF;
}

int qkzeft_fgets(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fgets");
    const int size = nextSize(call);
    if (size >= 0) {
        va_end(call.list);
        failTask(call, "First argument (str) must be a register");
        return 0;
    }
    const OwnedPlaces places = qk_read_this_arg_ptrs(call, size);
    const OpenFile file(readDescriptor(call));
    va_end(call.list);
    const int room = -size / 8 + 1;
    const OwnedText text(
        static_cast<char*>(allocateBlock(static_cast<size_t>(room), "qkzeft_fgets:Cstr")));
    if (!file.stream || room < 2 || !std::fgets(text.get(), room, file.stream)) {
        file.noteFailure();
        return 0;
    }
    const size_t length = std::strlen(text.get());
    storeText(size, length, text.get(), places.get());
    return static_cast<int>(length);
}

// ---- Positions

namespace {

/// Reads a descriptor; a mask ends the run.
OpenFile positionedFile(TaskCall& call) {
    const unsigned descriptor = readDescriptor(call);
    if (descriptor == 0 || (descriptor & QK_FD)) return OpenFile(descriptor);
    failTask(call, "Cannot use channel descriptor (%x)", descriptor);
    return OpenFile(0);
}

}  // namespace

int qkzeft_ftell(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$ftell");
    const OpenFile file = positionedFile(call);
    va_end(call.list);
    const off_t position = file.stream ? ftello(file.stream) : -1;
    if (position < 0) file.noteFailure();
    return static_cast<int>(std::min<off_t>(position, INT_MAX));
}

int qkzeft_fseek(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$fseek");
    const OpenFile file = positionedFile(call);
    const auto offset = static_cast<int32_t>(nextInteger(call));
    const uint64_t operation = nextInteger(call);
    va_end(call.list);
    if (operation > 2) {
        failTask(call, "Illegal value of %" PRIx64 " for operation", operation);
        return -1;
    }
    constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
    const int result = file.stream ? std::fseek(file.stream, offset, kOrigins[operation]) : -1;
    if (result != 0) file.noteFailure();
    return result;
}

int qkzeft_rewind(int flags, const void* instance, const char* scope, int ArgPairCount, ...) {
    QK_BEGIN_TASK(call, "$rewind");
    const OpenFile file = positionedFile(call);
    va_end(call.list);
    if (file.stream) std::rewind(file.stream);
    return 0;
}
