#include "tests/support/waveforms.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

namespace {

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += part + ".";
    return text;
}

}  // namespace

std::map<std::string, std::string> changesOf(const std::string& vcd) {
    std::map<std::string, std::string> changes;
    std::map<std::string, std::vector<std::string*>> byCode;
    std::vector<std::string> scopes;
    std::istringstream in(vcd);
    std::string word, time, code, value;
    for (bool inHead = true; inHead && in >> word;) {
        if (word == "$scope") {
            in >> word >> word;
            scopes.push_back(word);
        } else if (word == "$upscope") {
            scopes.pop_back();
        } else if (word == "$var") {
            in >> word >> word >> code;
            std::string name = joined(scopes);
            while (in >> word && word != "$end") name += word;
            byCode[code].push_back(&changes[name]);
        }
        inHead = word != "$enddefinitions";
    }
    while (in >> word) {
        if (word[0] == '$') continue;
        if (word[0] == '#') {
            time = word.substr(1);
            continue;
        }
        if (word[0] == 'b') {
            value = word.substr(1);
            in >> code;
        } else {
            value = word.substr(0, 1);
            code = word.substr(1);
        }
        value.erase(0, std::min(value.find_first_not_of('0'), value.size() - 1));
        for (std::string* of : byCode[code]) *of += time + ":" + value + " ";
    }
    return changes;
}

std::string readFst(const std::string& path) {
    FILE* const pipe = popen(("fst2vcd '" + path + "' 2>&1").c_str(), "r");
    std::string text;
    char piece[65536];
    for (size_t count; pipe && (count = std::fread(piece, 1, sizeof piece, pipe)) != 0;)
        text.append(piece, count);
    if (!pipe || pclose(pipe) != 0) text = "failed: " + text;
    return text;
}
