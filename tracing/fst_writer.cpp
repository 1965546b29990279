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
constexpr size_t kMostSizeBytes = 5;  // a number of 32 bits
constexpr size_t kStoreBytes = 8;     // bits of values are stored so many bytes at a time
constexpr size_t kChangesFieldBytes = 3 * sizeof(uint64_t);
constexpr size_t kShortestPacked = 32;
constexpr int kAhead = 32;

static_assert(std::endian::native == std::endian::little, "bytes are turned round");

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

bool areEqual(std::span<const unsigned char> a, std::span<const unsigned char> b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
}

template <class T>
std::span<const unsigned char> bytesOf(const T& first, size_t count = 1) {
    return {reinterpret_cast<const unsigned char*>(&first), count * sizeof(T)};
}

constexpr int kZlibWindow = 15, kGzipWindow = 16 + 15;

/// Packs with zlib and passes the result to take(span), piece by piece.
/// @return whether there was enough memory
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
        isLast = number >> 6 == 0 || number >> 6 == -1;  // the rest repeats the sign
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

/// Overwrites bytes that have been written.
void FstWriter::patch(uint64_t at, Span bytes) {
    static_assert(sizeof(off_t) >= sizeof at, "a waveform may have more than 2 GiB");
    drain();
    if (failure != 0) return;
    const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (written != static_cast<ssize_t>(bytes.size())) fail(written < 0 ? errno : EIO);
}

/// @param fieldBytes  bytes of fields that are known only at the end of the section
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

/// @return the bytes packed by zlib, or unpacked if that is not longer
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
    if (slot >= slots.size()) slots.resize(slot + size_t{1});
    Slot& of = slots[slot];
    const bool isAlias = of.kind != kUndeclared;
    hierarchy.put(kWireVariable);
    hierarchy.put(kNoDirection);
    hierarchy.putText(name);
    hierarchy.putVarint(width);
    hierarchy.putVarint(isAlias ? of.variable.number + 1 : 0);
    ++nameCount;
    if (isAlias) return;

    of = {chains.addVariable(width), width <= 64 ? kNarrow : kWide};
    variables.push_back({width, frame.size()});
    geometry.putVarint(width);
    frame.append(width, 'x');
    parts.resize(std::max(parts.size(), (width + size_t{7}) / 8 + kStoreBytes));
}

void FstWriter::endDefinitions() {
    emit(head());
    writeHierarchy();
    writeGeometry();
    index.resize(variables.size());
}

/// Has no times until there is a block of changes and the file is being closed.
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
    fields.putNumber(0);  // the origin of times

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
    if (entries >= fullBlock || timeCount == FstChains::kMostTimes) endBlock();
    if (!hasTime) firstTime = blockBegin = time;
    hasTime = true;
    times.putVarint(timeCount == 0 ? time : time - lastTime);
    lastTime = time;
    ++timeCount;
}

void FstWriter::write(const OutputChange* change, const OutputChange* end) {
    if (failure != 0 || change == end) return;
    // After a flush the time continues.
    if (timeCount == 0 && change->slot != kTimeMarker) writeTime(lastTime);
    entries += static_cast<size_t>(end - change);
    const size_t count = slots.size();
    const Slot* const all = slots.data();
    for (; change != end; ++change) {
        if (end - change > kAhead && change[kAhead].slot < count)
            __builtin_prefetch(&all[change[kAhead].slot]);
        if (change->slot >= count) continue;
        const Slot& of = all[change->slot];
        if (__builtin_expect(of.kind == kNarrow && change->shape == 0, 1)) {
            chains.add(of.variable, timeCount - 1, change->value);
        } else if (change->slot == kTimeMarker) {
            writeTime(change->value);
        } else if (of.kind != kUndeclared) {
            writePart(of, *change);
        }
    }
}

/// Takes a part of a value, which is passed over unless it has all its parts in order.
void FstWriter::writePart(const Slot& of, const OutputChange& part) {
    const uint32_t bits = part.shape & kShapeBits;
    const bool isLast = (part.shape & kShapeLast) != 0;
    if (part.shape & kShapeFirst) {
        if (isLast && of.kind == kNarrow) {
            chains.add(of.variable, timeCount - 1, part.value);
            return;
        }
        partsOf = part.slot;
        partBits = 0;
        pendingBits = 0;
    }
    const uint32_t width = of.variable.width;
    if (part.slot != partsOf || bits == 0 || bits > QK_MAXUBITS || bits > width - partBits) {
        partsOf = kTimeMarker;
        return;
    }
    if (bits > 32) pushBits(part.value >> 32, bits - 32);
    const uint32_t low = std::min<uint32_t>(bits, 32);
    pushBits(part.value & bitMask(static_cast<int>(low)), low);
    if (!isLast || partBits != width) return;
    partsOf = kTimeMarker;
    if (width == 1)
        chains.add(of.variable, timeCount - 1, parts[0] >> 7);
    else
        chains.add(of.variable, timeCount - 1, Span(parts.data(), (width + 7) / 8));
}

/// Appends 1 to 32 bits of a value in parts.
void FstWriter::pushBits(uint64_t bits, uint32_t count) {
    const uint32_t begun = partBits % 8, filled = begun + count;
    pendingBits |= bits << (64 - filled);
    const uint64_t turned = __builtin_bswap64(pendingBits);
    std::memcpy(&parts[partBits / 8], &turned, sizeof turned);
    pendingBits <<= filled / 8 * 8;
    partBits += count;
}

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

    chains.clear();
    times.clear();
    timeCount = 0;
    entries = 0;
    blockBegin = lastTime;
    ++blockCount;
}

void FstWriter::writeFrame() {
    // Bits look random or repeat: searching for longer matches finds little.
    const Span bytes = smallerOf(bytesOf(*frame.data(), frame.size()), Z_RLE);
    FstBytes sizes;
    sizes.putVarint(frame.size());
    sizes.putVarint(bytes.size());
    sizes.putVarint(variables.size());
    emit(sizes);
    emit(bytes);
}

void FstWriter::writeChains() {
    seen.assign(std::bit_ceil(2 * variables.size() + 1), Seen{0, 0});
    traversalBytes = 0;

    FstBytes start;
    start.putVarint(variables.size());
    emit(start);
    chainsAt = offset;
    const unsigned char kind = kLz4Chains;
    emit(bytesOf(kind));
    for (size_t group = 0; group < chains.groupCount(); ++group) {
        size_t variable = FstChains::firstOf(group);
        for (const Span chain : chains.chainsOf(group, timeCount)) {
            index[variable] = chain.empty() ? 0 : writeChain(variable, chain);
            if (!chain.empty()) updateFrame(variables[variable], chain);
            ++variable;
        }
    }
}

/// @return the place of the variable's chain, or minus the handle of one that has the same
int64_t FstWriter::writeChain(size_t variable, Span chain) {
    traversalBytes += chain.size();
    const uint64_t hash = hashOf(chain.data(), chain.size());
    const auto tag = static_cast<uint32_t>(hash >> 32);
    size_t at = static_cast<size_t>(hash) & (seen.size() - 1);
    for (; seen[at].handle != 0; at = (at + 1) & (seen.size() - 1))
        if (seen[at].hash == tag && areEqual(chains.chain(seen[at].handle - 1), chain))
            return -static_cast<int64_t>(seen[at].handle);
    seen[at] = {tag, static_cast<uint32_t>(variable + 1)};

    const auto place = static_cast<int64_t>(offset - chainsAt);
    const size_t size = chain.size();
    packed.resize(std::max(packed.size(), size));
    const size_t packedSize =
        size >= kShortestPacked ? packer.pack(chain.data(), size, packed.data()) : 0;
    unsigned char start[kMostSizeBytes];
    const unsigned char* const startEnd =
        storeVarint(start, static_cast<uint32_t>(packedSize ? size : 0));
    emit({start, startEnd});
    emit(packedSize ? Span(packed.data(), packedSize) : chain);
    return place;
}

/// Copies the last value of a variable's chain to the next frame.
void FstWriter::updateFrame(const Variable& variable, Span chain) {
    char* const out = &frame[variable.frameAt];
    if (variable.width == 1) {
        const unsigned char* last = &chain.back();
        while (last != chain.data() && last[-1] >= 0x80) --last;
        *out = static_cast<char>('0' + (*last >> 1 & 1));
    } else {
        const size_t bytes = (variable.width + size_t{7}) / 8;
        expandBits(chain.data() + chain.size() - bytes, variable.width, out);
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
