#include "rehearsal/FatFile.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <vector>

namespace InstallerCore::Rehearsal {

namespace {

constexpr unsigned alignment = 14; // as a power of two: the largest page of both processors

struct Processor {
    std::uint32_t type;
    std::uint32_t subtype;
};

Processor processor(const std::string& architecture) {
    if (architecture == "arm64") {
        return {.type = 0x0100000c, .subtype = 0};
    }
    if (architecture == "x64") {
        return {.type = 0x01000007, .subtype = 3};
    }
    throw std::runtime_error("there is no sample executable for " + architecture);
}

std::string read(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream || content.empty()) {
        throw std::runtime_error("there is no executable file " + file.string());
    }
    return content;
}

void appendBigEndian(std::string& text, std::uint64_t value) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        text += static_cast<char>(value >> shift);
    }
}

std::uint64_t aligned(std::uint64_t offset) {
    constexpr std::uint64_t step = std::uint64_t{1} << alignment;
    return (offset + step - 1) / step * step;
}

// A header of big-endian integers: 0xcafebabe and the number of slices, then for each its processor's type
// and subtype, its offset and size in the file and its alignment. The slices follow.
std::string universal(const std::map<std::string, std::string>& slices) {
    std::string header;
    appendBigEndian(header, 0xcafebabe);
    appendBigEndian(header, slices.size());
    std::string body;
    const std::uint64_t start = aligned(0x1000);
    for (const auto& [architecture, content] : slices) {
        const auto [type, subtype] = processor(architecture);
        body.resize(aligned(body.size()));
        for (const std::uint64_t value : {std::uint64_t{type}, std::uint64_t{subtype}, start + body.size(),
                                          std::uint64_t{content.size()}, std::uint64_t{alignment}}) {
            appendBigEndian(header, value);
        }
        body += content;
    }
    header.resize(start);
    return header + body;
}

} // namespace

void writeExecutable(const std::filesystem::path& directory, const std::string& name,
                     const std::set<std::string>& architectures, const std::filesystem::path& file) {
    std::map<std::string, std::string> slices;
    for (const std::string& architecture : architectures) {
        (void)processor(architecture); // one that there is
        slices[architecture] = read(directory / architecture / name);
    }
    if (slices.empty()) {
        throw std::runtime_error("an executable file needs an architecture");
    }
    std::ofstream stream(file, std::ios::binary);
    stream << (slices.size() == 1 ? slices.begin()->second : universal(slices));
    stream.close();
    if (!stream) {
        throw std::runtime_error("an executable file cannot be written");
    }
}

} // namespace InstallerCore::Rehearsal
