// Verilator's dump in JSON (--json-only, releases after 5.044).
//
// Each node is an object: its type, its fields, and its operands, which are lists of nodes. Only
// this file depends on the format. A node of a type that is not in the tables below is refused,
// unless it is an expression that assigns nothing.
#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "tree.h"

namespace qkverilate {

namespace {

using nlohmann::json;

/// Nodes of the same form in both dumps: the kind, and the operands that are its children.
struct Shape {
    std::string_view type, kind;
    std::vector<const char*> operands;
};

const Shape kShapes[] = {
    {"NETLIST", "netlist", {"modulesp", "miscsp"}},
    {"MODULE", "module", {"stmtsp"}},
    {"IFACE", "iface", {"stmtsp"}},
    {"PACKAGE", "package", {"stmtsp"}},
    {"CLASS", "package", {}},
    {"CLASSPACKAGE", "package", {}},
    {"TYPETABLE", "types", {"typesp"}},
    {"CONSTPOOL", "", {}},
    {"PRIMITIVE", "", {}},
    {"VAR", "var", {"valuep"}},
    {"CELL", "instance", {"pinsp"}},
    {"PIN", "port", {"exprp"}},
    {"GENBLOCK", "begin", {"itemsp"}},
    {"BEGIN", "begin", {"declsp", "stmtsp"}},
    {"ALWAYS", "always", {"sentreep", "sensesp", "stmtsp"}},
    {"SENTREE", "sentree", {"sensesp"}},
    {"SENITEM", "senitem", {"sensp", "condp"}},
    {"INITIAL", "initial", {"stmtsp"}},
    {"INITIALSTATIC", "initial", {"stmtsp"}},
    {"INITIALSTATICSTMT", "initial", {"stmtsp"}},
    {"INITIALAUTOMATIC", "begin", {"stmtsp"}},
    {"INITIALAUTOMATICSTMT", "begin", {"stmtsp"}},
    {"FINAL", "final", {"stmtsp"}},
    {"ASSIGN", "assign", {"timingControlp", "rhsp", "lhsp"}},
    {"ASSIGNDLY", "assigndly", {"timingControlp", "rhsp", "lhsp"}},
    {"ASSIGNW", "contassign", {"timingControlp", "rhsp", "lhsp"}},
    {"IF", "if", {"condp"}},
    {"CASE", "case", {"exprp", "itemsp"}},
    {"CASEITEM", "caseitem", {"condsp"}},
    {"LOOP", "loop", {"stmtsp", "contsp"}},
    {"LOOPTEST", "expression", {"condp"}},
    {"WHILE", "loop", {"precondsp", "condp", "stmtsp", "incsp"}},
    {"DOWHILE", "loop", {"stmtsp", "condp"}},
    {"REPEAT", "loop", {"countp", "stmtsp"}},
    {"TASKREF", "taskref", {"argsp", "pinsp"}},
    {"FUNCREF", "funcref", {"argsp", "pinsp"}},
    {"ARG", "arg", {"exprp"}},
    {"TASK", "task", {"stmtsp"}},
    {"FUNC", "func", {"fvarp", "stmtsp"}},
    {"DELAY", "delay", {"lhsp", "rhsp", "stmtsp"}},
    {"EVENTCONTROL", "eventcontrol", {"sentreep", "stmtsp"}},
    {"VARREF", "varref", {}},
    {"VARXREF", "varxref", {}},
    {"SEL", "sel", {"fromp", "lsbp", "widthp"}},
    {"ARRAYSEL", "arraysel", {"fromp", "bitp"}},
    {"ASSOCSEL", "arraysel", {"fromp", "bitp"}},
    {"WILDCARDSEL", "arraysel", {"fromp", "bitp"}},
    {"SLICESEL", "arraysel", {"fromp", "rhsp", "thsp"}},
    {"STRUCTSEL", "structsel", {"fromp"}},
    {"CONCAT", "concat", {"lhsp", "rhsp"}},
    {"CONST", "const", {}},
    {"BASICDTYPE", "basicdtype", {}},
    {"REFDTYPE", "refdtype", {}},
    {"ENUMDTYPE", "refdtype", {}},
    {"CONSTDTYPE", "refdtype", {}},
    {"PARAMTYPEDTYPE", "refdtype", {}},
    {"PACKARRAYDTYPE", "packarraydtype", {}},
    {"UNPACKARRAYDTYPE", "unpackarraydtype", {}},
    {"STRUCTDTYPE", "structdtype", {"membersp"}},
    {"UNIONDTYPE", "uniondtype", {"membersp"}},
    {"MEMBERDTYPE", "memberdtype", {}},
};

/// Statements and items that only read nets, or assign them as arguments.
constexpr std::string_view kPlainNodes[] = {
    "ALWAYSPOSTPONED", "ASSERT",    "ASSERTCTL",  "ASSERTINTRINSIC",
    "ASSIGNFORCE",     "BREAK",     "CEXPR",      "CMETHODHARD",
    "COMMENT",         "CONTINUE",  "COVER",      "CSTMT",
    "CSTMTUSER",       "DISABLE",   "DISPLAY",    "DUMPCTL",
    "FCLOSE",          "FFLUSH",    "FGETS",      "FINISH",
    "FIREEVENT",       "FOPEN",     "FOPENMCD",   "FORK",
    "FREAD",           "FSCANF",    "JUMPBLOCK",  "JUMPGO",
    "JUMPLABEL",       "MODPORT",   "MONITOROFF", "PRAGMA",
    "PRINTTIMESCALE",  "PULL",      "RAND",       "READMEM",
    "RELEASE",         "RETURN",    "SCOPE",      "SFORMAT",
    "SSCANF",          "STMTEXPR",  "STOP",       "SYSIGNORE",
    "SYSTEMT",         "TEXT",      "TIMEFORMAT", "TYPEDEF",
    "VALUEPLUSARGS",   "VOIDDTYPE", "WAIT",       "WRITEMEM"};

/// Operands of statements and items that the analysis does not need, or that are read apart.
/// Another one that the table does not list is refused: what it assigns would be missed.
constexpr std::string_view kOtherOperands[] = {
    "activesp", "attrsp",     "childDTypep", "classOrPackagep", "delayp",       "elsesp",
    "genforp",  "inlinesp",   "intfRefsp",   "namep",           "notParallelp", "paramsp",
    "rangep",   "scopeNamep", "stmtsp",      "strengthSpecp",   "thensp",       "withp"};

/// Operands that are statements or items; those of other names are expressions.
constexpr std::string_view kStatementLists[] = {"stmtsp", "itemsp", "thensp",   "elsesp",
                                                "declsp", "contsp", "incsp",    "modulesp",
                                                "miscsp", "typesp", "membersp", "pinsp"};

/// Expressions that are a part of their first operand, or several together.
constexpr std::string_view kParts[] = {"SEL",      "ARRAYSEL",    "SLICESEL",  "STRUCTSEL",
                                       "ASSOCSEL", "WILDCARDSEL", "MEMBERSEL", "CONCAT"};

template <class List>
bool contains(const List& list, std::string_view text) {
    return std::find(std::begin(list), std::end(list), text) != std::end(list);
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

std::string text(const json& node, const char* field) {
    const auto found = node.find(field);
    return found != node.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isSet(const json& node, const char* field) {
    const auto found = node.find(field);
    return found != node.end() && found->is_boolean() && found->get<bool>();
}

/// @return whether an operand of an expression is a variable that it assigns, or a part of one; an
///         assignment further inside is that of another expression
bool assigns(const json& node) {
    const auto isTarget = [](const json& operand) {
        return text(operand, "access").find('W') != std::string::npos ||
               (contains(kParts, text(operand, "type")) && assigns(operand));
    };
    return std::any_of(node.begin(), node.end(), [&](const json& operands) {
        return operands.is_array() && std::any_of(operands.begin(), operands.end(), isTarget);
    });
}

class JsonReader {
public:
    explicit JsonReader(const std::string& theVersion) : version(theVersion) {}
    Node read(const std::string& path, const std::string& meta);

private:
    void readFiles(const std::string& meta);
    void noteNames(const json& node, int level);
    Node nodeOf(const json& from, std::string_view list);
    void addFields(const json& from, Node& node) const;
    void addType(const json& from, Node& node) const;
    void addOperands(const json& from, const std::vector<const char*>& operands, Node& node);
    void addBlock(const json& from, const char* operand, Node& node);
    std::string locationOf(const json& from) const;
    void checkOperands(const json& from, const Shape& shape) const;
    [[noreturn]] void refuse(const json& from, const std::string& operand = "") const;

    const std::string version;
    std::map<std::string, std::string> files;
    std::unordered_map<std::string, std::string> names;  ///< of modules and ports, by address
};

json parse(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    json tree = json::parse(stream, nullptr, false);
    if (tree.is_discarded()) throw TreeError{path + ": not JSON"};
    return tree;
}

void JsonReader::readFiles(const std::string& meta) {
    const json tree = parse(meta);
    const auto list = tree.find("files");
    if (list == tree.end()) return;
    for (const auto& [letter, file] : list->items()) files[letter] = text(file, "filename");
}

std::string JsonReader::locationOf(const json& from) const {
    // FILE,LINE:COLUMN,...
    const std::string loc = text(from, "loc");
    const size_t comma = loc.find(',');
    if (comma == std::string::npos) return "?:0";
    const auto file = files.find(loc.substr(0, comma));
    return (file == files.end() ? "?" : file->second) + ":" +
           loc.substr(comma + 1, loc.find(':', comma) - comma - 1);
}

/// @param operand  where only that is unknown, with a dot before it
void JsonReader::refuse(const json& from, const std::string& operand) const {
    throw TreeError{"verilator " + version + ": unknown node " + text(from, "type") + operand +
                    " at " + locationOf(from)};
}

void JsonReader::checkOperands(const json& from, const Shape& shape) const {
    if (shape.operands.empty() || shape.kind.ends_with("dtype")) return;
    for (const auto& [name, operand] : from.items())
        if (operand.is_array() && !operand.empty() && !contains(shape.operands, name) &&
            !contains(kOtherOperands, name))
            refuse(from, "." + name);
}

void JsonReader::noteNames(const json& node, int level) {
    if (level > kMostLevels) throw TreeError{"the tree is nested too deep"};
    const std::string type = text(node, "type");
    if (type == "MODULE" || type == "IFACE" || type == "PRIMITIVE" || type == "VAR")
        names[text(node, "addr")] = text(node, "name");
    for (const json& operand : node)
        if (operand.is_array())
            for (const json& child : operand) noteNames(child, level + 1);
}

void JsonReader::addType(const json& from, Node& node) const {
    const std::string id = text(from, "addr"), refers = text(from, "refDTypep");
    node.attributes.emplace_back("id", id);
    const bool isLink = !refers.empty() && refers != "UNLINKED" && refers != id;
    node.attributes.emplace_back("sub", isLink ? refers : text(from, "dtypep"));
    std::string range = text(from, "range") + text(from, "declRange");  // 7:0, or [7:0]
    if (!range.empty() && range.front() == '[') range = range.substr(1, range.size() - 2);
    const size_t colon = range.find(':');
    if (colon == std::string::npos) return;
    node.attributes.emplace_back("left", range.substr(0, colon));
    node.attributes.emplace_back("right", range.substr(colon + 1));
}

/// @return the first node of an operand; null without any
const json* operandOf(const json& from, const char* name) {
    const auto list = from.find(name);
    return list == from.end() || !list->is_array() || list->empty() ? nullptr : &list->front();
}

void addInstanceRange(const json& from, Node& node) {
    const json* const range = operandOf(from, "rangep");
    if (!range) return;
    for (const auto& [operand, attribute] : {std::pair("leftp", "left"), {"rightp", "right"}})
        if (const json* const bound = operandOf(*range, operand))
            node.attributes.emplace_back(attribute, text(*bound, "name"));
}

void JsonReader::addFields(const json& from, Node& node) const {
    node.attributes.emplace_back("loc", locationOf(from));
    const auto nameAt = [&](const char* field) {
        const auto found = names.find(text(from, field));
        return found == names.end() ? text(from, "name") : found->second;
    };
    if (node.kind.ends_with("dtype")) addType(from, node);
    const bool isPort = node.is("port");
    const std::string name = isPort ? nameAt("modVarp") : text(from, "name");
    if (!name.empty())
        node.attributes.emplace_back("name", node.is("basicdtype") ? text(from, "keyword") : name);
    if (const std::string orig = text(from, "origName"); !orig.empty())
        node.attributes.emplace_back("orig", orig);
    if (node.is("instance")) {
        node.attributes.emplace_back("def", nameAt("modp"));
        addInstanceRange(from, node);
    }
    if (node.is("senitem")) node.attributes.emplace_back("edge", text(from, "edgeType"));
    if (node.is("varxref")) node.attributes.emplace_back("dotted", plainName(text(from, "dotted")));
    if (!node.is("var")) return;
    node.attributes.emplace_back("type", text(from, "dtypep"));
    const std::string direction = lowerCase(text(from, "direction"));
    if (!direction.empty() && direction != "none") node.attributes.emplace_back("dir", direction);
    if (isSet(from, "isParam") || isSet(from, "isGParam"))
        node.attributes.emplace_back("param", "1");
}

void JsonReader::addOperands(const json& from, const std::vector<const char*>& operands,
                             Node& node) {
    for (const char* const operand : operands) {
        const auto list = from.find(operand);
        if (list == from.end() || !list->is_array()) continue;
        for (const json& child : *list) {
            Node made = nodeOf(child, operand);
            if (!made.kind.empty()) node.children.push_back(std::move(made));
        }
    }
}

void JsonReader::addBlock(const json& from, const char* operand, Node& node) {
    Node block{"begin"};
    addOperands(from, {operand}, block);
    node.children.push_back(std::move(block));
}

/// @param list  the operand of its parent that contains it
Node JsonReader::nodeOf(const json& from, std::string_view list) {
    const std::string type = text(from, "type");
    const auto* const shape = std::find_if(std::begin(kShapes), std::end(kShapes),
                                           [&](const Shape& s) { return s.type == type; });
    if (shape != std::end(kShapes)) {
        Node node{std::string(shape->kind)};
        if (node.kind.empty()) return node;
        checkOperands(from, *shape);
        addFields(from, node);
        addOperands(from, shape->operands, node);
        if (node.is("if")) {
            addBlock(from, "thensp", node);
            if (!from.value("elsesp", json::array()).empty()) addBlock(from, "elsesp", node);
        }
        if (node.is("caseitem")) addBlock(from, "stmtsp", node);
        // A continuous assignment is written as a process of one statement.
        if (node.is("always") && text(from, "keyword") == "cont_assign") node.kind = "begin";
        return node;
    }
    const bool isType = type.ends_with("DTYPE");
    if (!isType && !contains(kPlainNodes, type) &&
        (contains(kStatementLists, list) || assigns(from)))
        refuse(from);
    Node node{lowerCase(type)};
    addFields(from, node);
    if (isType) return node;
    for (const auto& [name, operand] : from.items())
        if (operand.is_array()) addOperands(from, {name.c_str()}, node);
    return node;
}

Node JsonReader::read(const std::string& path, const std::string& meta) {
    readFiles(meta);
    const json tree = parse(path);
    if (text(tree, "type") != "NETLIST") throw TreeError{path + ": no netlist in it"};
    noteNames(tree, 0);
    return nodeOf(tree, "");
}

}  // namespace

Node readJsonDump(const std::string& path, const std::string& meta, const std::string& version) {
    return JsonReader(version).read(path, meta);
}

}  // namespace qkverilate
