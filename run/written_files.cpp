#include "run/written_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "run/console_text.h"
#include "run/failure.h"

namespace {

struct FileId {
    dev_t device;
    ino_t inode;
    bool operator==(const FileId&) const = default;
};

struct WrittenFile {
    const void* key;
    FileId id;
    FileWriter writer;
    std::string path;
    std::FILE* text;
};

/// Never destroyed: a design may write until the end of the process.
struct WrittenFiles {
    std::vector<WrittenFile> open;
    std::string lost;  ///< the first file that lost text
};

WrittenFiles& files() {
    static auto* const all = new WrittenFiles;
    return *all;
}

/// @return whether it is a regular file; fills in `id`
bool isRegular(const struct stat& status, FileId& id) {
    id = {status.st_dev, status.st_ino};
    return S_ISREG(status.st_mode);
}

bool isRegularFile(const char* path, FileId& id) {
    struct stat status;
    return stat(path, &status) == 0 && isRegular(status, id);
}

bool isConsoleStream(std::FILE* stream, const FileId& id) {
    struct stat status;
    FileId own;
    return stream && fstat(fileno(stream), &status) == 0 && isRegular(status, own) && own == id;
}

bool isConsole(const FileId& id) {
    return isConsoleStream(qk_stdout, id) || isConsoleStream(stdout, id);
}

auto find(const void* key) {
    return std::find_if(files().open.begin(), files().open.end(),
                        [&](const WrittenFile& file) { return file.key == key; });
}

/// @return who writes a file, in the words of a message, or null
const char* writerOf(const FileId& id, bool byDesign) {
    for (const WrittenFile& file : files().open) {
        if (file.id != id) continue;
        switch (file.writer) {
            case FileWriter::kTrace: return "traceto";
            case FileWriter::kLog: return "log";
            case FileWriter::kDesign:
                if (!byDesign) return "the design";
        }
    }
    return !byDesign && isConsole(id) ? "the console" : nullptr;
}

}  // namespace

bool mayWrite(const char* path, bool byDesign) {
    FileId id;
    const char* const writer = isRegularFile(path, id) ? writerOf(id, byDesign) : nullptr;
    if (writer) printFailure("'%s' is already being written by %s\n", path, writer);
    return !writer;
}

void enterWrittenFile(const void* key, const char* path, FileWriter writer, std::FILE* text) {
    FileId id{};
    // A file that is not regular is entered only for its text.
    if (isRegularFile(path, id) || text) files().open.push_back({key, id, writer, path, text});
}

void leaveWrittenFile(const void* key) {
    const auto found = find(key);
    if (found != files().open.end()) files().open.erase(found);
}

bool closeWrittenText(std::FILE* text) {
    // fclose() may succeed although the stream's buffer could not be written.
    const bool isEntered = find(text) != files().open.end();
    const bool isWritten = !isEntered || std::fflush(text) == 0;
    if (!isWritten) noteTextLost(text);
    leaveWrittenFile(text);
    return std::fclose(text) == 0 && isWritten;
}

void noteTextLost(const void* key) {
    const auto found = find(key);
    if (found != files().open.end()) noteTextLostIn(found->path.c_str());
}

void noteTextLostIn(const char* path) {
    if (files().lost.empty()) files().lost = path;
}

bool receivesConsoleText(const char* path) {
    FileId id;
    if (!isRegularFile(path, id)) return false;
    const auto isLog = [&](const WrittenFile& file) {
        return file.writer == FileWriter::kLog && file.id == id;
    };
    return isConsole(id) || std::any_of(files().open.begin(), files().open.end(), isLog);
}

const char* qk_text_lost() {
    for (const WrittenFile& file : files().open)
        if (file.text && std::fflush(file.text) != 0) noteTextLostIn(file.path.c_str());
    return files().lost.empty() ? nullptr : files().lost.c_str();
}
