#include "validate/input_buffer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "base/qkassert.h"

namespace {

constexpr unsigned kBlockBytes = 0x800000;
constexpr size_t kSlackBytes = 16;  // blanks behind the end, for reads of several bytes
constexpr unsigned kZlibBytes = 1 << 18;

void blankOut(char* bytes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        const bool kept = (c > ' ' && c < 127) || c == '\n';
        bytes[i] = kept ? bytes[i] : ' ';
    }
}

}  // namespace

std::unique_ptr<VcdInputBuffer> VcdInputBuffer::open(const char* path) {
    std::unique_ptr<VcdInputBuffer> file(new VcdInputBuffer);
    file->gz = gzopen(path, "rb");
    if (!file->gz) return nullptr;
    gzbuffer(file->gz, kZlibBytes);
    struct stat status;
    if (stat(path, &status) == 0 && S_ISREG(status.st_mode))
        file->size = static_cast<uint64_t>(status.st_size);
    file->buffer = std::make_unique_for_overwrite<char[]>(kBlockBytes + kSlackBytes);
    return file;
}

VcdInputBuffer::~VcdInputBuffer() { closeInput(); }

void VcdInputBuffer::closeInput() {
    if (gz) gzclose(gz);
    gz = nullptr;
}

uint64_t VcdInputBuffer::position() const {
    const uint64_t length = blockEnd - blockBegin;
    if (length == 0 || end == buffer.get()) return blockEnd;
    const auto done = static_cast<double>(cur - buffer.get());
    const double share = done / static_cast<double>(end - buffer.get());
    return blockBegin + static_cast<uint64_t>(share * static_cast<double>(length));
}

void VcdInputBuffer::noteFailure() {
    int code = Z_OK;
    const char* const text = gzerror(gz, &code);
    if (code == Z_OK || code == Z_STREAM_END) return;
    problem = code == Z_ERRNO       ? std::strerror(errno)
              : code == Z_BUF_ERROR ? "unexpected end of compressed data"
                                    : std::string("damaged compressed data: ") + text;
}

bool VcdInputBuffer::refill() {
    cur = end = buffer.get();
    if (!gz) return false;
    const int count = gzread(gz, buffer.get(), kBlockBytes);
    int error = Z_OK;
    gzerror(gz, &error);
    damaged |= error != Z_OK;
    blockBegin = blockEnd;
    blockEnd = std::max(blockBegin, static_cast<uint64_t>(std::max<z_off_t>(gzoffset(gz), 0)));
    if (count <= 0) {
        noteFailure();
        closeInput();
        return false;
    }
    const auto bytes = static_cast<size_t>(count);
    blankOut(buffer.get(), bytes);
    for (size_t i = 0; i < kSlackBytes; ++i) buffer[bytes + i] = ' ';
    end = cur + bytes;
    return true;
}
