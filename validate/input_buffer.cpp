#include "validate/input_buffer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

constexpr unsigned kZlibBytes = 1 << 18;

}  // namespace

std::unique_ptr<VcdInputBuffer> VcdInputBuffer::take(gzFile gz) {
    if (!gz) return nullptr;
    std::unique_ptr<VcdInputBuffer> file(new VcdInputBuffer);
    file->gz = gz;
    gzbuffer(gz, kZlibBytes);
    if (!file->block.allocate()) throw std::bad_alloc();
    return file;
}

std::unique_ptr<VcdInputBuffer> VcdInputBuffer::open(const char* path) {
    auto file = take(gzopen(path, "rb"));
    if (!file) return nullptr;
    struct stat status;
    file->isRegular = stat(path, &status) == 0 && S_ISREG(status.st_mode);
    if (file->isRegular) file->size = static_cast<uint64_t>(status.st_size);
    return file;
}

std::unique_ptr<VcdInputBuffer> VcdInputBuffer::open(const char* path,
                                                     const Conversion& conversion) {
    auto converter = Converter::start(conversion, path);
    if (!converter) return nullptr;
    const int output = converter->takeOutput();
    const gzFile gz = gzdopen(output, "rb");
    if (!gz) close(output);
    auto file = take(gz);
    if (file) file->converter = std::move(converter);
    return file;
}

VcdInputBuffer::~VcdInputBuffer() { closeInput(); }

void VcdInputBuffer::closeInput() {
    converter = nullptr;  // which ends a current read
    ahead = nullptr;
    if (gz) gzclose(gz);
    gz = nullptr;
}

uint64_t VcdInputBuffer::position() const {
    const char* const begin = block.bytes.get();
    const uint64_t length = blockEnd - blockBegin;
    if (length == 0 || end == begin) return blockEnd;
    const auto done = static_cast<double>(cur - begin);
    const double share = done / static_cast<double>(end - begin);
    return blockBegin + static_cast<uint64_t>(share * static_cast<double>(length));
}

void VcdInputBuffer::noteFailure() {
    if (block.endsAtNul) problem = "NUL byte: the file is damaged";
    if (block.endsAtNul) return;
    if (block.error == Z_OK || block.error == Z_STREAM_END) {
        if (converter) problem = converter->finish();
        damaged |= !problem.empty();
        return;
    }
    int code;
    problem = block.error == Z_ERRNO ? std::strerror(block.systemError)
              : block.error == Z_BUF_ERROR
                  ? "unexpected end of compressed data"
                  : std::string("damaged compressed data: ") + gzerror(gz, &code);
}

void VcdInputBuffer::readBlock() {
    if (!ahead) {
        readInputBlock(gz, block);
        const bool isSlow = converter || (isRegular && !gzdirect(gz));
        if (block.isFull() && isSlow) ahead = ReadAhead::start(gz);
        return;
    }
    ahead->next(block);
    if (!block.isFull()) ahead = nullptr;
}

bool VcdInputBuffer::refill() {
    cur = end = block.bytes.get();
    if (!gz) return false;
    if (block.endsAtNul)
        block.count = 0;
    else
        readBlock();
    cur = end = block.bytes.get();
    damaged |= block.error != Z_OK || block.endsAtNul;
    blockBegin = blockEnd;
    blockEnd = std::max(blockBegin, block.fileOffset);
    if (block.count <= 0) {
        noteFailure();
        closeInput();
        return false;
    }
    end = cur + block.count;
    return true;
}
