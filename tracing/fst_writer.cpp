#include "tracing/fst_writer.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "base/storage.h"

namespace {

// Types of blocks.
constexpr unsigned kHeadBlock = 0, kGeometryBlock = 3, kHierarchyBlock = 4, kChangesBlock = 8,
                   kUnfinishedBlock = 255;

// Marks of the hierarchy.
constexpr unsigned kScopeMark = 254, kUpscopeMark = 255;
constexpr unsigned kModuleScope = 0, kWireVariable = 16, kNoDirection = 0;

constexpr size_t kVersionBytes = 128, kDateBytes = 119;
constexpr unsigned kVerilogDesign = 0;
constexpr unsigned kLz4Chains = '4';

constexpr size_t kBufferBytes = 256 * 1024;
constexpr size_t kFirstSlab = 64 * 1024;
constexpr int kFirstPieceLog = 5, kLargestPieceLog = 13;
constexpr size_t kMostCountBytes = 5;  // a count of times, of 32 bits
constexpr size_t kStoreBytes = 8;      // bits of values are stored so many bytes at a time
constexpr size_t kChangesFieldBytes = 3 * sizeof(uint64_t);
constexpr size_t kShortestPacked = 32;
constexpr size_t kPiecesAhead = 8;
constexpr int kAhead = 96, kNearAhead = 32;

static_assert(std::endian::native == std::endian::little, "bytes are turned round");

unsigned char* storeVarint(unsigned char* out, uint32_t number) {
    for (; number >= 0x80; number >>= 7) *out++ = static_cast<unsigned char>(number | 0x80);
    *out++ = static_cast<unsigned char>(number);
    return out;
}

uint64_t hashOf(const unsigned char* bytes, size_t count) {
    constexpr uint64_t odd = 0x9e3779b97f4a7c15;
    uint64_t hash = count * odd, word = 0;
    const auto mix = [&] {
        hash = (hash ^ word) * odd;
        hash ^= hash >> 29;
    };
    for (; count >= sizeof word; bytes += sizeof word, count -= sizeof word) {
        std::memcpy(&word, bytes, sizeof word);
        mix();
    }
    word = 0;
    std::memcpy(&word, bytes, count);
    mix();
    return hash;
}

/// Writes a character for each of `count` bits, the highest of the first byte first.
void expandBits(const unsigned char* bytes, size_t count, char* out) {
    constexpr uint64_t each = 0x0101010101010101, falling = 0x0102040810204080;
    for (; count != 0; ++bytes) {
        const uint64_t bits = *bytes * each & falling;
        const uint64_t digits = ((bits + 0x7f * each) >> 7 & each) + '0' * each;
        const size_t piece = std::min<size_t>(count, 8);
        std::memcpy(out, &digits, piece);
        out += piece;
        count -= piece;
    }
}

template <class T>
std::span<const unsigned char> bytesOf(const T& first, size_t count = 1) {
    return {reinterpret_cast<const unsigned char*>(&first), count * sizeof(T)};
}

constexpr int kZlibWindow = 15, kGzipWindow = 16 + 15;

/// Packs by zlib and gives the result to take(span), piece by piece.
/// @return whether there was memory
template <class Take>
bool deflateInto(Take&& take, std::span<const unsigned char> bytes, int window, int strategy) {
    constexpr int level = 4, memoryLevel = 8;
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, window, memoryLevel, strategy) != Z_OK)
        return false;
    unsigned char out[16384];
    stream.next_in = const_cast<Bytef*>(bytes.data());
    size_t count = bytes.size();
    for (int state = Z_OK; state == Z_OK;) {
        const size_t piece = std::min<size_t>(count, 1 << 30);
        stream.avail_in = static_cast<uInt>(piece);
        stream.next_out = out;
        stream.avail_out = sizeof out;
        state = deflate(&stream, piece == count ? Z_FINISH : Z_NO_FLUSH);
        count -= piece - stream.avail_in;
        take(std::span<const unsigned char>(out, sizeof out - stream.avail_out));
    }
    deflateEnd(&stream);
    return true;
}

}  // namespace

// ---- Bytes

void FstBytes::put(std::span<const unsigned char> more) {
    if (more.empty()) return;
    const size_t size = bytes.size();
    bytes.resize(size + more.size());
    std::memcpy(&bytes[size], more.data(), more.size());
}

void FstBytes::putText(const char* text) { put(bytesOf(*text, std::strlen(text) + 1)); }

void FstBytes::putNumber(uint64_t number) {
    number = __builtin_bswap64(number);
    put(bytesOf(number));
}

void FstBytes::putVarint(uint64_t number) {
    for (; number >= 0x80; number >>= 7) put(static_cast<unsigned>(number & 0x7f) | 0x80);
    put(static_cast<unsigned>(number));
}

void FstBytes::putSignedVarint(int64_t number) {
    for (bool isLast = false; !isLast; number >>= 7) {
        const auto low = static_cast<unsigned>(number & 0x7f);
        isLast = number >> 6 == 0 || number >> 6 == -1;  // what is left repeats the sign
        put(isLast ? low : low | 0x80);
    }
}

// ---- The file

FstWriter::~FstWriter() {
    if (file >= 0) ::close(file);
}

bool FstWriter::open(const char* path) {
    buffer.reserve(kBufferBytes);
    file = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return file >= 0;
}

void FstWriter::fail(int reason) {
    if (failure == 0) failure = reason ? reason : EIO;
}

void FstWriter::drain() {
    const unsigned char* from = buffer.data();
    size_t left = buffer.size();
    while (left != 0 && failure == 0) {
        const ssize_t written = ::write(file, from, left);
        if (written < 0) {
            if (errno != EINTR) fail(errno);
            continue;
        }
        from += written;
        left -= static_cast<size_t>(written);
    }
    buffer.clear();
}

void FstWriter::emit(Span bytes) {
    const unsigned char* from = bytes.data();
    size_t count = bytes.size();
    offset += count;
    while (count != 0) {
        const size_t piece = std::min(count, kBufferBytes - buffer.size());
        buffer.insert(buffer.end(), from, from + piece);
        from += piece;
        count -= piece;
        if (buffer.size() == kBufferBytes) drain();
    }
}

/// Writes over what has been written.
void FstWriter::patch(uint64_t at, Span bytes) {
    drain();
    if (failure != 0) return;
    const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (written != static_cast<ssize_t>(bytes.size())) fail(written < 0 ? errno : EIO);
}

/// @param fieldBytes  of what is known at the section's end only
void FstWriter::beginSection(size_t fieldBytes) {
    sectionAt = offset;
    FstBytes start;
    start.put(kUnfinishedBlock);
    start.putNumber(0);
    for (size_t i = 0; i < fieldBytes; ++i) start.put(0);
    emit(start);
}

void FstWriter::endSection(unsigned type, const FstBytes& fields) {
    FstBytes start;
    start.put(type);
    start.putNumber(offset - sectionAt - 1);
    start.put(fields);
    patch(sectionAt, start);
}

/// @return the bytes packed by zlib, or as they are if that is no longer
FstWriter::Span FstWriter::smallerOf(Span bytes, int strategy) {
    deflated.clear();
    const auto take = [&](Span piece) { deflated.put(piece); };
    const bool isPacked = deflateInto(take, bytes, kZlibWindow, strategy);
    return isPacked && deflated.size() < bytes.size() ? Span(deflated) : bytes;
}

// ---- The head

void FstWriter::setHead(const char* versionText, const char* dateText, int timescaleExponent) {
    version = versionText;
    date = dateText;
    timescale = timescaleExponent;
}

void FstWriter::beginScope(const char* name) {
    hierarchy.put(kScopeMark);
    hierarchy.put(kModuleScope);
    hierarchy.putText(name);
    hierarchy.putText("");  // the name of the module
    ++scopeCount;
}

void FstWriter::endScope() { hierarchy.put(kUpscopeMark); }

void FstWriter::declare(uint32_t slot, const char* name, uint32_t width) {
    if (slot >= chains.size()) {
        chains.resize(slot + size_t{1});
        handles.resize(slot + size_t{1});
    }
    hierarchy.put(kWireVariable);
    hierarchy.put(kNoDirection);
    hierarchy.putText(name);
    hierarchy.putVarint(width);
    hierarchy.putVarint(handles[slot]);  // 0: a variable of its own
    ++nameCount;
    if (handles[slot] != 0) return;

    variables.push_back({slot, width, frame.size()});
    handles[slot] = static_cast<uint32_t>(variables.size());
    geometry.putVarint(width);
    frame.append(width, 'x');
    Chain& chain = chains[slot];
    chain.kind = width == 1 ? kBit : width <= 64 ? kNarrow : kWide;
    chain.valueShift = static_cast<uint8_t>(width <= 64 ? 64 - width : 0);
    chain.valueBytes = static_cast<uint8_t>(chain.kind == kNarrow ? (width + 7) / 8 : 0);
    chain.pieceLog = kFirstPieceLog;
}

void FstWriter::endDefinitions() {
    emit(head());
    writeHierarchy();
    writeGeometry();
    index.resize(variables.size());
}

/// Without times until there is a block of changes and the file ends.
FstBytes FstWriter::head() const {
    FstBytes fields;
    fields.putNumber(blockCount ? firstTime : 0);
    fields.putNumber(blockCount ? lastTime : 0);
    const double endianTest = 2.7182818284590452354;
    fields.put(bytesOf(endianTest));
    fields.putNumber(fullBlock * sizeof(OutputChange));
    fields.putNumber(scopeCount);
    fields.putNumber(nameCount);
    fields.putNumber(variables.size());
    fields.putNumber(blockCount);
    fields.put(static_cast<unsigned>(timescale));
    const auto putField = [&](std::string text, size_t bytes) {
        text.resize(bytes - 1);
        fields.put(bytesOf(*text.c_str(), bytes));
    };
    putField(version, kVersionBytes);
    putField(date, kDateBytes);
    fields.put(kVerilogDesign);
    fields.putNumber(0);  // what times count from

    FstBytes block;
    block.put(kHeadBlock);
    block.putNumber(sizeof(uint64_t) + fields.size());
    block.put(fields);
    return block;
}

void FstWriter::writeHierarchy() {
    beginSection(0);
    FstBytes size;
    size.putNumber(hierarchy.size());
    emit(size);
    const auto take = [&](Span bytes) { emit(bytes); };
    if (!deflateInto(take, hierarchy, kGzipWindow, Z_DEFAULT_STRATEGY)) fail(ENOMEM);
    hierarchy = {};
    endSection(kHierarchyBlock, {});
}

void FstWriter::writeGeometry() {
    beginSection(0);
    FstBytes sizes;
    sizes.putNumber(geometry.size());
    sizes.putNumber(variables.size());
    emit(sizes);
    emit(smallerOf(geometry, Z_DEFAULT_STRATEGY));
    geometry = {};
    endSection(kGeometryBlock, {});
}

// ---- Changes

void FstWriter::writeTime(uint64_t time) {
    if (failure != 0 || (timeCount != 0 && time == lastTime)) return;
    if (entries >= fullBlock) endBlock();
    if (!hasTime) firstTime = blockBegin = time;
    hasTime = true;
    times.putVarint(timeCount == 0 ? time : time - lastTime);
    lastTime = time;
    ++timeCount;
}

void FstWriter::write(const OutputChange* change, const OutputChange* end) {
    if (failure != 0 || change == end) return;
    // After a flush the time goes on.
    if (timeCount == 0 && change->slot != kTimeMarker) writeTime(lastTime);
    entries += static_cast<size_t>(end - change);
    const size_t count = chains.size();
    Chain* const all = chains.data();
    for (; change != end; ++change) {
        if (end - change > kAhead && change[kAhead].slot < count)
            __builtin_prefetch(&all[change[kAhead].slot], 1);
        if (end - change > kNearAhead && change[kNearAhead].slot < count)
            __builtin_prefetch(all[change[kNearAhead].slot].put, 1);
        if (change->slot >= count) continue;
        Chain& chain = all[change->slot];
        if (__builtin_expect((chain.kind == kBit || chain.kind == kNarrow) && change->shape == 0,
                             1)) {
            writeNarrow(chain, change->value);
        } else if (change->slot == kTimeMarker) {
            writeTime(change->value);
        } else if (chain.kind != kUndeclared) {
            writePart(chain, *change);
        }
    }
}

FstWriter::Piece* FstWriter::lastPiece(const Chain& chain) {
    return reinterpret_cast<Piece*>(chain.end - (size_t{1} << chain.pieceLog));
}

/// Ends the last piece and begins one with room for `bytes`.
void FstWriter::grow(Chain& chain, size_t bytes) {
    Piece* const last = chain.first ? lastPiece(chain) : nullptr;
    int log = chain.pieceLog;
    if (last) log = std::min(log + 1, kLargestPieceLog);
    log = std::max(log, static_cast<int>(std::bit_width(sizeof(Piece) + bytes - 1)));
    Piece* const next = arena.take(size_t{1} << log);
    if (last) {
        last->next = next;
        last->dataEnd = chain.put;
    } else {
        chain.first = next;
    }
    chain.pieceLog = static_cast<uint8_t>(log);
    chain.put = next->data();
    chain.end = reinterpret_cast<unsigned char*>(next) + (size_t{1} << log);
}

/// Stores how many times have passed, and makes room for `bytes` of the value.
/// @param bit  the value of a variable of one bit
inline void FstWriter::startChange(Chain& chain, size_t bytes, uint64_t value) {
    const size_t room = kMostCountBytes + bytes;
    if (static_cast<size_t>(chain.end - chain.put) < room) grow(chain, room);
    const uint32_t now = timeCount - 1;
    const uint32_t passed = now - chain.lastTime;
    chain.lastTime = now;
    const bool isBit = chain.kind == kBit;
    chain.put = storeVarint(
        chain.put, passed << (isBit ? 2 : 1) | (isBit ? static_cast<uint32_t>(value) << 1 : 0));
}

inline void FstWriter::writeNarrow(Chain& chain, uint64_t value) {
    startChange(chain, kStoreBytes, value);
    const uint64_t bits = __builtin_bswap64(value << chain.valueShift);
    std::memcpy(chain.put, &bits, sizeof bits);
    chain.put += chain.valueBytes;
}

void FstWriter::writePart(Chain& chain, const OutputChange& part) {
    const auto bits = part.shape & kShapeBits;
    const bool isFirst = (part.shape & kShapeFirst) != 0, isLast = (part.shape & kShapeLast) != 0;
    if (isFirst && isLast && chain.kind != kWide) {
        writeNarrow(chain, part.value);
        return;
    }
    if (isFirst) {
        startChange(chain, 2 * kStoreBytes, 0);
        pendingBits = 0;
        pendingCount = 0;
    } else if (static_cast<size_t>(chain.end - chain.put) < 2 * kStoreBytes) {
        grow(chain, 2 * kStoreBytes);
    }
    if (bits == 0 || bits > QK_MAXUBITS) return;
    if (bits > 32) pushBits(chain, part.value >> 32, static_cast<int>(bits) - 32);
    const auto low = static_cast<int>(std::min<uint32_t>(bits, 32));
    pushBits(chain, part.value & bitMask(low), low);
    if (isLast && pendingCount != 0) ++chain.put;
}

/// Appends 1 to 32 bits of a wide value.
void FstWriter::pushBits(Chain& chain, uint64_t bits, int count) {
    pendingCount += count;
    pendingBits |= bits << (64 - pendingCount);
    const uint64_t turned = __builtin_bswap64(pendingBits);
    std::memcpy(chain.put, &turned, sizeof turned);
    chain.put += pendingCount / 8;
    pendingBits <<= pendingCount / 8 * 8;
    pendingCount %= 8;
}

FstWriter::Piece* FstWriter::Arena::take(size_t bytes) {
    if (left < bytes) {
        // The first is small, for files with little in them.
        if (used == slabs.size()) slabs.emplace_back(used == 0 ? kFirstSlab : kHugePageBytes);
        at = slabs[used].data();
        left = slabs[used++].size();
    }
    auto* const piece = new (at) Piece;
    at += bytes;
    left -= bytes;
    return piece;
}

void FstWriter::Arena::reset() { used = left = 0; }

// ---- The end of a block

void FstWriter::endBlock() {
    beginSection(kChangesFieldBytes);
    writeFrame();
    writeChains();
    writeIndex();
    writeTimes();
    FstBytes fields;
    fields.putNumber(blockBegin);
    fields.putNumber(lastTime);
    fields.putNumber(traversalBytes);
    endSection(kChangesBlock, fields);

    arena.reset();
    times.clear();
    timeCount = 0;
    entries = 0;
    blockBegin = lastTime;
    ++blockCount;
}

void FstWriter::writeFrame() {
    // Bits look random or repeat: a search for longer matches finds little.
    const Span bytes = smallerOf(bytesOf(*frame.data(), frame.size()), Z_RLE);
    FstBytes sizes;
    sizes.putVarint(frame.size());
    sizes.putVarint(bytes.size());
    sizes.putVarint(variables.size());
    emit(sizes);
    emit(bytes);
}

void FstWriter::prefetchPiece(const Piece* piece) {
    if (!piece) return;
    __builtin_prefetch(piece);
    __builtin_prefetch(reinterpret_cast<const char*>(piece) + 64);
}

void FstWriter::writeChains() {
    size_t count = 0;
    for (const Variable& variable : variables) count += chains[variable.slot].first != nullptr;
    seen.assign(std::bit_ceil(2 * count + 1), Seen{0, 0});
    traversalBytes = 0;

    FstBytes start;
    start.putVarint(variables.size());
    emit(start);
    chainsAt = offset;
    const unsigned char kind = kLz4Chains;
    emit(bytesOf(kind));
    for (size_t handle = 1; handle <= variables.size(); ++handle) {
        if (handle + 2 * kPiecesAhead <= variables.size())
            __builtin_prefetch(&chainOf(handle + 2 * kPiecesAhead));
        if (handle + kPiecesAhead <= variables.size())
            prefetchPiece(chainOf(handle + kPiecesAhead).first);
        const Variable& variable = variables[handle - 1];
        index[handle - 1] = 0;
        const Chain& chain = chains[variable.slot];
        if (!chain.first) continue;
        const unsigned char* bytes = nullptr;
        const size_t size = gather(chain, bytes);
        index[handle - 1] = writeChain(handle, bytes, size);
        updateFrame(variable, bytes, size);
    }
    for (const Variable& variable : variables) {
        Chain& chain = chains[variable.slot];
        if (!chain.first) continue;
        chain.first = nullptr;
        chain.put = chain.end = nullptr;
        chain.lastTime = 0;
    }
}

/// @return the place of the variable's chain, or minus the handle of one that has the same
int64_t FstWriter::writeChain(size_t handle, const unsigned char* bytes, size_t size) {
    traversalBytes += size;
    const uint64_t hash = hashOf(bytes, size);
    const auto tag = static_cast<uint32_t>(hash >> 32);
    size_t at = hash & (seen.size() - 1);
    for (; seen[at].handle != 0; at = (at + 1) & (seen.size() - 1))
        if (seen[at].hash == tag && isChain(chainOf(seen[at].handle), bytes, size))
            return -static_cast<int64_t>(seen[at].handle);
    seen[at] = {tag, static_cast<uint32_t>(handle)};

    const auto place = static_cast<int64_t>(offset - chainsAt);
    packed.resize(std::max(packed.size(), size));
    const size_t packedSize = size >= kShortestPacked ? packer.pack(bytes, size, packed.data()) : 0;
    unsigned char start[kMostCountBytes];
    const unsigned char* const startEnd =
        storeVarint(start, static_cast<uint32_t>(packedSize ? size : 0));
    emit({start, startEnd});
    emit(packedSize ? Span(packed.data(), packedSize) : Span(bytes, size));
    return place;
}

/// Takes the last value of a variable's chain for the next frame.
void FstWriter::updateFrame(const Variable& variable, const unsigned char* bytes, size_t size) {
    char* const out = &frame[variable.frameAt];
    const unsigned char* last = bytes + size;
    if (size < (variable.width + size_t{7}) / 8) return;  // a value in parts that has no end
    if (variable.width == 1) {
        for (--last; last != bytes && last[-1] >= 0x80;) --last;
        *out = static_cast<char>('0' + (*last >> 1 & 1));
    } else {
        expandBits(last - (variable.width + 7) / 8, variable.width, out);
    }
}

/// Gives a chain's bytes in one run, which stands until the next call.
size_t FstWriter::gather(const Chain& chain, const unsigned char*& bytes) {
    Piece* const last = lastPiece(chain);
    if (chain.first == last) {
        bytes = last->data();
        return static_cast<size_t>(chain.put - bytes);
    }
    gathered.clear();
    for (Piece* piece = chain.first; piece != last; piece = piece->next)
        gathered.insert(gathered.end(), piece->data(), piece->dataEnd);
    gathered.insert(gathered.end(), last->data(), chain.put);
    bytes = gathered.data();
    return gathered.size();
}

bool FstWriter::isChain(const Chain& chain, const unsigned char* bytes, size_t size) {
    Piece* const last = lastPiece(chain);
    const unsigned char* const end = bytes + size;
    for (Piece* piece = chain.first;; piece = piece->next) {
        const auto count =
            static_cast<size_t>((piece == last ? chain.put : piece->dataEnd) - piece->data());
        if (count > static_cast<size_t>(end - bytes) ||
            std::memcmp(bytes, piece->data(), count) != 0)
            return false;
        bytes += count;
        if (piece == last) return bytes == end;
    }
}

void FstWriter::writeIndex() {
    FstBytes bytes;
    int64_t lastPlace = 0, lastLike = 0;
    uint64_t none = 0;
    const auto endRun = [&] {
        if (none != 0) bytes.putVarint(none << 1);
        none = 0;
    };
    for (const int64_t place : index) {
        if (place == 0) {
            ++none;
            continue;
        }
        endRun();
        int64_t number = place - lastPlace;
        if (place > 0) {
            lastPlace = place;
        } else {
            number = place == lastLike ? 0 : place;
            lastLike = place;
        }
        bytes.putSignedVarint(number * 2 + 1);
    }
    endRun();
    const size_t size = bytes.size();
    bytes.putNumber(size);
    emit(bytes);
}

void FstWriter::writeTimes() {
    const Span bytes = smallerOf(times, Z_DEFAULT_STRATEGY);
    FstBytes sizes;
    sizes.putNumber(times.size());
    sizes.putNumber(bytes.size());
    sizes.putNumber(timeCount);
    emit(bytes);
    emit(sizes);
}

bool FstWriter::flush() {
    if (timeCount != 0 && failure == 0) endBlock();
    drain();
    return failure == 0;
}

bool FstWriter::close() {
    if (file < 0) return failure == 0;
    flush();
    if (blockCount != 0) patch(0, head());
    if (::close(std::exchange(file, -1)) != 0) fail(errno);
    return failure == 0;
}
