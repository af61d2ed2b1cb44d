// Reading a feed of the largest size that is accepted, against cutting the same text into lines with
// std::getline. Wanted: under 2 ms for the feed.
#include "InstallerCore/feed/UpdateFeed.h"
#include "bench/Measure.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <sstream>

using namespace InstallerCore;

namespace {

std::string fullSizeFeed() {
    const std::string hash = std::string(85, 'A') + "A==";
    std::string feed = "version: 1.4.2\nfiles:\n";
    for (const char* name : {"Kavio-1.4.2-arm64.dmg", "Kavio-1.4.2.dmg"}) {
        feed += std::string("  - url: ") + name + "\n    sha512: " + hash + "\n    size: 190234567\n";
    }
    for (int i = 0; feed.size() < largestFeed - 200; ++i) {
        feed += "  - url: Kavio-1.4.2-part" + std::to_string(i) + ".zip\n    sha512: " + hash +
                "\n    size: 183456789\n    blockMapSize: 190123\n";
    }
    return feed;
}

double milliseconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double, std::milli> passed = std::chrono::steady_clock::now() - start;
    return passed.count();
}

} // namespace

int main() {
    const std::string feed = fullSizeFeed();
    const Config config{.channelURL = "https://dist.test/desktop/mac/latest-mac.yml",
                        .allowedHosts = {"dist.test"}};
    std::vector<double> ours;
    std::vector<double> ratios;
    std::size_t items = 0;
    for (int round = 0; round < 201; ++round) {
        const double reading =
            milliseconds([&] { items = readUpdateFeed(asBytes(feed), config).artifacts.size(); });
        std::size_t lines = 0;
        const double cutting = milliseconds([&] {
            std::istringstream stream(feed);
            for (std::string line; std::getline(stream, line);) {
                ++lines;
            }
        });
        ours.push_back(reading);
        ratios.push_back(lines > 0 ? reading / cutting : 0);
    }
    std::printf("feed of %zu bytes (%zu images): %.3f ms, wanted under 2 ms; ratio to std::getline %.2f\n",
                feed.size(), items, Bench::median(ours), Bench::median(ratios));
}
