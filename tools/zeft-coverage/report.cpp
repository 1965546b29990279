#include "report.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace coverage {

namespace {

struct Totals {
    size_t nets = 0, bits = 0, rose = 0, fell = 0, toggled = 0;
    void add(const Net& net) {
        ++nets;
        bits += net.width();
        rose += net.bitsRisen();
        fell += net.bitsFallen();
        toggled += net.bitsToggled();
    }
    bool isBelow(double percent) const {
        return static_cast<double>(toggled) * 100 < percent * static_cast<double>(bits);
    }
};

/// A scope with all that is below it, or a net.
struct Row {
    std::string name;
    Totals totals;
    std::string missing;  ///< of a net: its bits that did not rise and fall
};

struct Tables {
    std::vector<Row> scopes, nets;
    Totals all;
};

bool isWithin(const std::string& name, const std::string& scope) {
    return scope.empty() ||
           (name.starts_with(scope) && name.size() > scope.size() && name[scope.size()] == '.');
}

/// @return the bits of a net that did not toggle, as runs from the left: "7:4,1"; counted from 0
///         at the right, as bounds need not be those of digits
std::string missingBits(const Net& net) {
    std::string text;
    const size_t width = net.width();
    const auto isMissing = [&](size_t i) { return net.rose[i] != '1' || net.fell[i] != '1'; };
    for (size_t i = 0; i < width; ++i) {
        if (!isMissing(i)) continue;
        size_t last = i;
        while (last + 1 < width && isMissing(last + 1)) ++last;
        if (!text.empty()) text += ',';
        text += std::to_string(width - 1 - i);
        if (last != i) text += ":" + std::to_string(width - 1 - last);
        i = last;
    }
    return text;
}

Tables tablesOf(const File& file, const ReportOptions& options) {
    Tables tables;
    std::map<std::string, Totals> scopes;
    for (const Net& net : file.nets) {
        if (!isWithin(net.name, options.scope)) continue;
        tables.all.add(net);
        for (size_t dot = net.name.find('.'); dot != std::string::npos;
             dot = net.name.find('.', dot + 1))
            if (dot >= options.scope.size()) scopes[net.name.substr(0, dot)].add(net);
        Row row{net.name + net.range, {}, missingBits(net)};
        row.totals.add(net);
        if (!row.missing.empty() && row.totals.isBelow(options.below))
            tables.nets.push_back(std::move(row));
    }
    for (const auto& [name, totals] : scopes)
        if (totals.isBelow(options.below)) tables.scopes.push_back({name, totals, ""});
    return tables;
}

size_t longest(const std::vector<Row>& rows, size_t least) {
    for (const Row& row : rows) least = std::max(least, row.name.size());
    return least;
}

std::string lineOf(size_t width, const std::string& name, const Totals& totals) {
    char text[128];
    std::snprintf(text, sizeof text, "  %6zu  %7zu  %6s  %6s  %7s", totals.nets, totals.bits,
                  percent(totals.rose, totals.bits).c_str(),
                  percent(totals.fell, totals.bits).c_str(),
                  percent(totals.toggled, totals.bits).c_str());
    return name + std::string(width - std::min(width, name.size()), ' ') + text + "\n";
}

}  // namespace

std::string textReport(const File& file, const ReportOptions& options) {
    const Tables tables = tablesOf(file, options);
    const size_t width = longest(tables.scopes, 5);
    std::string text =
        "scope" + std::string(width - 5, ' ') + "    nets     bits  rose %  fell %  toggled\n";
    for (const Row& row : tables.scopes) text += lineOf(width, row.name, row.totals);
    text += lineOf(width, "all", tables.all);
    if (tables.nets.empty()) return text;
    const size_t netWidth = longest(tables.nets, 3);
    text +=
        "\nnet" + std::string(netWidth - 3, ' ') + "  toggled  bits that did not rise and fall\n";
    for (const Row& row : tables.nets) {
        const std::string part = percent(row.totals.toggled, row.totals.bits);
        text += row.name + std::string(netWidth - row.name.size() + 2, ' ') +
                std::string(7 - std::min<size_t>(7, part.size()), ' ') + part + "  " + row.missing +
                "\n";
    }
    return text;
}

// ---- HTML

namespace {

std::string htmlText(const std::string& text) {
    std::string escaped;
    for (const char c : text)
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else
            escaped += c;
    return escaped;
}

std::string cell(const std::string& text) { return "<td>" + htmlText(text) + "</td>"; }

std::string barOf(const Totals& totals) {
    const std::string part = percent(totals.toggled, totals.bits);
    return "<td><div class=\"bar\"><div style=\"width:" + part + "%\"></div></div></td><td>" +
           part + "</td>";
}

std::string numbersOf(const Totals& totals) {
    return cell(std::to_string(totals.nets)) + cell(std::to_string(totals.bits)) +
           cell(percent(totals.rose, totals.bits)) + cell(percent(totals.fell, totals.bits));
}

constexpr const char* kStyle =
    "body{font:14px sans-serif;margin:2em;color:#222}table{border-collapse:collapse;margin:1em 0}"
    "td,th{padding:2px 10px;text-align:right;border-bottom:1px solid #ddd}"
    "td:first-child,th:first-child,td.bits{text-align:left;font-family:monospace}"
    ".bar{width:200px;height:12px;background:#f3c9c4}.bar div{height:12px;background:#5a9e6f}";

}  // namespace

std::string htmlReport(const File& file, const ReportOptions& options) {
    const Tables tables = tablesOf(file, options);
    std::string text = "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>" +
                       htmlText("Toggle coverage of " + file.model) + "</title>\n<style>" + kStyle +
                       "</style>\n<h1>" + htmlText("Toggle coverage of " + file.model) +
                       "</h1>\n<table>\n<tr><th>scope<th>nets<th>bits<th>rose %<th>fell %<th>"
                       "<th>toggled %</tr>\n";
    for (const Row& row : tables.scopes)
        text += "<tr>" + cell(row.name) + numbersOf(row.totals) + barOf(row.totals) + "</tr>\n";
    text += "<tr>" + cell("all") + numbersOf(tables.all) + barOf(tables.all) + "</tr>\n</table>\n";
    if (tables.nets.empty()) return text + "</html>\n";
    text += "<table>\n<tr><th>net<th><th>toggled %<th>bits that did not rise and fall</tr>\n";
    for (const Row& row : tables.nets)
        text += "<tr>" + cell(row.name) + barOf(row.totals) + "<td class=\"bits\">" +
                htmlText(row.missing) + "</td></tr>\n";
    return text + "</table>\n</html>\n";
}

}  // namespace coverage
