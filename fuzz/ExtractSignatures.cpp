// Takes the signatures of executables apart and files each part, whole and with a byte changed here and
// there, where the fuzz target for it finds it. Usage: extract-signatures CORPUS-DIRECTORY EXECUTABLE...
#include "hosts/linux/codesign/CodeSignature.h"
#include "hosts/linux/codesign/MachOFile.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <string>

namespace {

using namespace InstallerCore;
namespace fs = std::filesystem;

void write(const fs::path& file, std::string_view content) {
    std::ofstream stream(file, std::ios::binary);
    stream << content;
}

void file(const fs::path& corpus, const char* kind, ByteView part) {
    constexpr std::size_t damages = 8;
    const fs::path folder = corpus / kind;
    fs::create_directories(folder);
    const std::string digest = hexadecimal(CodeSign::hash(CodeSign::HashType::sha1, part)).substr(0, 12);
    std::string content(asText(part));
    write(folder / ("real-" + digest), content);
    for (std::size_t damage = 0; damage < damages && !content.empty(); ++damage) {
        const std::size_t place = content.size() * damage / damages;
        content[place] = static_cast<char>(content[place] ^ 1);
        write(folder / ("real-" + digest + "-" + std::to_string(damage)), content);
        content[place] = static_cast<char>(content[place] ^ 1);
    }
}

void extract(const fs::path& corpus, const fs::path& executable) {
    std::ifstream stream(executable, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    for (const auto& slice : CodeSign::machOSlices(asBytes(content))) {
        if (slice.signature.empty()) {
            continue;
        }
        file(corpus, "code-signature", slice.signature);
        const CodeSign::CodeSignature signature(slice.signature);
        if (const auto cms = signature.blob(CodeSign::Slot::cms)) {
            file(corpus, "cms", cms->subspan(CodeSign::blobHeaderSize));
        }
    }
}

} // namespace

int main(int count, char** values) {
    const std::span<char*> arguments(values, static_cast<std::size_t>(count));
    if (arguments.size() < 3) {
        std::cerr << "usage: extract-signatures CORPUS-DIRECTORY EXECUTABLE...\n";
        return 2;
    }
    for (const char* const executable : arguments.subspan(2)) {
        try {
            extract(arguments[1], executable);
        } catch (const std::exception& error) { // a real file may well be a damaged one
            std::cerr << executable << ": " << error.what() << '\n';
        }
    }
    return 0;
}
