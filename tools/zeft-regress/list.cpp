#include "list.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <string_view>

#include "failure.h"
#include "files.h"

namespace regress {

namespace {

/// Reads the words of a list, and keeps the line number.
class Reader {
public:
    Reader(const std::string& thePath, const std::string& theText) : path(thePath), text(theText) {}
    /// Reads the words of the next line that has any. @return false at the end
    bool readLine(std::vector<std::string>& words);
    int firstLine() const { return lineOfWords; }
    [[noreturn]] void fail(const std::string& what) const {
        throw Failure(path + ":" + std::to_string(lineOfWords) + ": " + what);
    }

private:
    bool atEnd() const { return at == text.size(); }
    char take() {
        const char c = text[at++];
        if (c == '\n') ++line;
        return c;
    }
    bool skipBlanks();
    std::string readWord();
    void readQuoted(char quote, std::string& word);

    const std::string& path;
    const std::string& text;
    size_t at = 0;
    int line = 1;
    int lineOfWords = 1;
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// @return whether a word follows in this line
bool Reader::skipBlanks() {
    while (!atEnd()) {
        if (text.compare(at, 2, "\\\n") == 0)
            take();
        else if (!isBlank(text[at]))
            return text[at] != '\n';
        take();
    }
    return false;
}

void Reader::readQuoted(char quote, std::string& word) {
    while (!atEnd()) {
        char c = take();
        if (c == quote) return;
        const bool isEscape = quote == '"' && c == '\\' && !atEnd();
        if (isEscape && (text[at] == '"' || text[at] == '\\')) c = take();
        word += c;
    }
    fail(std::string("a quote is not closed: ") + quote);
}

std::string Reader::readWord() {
    std::string word;
    while (!atEnd() && !isBlank(text[at]) && text[at] != '\n') {
        if (text.compare(at, 2, "\\\n") == 0) break;
        const char c = take();
        if (c == '\'' || c == '"')
            readQuoted(c, word);
        else if (c == '\\' && !atEnd())
            word += take();
        else
            word += c;
    }
    return word;
}

bool Reader::readLine(std::vector<std::string>& words) {
    words.clear();
    while (!atEnd() && words.empty()) {
        lineOfWords = line;
        if (skipBlanks() && text[at] == '#')
            while (!atEnd() && text[at] != '\n') take();
        while (skipBlanks()) words.push_back(readWord());
        if (!atEnd()) take();  // the line's end
    }
    return !words.empty();
}

bool isName(std::string_view name) {
    const auto isFine = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || std::string_view("._+-").find(c) < 4;
    };
    return !name.empty() && name.size() <= 200 && name.front() != '.' && name.front() != '-' &&
           std::all_of(name.begin(), name.end(), isFine);
}

/// @return whether a command writes its report to a file of its own choice
bool hasReport(const std::vector<std::string>& command) {
    bool isPlaced = false, isGiven = false;
    for (const std::string& word : command) {
        isPlaced |= word.find("{}") != std::string::npos;
        isGiven |= word == "--report" || word.starts_with("--report=");
    }
    return isGiven && !isPlaced;
}

}  // namespace

std::vector<Entry> readList(const std::string& path) {
    const std::optional<std::string> text = readFile(path);
    if (!text) throw Failure(systemError(path, "cannot be read"));
    Reader reader(path, *text);
    std::vector<Entry> entries;
    std::map<std::string, int> lines;
    for (std::vector<std::string> words; reader.readLine(words);) {
        const std::string& name = words.front();
        if (text->find('\0') != std::string::npos) reader.fail("there is a NUL in the file");
        if (!isName(name))
            reader.fail("'" + name +
                        "' cannot be a name: letters, digits and ._+-, not . or - first");
        const auto [other, isNew] = lines.emplace(name, reader.firstLine());
        if (!isNew)
            reader.fail("'" + name + "' is the name of line " + std::to_string(other->second));
        if (words.size() == 1) reader.fail("'" + name + "' has no command");
        Entry entry{name, {words.begin() + 1, words.end()}};
        if (hasReport(entry.command))
            reader.fail("'" + name +
                        "': --report is given to each model; its file is {}/report.json");
        entries.push_back(std::move(entry));
    }
    if (entries.empty()) throw Failure(path + ": no comparison is listed");
    return entries;
}

std::string shellText(const std::vector<std::string>& command) {
    std::string text;
    for (const std::string& word : command) {
        if (!text.empty()) text += ' ';
        const bool isPlain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) ||
                   std::string_view("_-+=./:,@%^").find(c) != std::string_view::npos;
        });
        if (isPlain) {
            text += word;
            continue;
        }
        text += '\'';
        for (const char c : word) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
        text += '\'';
    }
    return text;
}

}  // namespace regress
