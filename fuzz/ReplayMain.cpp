#include "fuzz/Check.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

// Runs the target on every file of the named directories, in the order of their names.
int main(int count, char** arguments) {
    std::vector<std::filesystem::path> files;
    for (const char* directory : std::vector<const char*>(arguments + 1, arguments + count)) {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::cerr << "There is nothing to replay." << std::endl;
        return 1;
    }
    for (const auto& file : files) {
        std::cout << file.string() << std::endl; // at once: the target may abort
        std::ifstream stream(file, std::ios::binary);
        const std::vector<char> content((std::istreambuf_iterator<char>(stream)),
                                        std::istreambuf_iterator<char>());
        // A copy of exactly this size, so that a sanitizer sees a read beyond it.
        const std::vector<std::uint8_t> input(content.begin(), content.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::cout << files.size() << " inputs replayed" << std::endl;
    return 0;
}
