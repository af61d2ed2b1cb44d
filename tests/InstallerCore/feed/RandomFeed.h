#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// Makes release feeds at random, line by line from a grammar. Every choice may go wrong: how often differs
// from document to document, so that a good part of them are sound and the others hold one damaged part or
// many. The same seed gives the same documents everywhere.
class RandomFeed {
public:
    explicit RandomFeed(std::uint64_t seed) : engine_(seed) {}

    [[nodiscard]] std::string next();

    // The server and host that sound addresses of the documents are on.
    static constexpr const char* channelURL = "https://dist.mykavio.test/desktop/mac/latest-mac.yml";
    static constexpr const char* host = "dist.mykavio.test";

private:
    std::size_t below(std::size_t limit) { return static_cast<std::size_t>(engine_() % limit); }

    bool oneIn(std::size_t count) { return below(count) == 0; }

    // Whether the choice at hand goes wrong.
    bool damaged() { return damageRate_ != 0 && oneIn(damageRate_); }

    std::string pick(std::initializer_list<const char*> choices);

    std::string pickLine(const std::vector<std::string>& lines) { return lines[below(lines.size())]; }

    std::string version();
    std::string fileName(bool arm64);
    std::string address(const std::string& fileName);
    std::string hash();
    std::string damagedHash(const std::string& hash);
    std::string size();
    std::string spelled(const std::string& value); // as a scalar of some kind, with blanks around it
    std::string noise();                           // a line that says nothing where it stands

    void addItem(std::vector<std::string>& lines, bool arm64);
    void addFiles(std::vector<std::string>& lines);
    std::vector<std::string> documentLines();
    std::string joined(const std::vector<std::string>& lines);
    void damageBytes(std::string& document);

    std::mt19937_64 engine_;
    std::size_t damageRate_ = 0; // one choice in so many; 0: none
    std::string version_;
};

} // namespace InstallerCore::Testing
