#include "tests/integration/signatures/CodeMap.h"
#include "tests/integration/signatures/DerTree.h"

#include <algorithm>
#include <map>

namespace InstallerCore::Testing {

namespace {

// What a value consists of, in this order; the last name stands for all that follow.
const std::map<std::string, std::vector<std::string>>& structure() {
    static const std::map<std::string, std::vector<std::string>> names = {
        {"message", {"type", "content"}},
        {"time stamp", {"type", "content"}},
        {"content", {"signed data"}},
        {"signed data", {"version", "digest algorithms", "encapsulated", "certificates", "signers"}},
        {"digest algorithms", {"algorithm"}},
        {"encapsulated", {"type", "content wrapper"}},
        {"content wrapper", {"token"}},
        {"certificates", {"certificate"}},
        {"certificate", {"body", "algorithm", "signature"}},
        {"signers", {"signer"}},
        {"signer",
         {"version", "identifier", "digest algorithm", "signed attributes", "signature algorithm",
          "signature", "unsigned attributes"}},
        {"signed attributes", {"attribute"}},
        {"unsigned attributes", {"unsigned attribute"}},
        {"unsigned attribute", {"type", "values"}},
        {"values", {"time stamp"}},
    };
    return names;
}

class Mapper {
public:
    Mapper(std::vector<CodeRegion>& regions, std::size_t offset) : regions_(regions), offset_(offset) {}

    // The path names all that the value lies in, and itself. What has no names of its own is told apart into
    // tags and the rest; a certificate, which is signed as a whole, is not.
    void map(const DerNode& node, const std::string& name, const std::string& path) {
        const bool isNamed = !messagePart(name, 0).empty();
        if (path.find("certificate: ") != std::string::npos || (!isNamed && !node.isConstructed())) {
            add(path, node.begin, node.end);
            return;
        }
        add(path + ": tag", node.begin, node.begin + 1);
        add(path + (isNamed ? ": length" : ""), node.begin + 1, node.contentBegin);
        for (std::size_t i = 0; i < node.children.size(); ++i) {
            const std::string child = messagePart(name, i);
            map(node.children[i], child, isNamed ? path + ": " + child : path);
        }
        add(path + ": end", node.contentEnd, node.end);
    }

private:
    void add(const std::string& path, std::size_t begin, std::size_t end) {
        if (begin < end) {
            regions_.push_back(
                {.kind = path.find("time stamp") == std::string::npos ? "the message" : "the time stamp",
                 .part = path,
                 .begin = offset_ + begin,
                 .end = offset_ + end,
                 .dense = true});
        }
    }

    std::vector<CodeRegion>& regions_;
    std::size_t offset_;
};

} // namespace

std::string messagePart(const std::string& name, std::size_t child) {
    const auto found = structure().find(name);
    return found == structure().end() ? "" : found->second[std::min(child, found->second.size() - 1)];
}

void addMessageRegions(std::vector<CodeRegion>& regions, ByteView message, std::size_t offset) {
    Mapper(regions, offset).map(parseDer(message), "message", "message");
}

} // namespace InstallerCore::Testing
