#include "coverage_file.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "failure.h"
#include "files.h"
#include "json_file.h"

namespace coverage {

using nlohmann::json;
using regress::Failure;

namespace {

constexpr const char* kFormat = "zeft-coverage 1";

constexpr const char* kDigits = "0123456789abcdef";

/// @return `width` binary digits. Throws Failure.
std::string bitsOf(const std::string& hex, size_t width, const std::string& where) {
    if (hex.find_first_not_of(kDigits) != std::string::npos)
        throw Failure(where + ": '" + hex + "' is no number");
    std::string bits;
    for (const char c : hex) {
        const size_t value = std::string_view(kDigits).find(c);
        for (int bit = 3; bit >= 0; --bit) bits += (value >> bit & 1) != 0 ? '1' : '0';
    }
    const size_t excess = bits.size() - width;
    if (hex.size() != (width + 3) / 4 || bits.find('1') < excess)
        throw Failure(where + ": '" + hex + "' has not " + std::to_string(width) + " bits");
    return bits.substr(excess);
}

std::string hexOf(const std::string& bits) {
    std::string hex;
    const std::string padded = std::string((4 - bits.size() % 4) % 4, '0') + bits;
    for (size_t at = 0; at < padded.size(); at += 4) {
        size_t value = 0;
        for (size_t i = at; i < at + 4; ++i) value = value * 2 + (padded[i] == '1');
        hex += kDigits[value];
    }
    return hex;
}

size_t ones(const std::string& bits) {
    return static_cast<size_t>(std::count(bits.begin(), bits.end(), '1'));
}

Net netOf(const json& value, const std::string& path) {
    const std::string name = value.at("net").get<std::string>();
    const size_t width = value.at("width").get<size_t>();
    const std::string where = path + ": " + name;
    return {name, value.at("range").get<std::string>(),
            bitsOf(value.at("rose").get<std::string>(), width, where),
            bitsOf(value.at("fell").get<std::string>(), width, where)};
}

}  // namespace

size_t Net::bitsRisen() const { return ones(rose); }
size_t Net::bitsFallen() const { return ones(fell); }
size_t Net::bitsToggled() const {
    size_t count = 0;
    for (size_t i = 0; i < rose.size(); ++i) count += rose[i] == '1' && fell[i] == '1';
    return count;
}

File read(const std::string& path) {
    File file;
    regress::readJson(path, kFormat, [&](const json& value) {
        file.model = value.at("model").get<std::string>();
        for (const json& net : value.at("nets")) file.nets.push_back(netOf(net, path));
    });
    std::sort(file.nets.begin(), file.nets.end(),
              [](const Net& a, const Net& b) { return a.name < b.name; });
    return file;
}

void merge(File& file, const std::string& first, const File& other, const std::string& path) {
    const auto refuse = [&](const std::string& what) {
        throw Failure(path + ": is of another model than " + first + ": " + what);
    };
    if (file.model != other.model) refuse(other.model + ", not " + file.model);
    for (size_t i = 0; i < std::max(file.nets.size(), other.nets.size()); ++i) {
        if (i == file.nets.size()) refuse("it has a net " + other.nets[i].name);
        if (i == other.nets.size()) refuse("it has no net " + file.nets[i].name);
        Net& net = file.nets[i];
        const Net& more = other.nets[i];
        if (more.name > net.name) refuse("it has no net " + net.name);
        if (more.name < net.name) refuse("it has a net " + more.name);
        if (more.width() != net.width() || more.range != net.range)
            refuse("the bounds of " + net.name + " are '" + more.range + "', not '" + net.range +
                   "'");
        for (size_t bit = 0; bit < net.width(); ++bit) {
            net.rose[bit] = std::max(net.rose[bit], more.rose[bit]);
            net.fell[bit] = std::max(net.fell[bit], more.fell[bit]);
        }
    }
}

std::string textOf(const File& file) {
    size_t bits = 0, rose = 0, fell = 0, toggled = 0;
    std::string nets;
    for (const Net& net : file.nets) {
        bits += net.width();
        rose += net.bitsRisen();
        fell += net.bitsFallen();
        toggled += net.bitsToggled();
        nets += std::string(nets.empty() ? "\n" : ",\n") +
                "    {\"net\": " + json(net.name).dump() +
                ", \"range\": " + json(net.range).dump() +
                ", \"width\": " + std::to_string(net.width()) + ", \"rose\": \"" + hexOf(net.rose) +
                "\", \"fell\": \"" + hexOf(net.fell) + "\"}";
    }
    return std::string("{\n  \"format\": \"") + kFormat +
           "\",\n  \"model\": " + json(file.model).dump() +
           ",\n  \"totals\": {\"nets\": " + std::to_string(file.nets.size()) +
           ", \"bits\": " + std::to_string(bits) + ", \"rose\": " + std::to_string(rose) +
           ", \"fell\": " + std::to_string(fell) + ", \"toggled\": " + std::to_string(toggled) +
           "},\n  \"nets\": [" + nets + (nets.empty() ? "]" : "\n  ]") + "\n}\n";
}

std::string percent(size_t part, size_t whole) {
    if (whole == 0) return "-";
    const size_t tenths = part * 1000 / whole;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

}  // namespace coverage
