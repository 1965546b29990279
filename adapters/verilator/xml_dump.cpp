// Verilator's dump in XML (--xml-only, releases up to 5.044).
//
// The elements are nearly the nodes of the tree. Differences: positional connections are numbered,
// the statements of a case item follow its conditions without a separator, and a delay within an
// assignment follows the target.
#include <algorithm>
#include <map>
#include <pugixml.hpp>
#include <unordered_map>

#include "tree.h"

namespace qkverilate {

namespace {

class XmlReader {
public:
    Node read(const std::string& path);

private:
    using Ports = std::unordered_map<std::string, std::string>;  ///< number to name

    Node nodeOf(const pugi::xml_node& element, int level);
    void addCommon(const pugi::xml_node& element, Node& node);
    void addType(const pugi::xml_node& element, Node& node);
    static void addRange(const pugi::xml_node& element, Node& node);
    void addChildren(const pugi::xml_node& element, int level, Node& node);
    static void splitItem(Node& item, const pugi::xml_node& element);
    static void putTargetLast(Node& assignment);
    void nameConnections(Node& node) const;

    std::map<std::string, std::string> files;
    std::unordered_map<std::string, Ports> portsOf;  ///< by module
};

void copy(const pugi::xml_node& element, const char* from, Node& node, const char* to) {
    if (const pugi::xml_attribute attribute = element.attribute(from))
        node.attributes.emplace_back(to, attribute.value());
}

bool isType(std::string_view kind) { return kind.size() > 5 && kind.ends_with("dtype"); }

/// Recognises expressions: elements with a type, except statements that have one.
bool isExpression(const pugi::xml_node& element) {
    const std::string_view kind = element.name();
    return element.attribute("dtype_id") && kind != "assign" && kind != "assigndly" &&
           kind != "contassign";
}

void XmlReader::addCommon(const pugi::xml_node& element, Node& node) {
    // FILE,LINE,COLUMN,...
    const std::string loc = element.attribute("loc").value();
    const size_t comma = loc.find(',');
    if (comma == std::string::npos) return;
    const auto file = files.find(loc.substr(0, comma));
    const std::string line = loc.substr(comma + 1, loc.find(',', comma + 1) - comma - 1);
    node.attributes.emplace_back("loc", (file == files.end() ? "?" : file->second) + ":" + line);
}

void XmlReader::addType(const pugi::xml_node& element, Node& node) {
    copy(element, "id", node, "id");
    copy(element, "sub_dtype_id", node, "sub");
    copy(element, "left", node, "left");
    copy(element, "right", node, "right");
    if (node.is("enumdtype") || node.is("constdtype") || node.is("paramtypedtype"))
        node.kind = "refdtype";
    addRange(element, node);
}

/// Adds the bounds of an array of anything.
void XmlReader::addRange(const pugi::xml_node& element, Node& node) {
    const pugi::xml_node range = element.child("range");
    if (!range) return;
    const char* const sides[] = {"left", "right"};
    size_t side = 0;
    for (const pugi::xml_node& bound : range.children("const")) {
        if (side == 2) break;
        const std::optional<int64_t> value = literalValue(bound.attribute("name").value());
        if (value) node.attributes.emplace_back(sides[side], std::to_string(*value));
        ++side;
    }
}

/// Puts the statements of a case item into a begin, after the conditions.
void XmlReader::splitItem(Node& item, const pugi::xml_node& element) {
    size_t conditions = 0;
    for (const pugi::xml_node& child : element.children()) {
        if (!isExpression(child)) break;
        ++conditions;
    }
    Node body{"begin"};
    const auto first = item.children.begin() + static_cast<std::ptrdiff_t>(conditions);
    std::move(first, item.children.end(), std::back_inserter(body.children));
    item.children.erase(first, item.children.end());
    item.children.push_back(std::move(body));
}

void XmlReader::putTargetLast(Node& assignment) {
    const auto isTiming = [](const Node& child) {
        return child.is("delay") || child.is("sentree") || child.is("eventcontrol");
    };
    std::stable_partition(assignment.children.begin(), assignment.children.end(), isTiming);
}

void XmlReader::addChildren(const pugi::xml_node& element, int level, Node& node) {
    if (level > kMostLevels) throw TreeError{"the tree is nested too deep"};
    for (const pugi::xml_node& child : element.children())
        if (child.type() == pugi::node_element) node.children.push_back(nodeOf(child, level + 1));
    if (node.is("caseitem")) splitItem(node, element);
    if (node.isAssignment()) putTargetLast(node);
}

Node XmlReader::nodeOf(const pugi::xml_node& element, int level) {
    Node node{element.name()};
    if (node.is("typetable")) node.kind = "types";
    if (node.is("while") || node.is("foreach") || node.is("repeat")) node.kind = "loop";
    if (node.is("initialstatic") || node.is("initialstaticstmt")) node.kind = "initial";
    if (node.is("initialautomatic") || node.is("initialautomaticstmt") || node.is("genblock"))
        node.kind = "begin";
    if (node.is("assignalias") || node.is("assignw")) node.kind = "contassign";
    if (node.is("class") || node.is("classpackage")) node.kind = "package";
    addCommon(element, node);
    if (isType(node.kind)) addType(element, node);
    copy(element, "name", node, "name");
    copy(element, "origName", node, "orig");
    copy(element, "edgeType", node, "edge");
    copy(element, "defName", node, "def");
    if (const pugi::xml_attribute dotted = element.attribute("dotted"))
        node.attributes.emplace_back("dotted", plainName(dotted.value()));
    if (node.is("var")) {
        copy(element, "dtype_id", node, "type");
        copy(element, "dir", node, "dir");
        if (element.attribute("param") || element.attribute("localparam"))
            node.attributes.emplace_back("param", "1");
    }
    if (node.is("port")) copy(element, "portIndex", node, "index");
    if (node.is("instance")) addRange(element, node);
    addChildren(element, level, node);
    // A continuous assignment may be written as a process of one statement.
    const auto isContinuous = [](const Node& child) { return child.is("contassign"); };
    if (node.is("always") && std::any_of(node.children.begin(), node.children.end(), isContinuous))
        node.kind = "begin";
    return node;
}

void XmlReader::nameConnections(Node& node) const {
    if (node.is("instance")) {
        const auto ports = portsOf.find(std::string(node.get("def")));
        for (Node& port : node.children) {
            if (port.get("name").substr(0, 11) != "__pinNumber" || ports == portsOf.end()) continue;
            const auto name = ports->second.find(std::string(port.get("index")));
            if (name == ports->second.end()) continue;
            for (auto& [attribute, value] : port.attributes)
                if (attribute == "name") value = name->second;
        }
        return;
    }
    if (!node.is("netlist") && !node.is("module") && !node.is("begin")) return;
    for (Node& child : node.children) nameConnections(child);
}

Node XmlReader::read(const std::string& path) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_file(path.c_str());
    if (!parsed) throw TreeError{path + ": " + parsed.description()};
    const pugi::xml_node root = document.child("verilator_xml");
    const pugi::xml_node netlist = root.child("netlist");
    if (!netlist) throw TreeError{path + ": no netlist in it"};
    for (const pugi::xml_node& file : root.child("files").children())
        files[file.attribute("id").value()] = file.attribute("filename").value();
    for (const pugi::xml_node& module : netlist.children("module"))
        for (const pugi::xml_node& var : module.children("var"))
            if (const pugi::xml_attribute index = var.attribute("pinIndex"))
                portsOf[module.attribute("name").value()][index.value()] =
                    var.attribute("name").value();
    Node tree = nodeOf(netlist, 0);
    nameConnections(tree);
    return tree;
}

}  // namespace

Node readXmlDump(const std::string& path) { return XmlReader().read(path); }

}  // namespace qkverilate
