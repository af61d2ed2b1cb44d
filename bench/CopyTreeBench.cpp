// copyTree() against cp -a on the same warm tree of 200 MB in 5,000 files. Wanted: no more wall time than cp.
#include "bench/Measure.h"
#include "hosts/linux/copy/CopyTree.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <random>
#include <string>

using namespace InstallerCore;

int main() {
    constexpr int folders = 100;
    constexpr int filesEach = 50;
    const Testing::TemporaryDirectory directory;
    const auto source = directory / "source";
    std::mt19937_64 random(1); // NOLINT(cert-msc51-cpp): the same content every time
    std::string content(40'000, '\0');
    for (int folder = 0; folder < folders; ++folder) {
        const auto path = source / std::to_string(folder);
        std::filesystem::create_directories(path);
        for (int file = 0; file < filesEach; ++file) {
            for (char& c : content) {
                c = static_cast<char>(random());
            }
            Testing::writeFile(path / std::to_string(file), content);
        }
    }
    int copies = 0;
    const auto fresh = [&] { return (directory / std::to_string(++copies)).string(); };
    Bench::compare(
        {.name = "copyTree, 200 MB in 5,000 files",
         .baseline = "cp -a",
         .wallTarget = 1,
         .processorTarget = 1.5},
        5,
        [&] {
            const std::string copy = fresh();
            return Bench::measureChild([&] { copyTree(source, copy, [](const std::string&) {}); });
        },
        [&] { return Bench::measureProgram({"cp", "-a", source.string(), fresh()}); });
}
