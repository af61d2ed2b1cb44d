#include "InstallerCore/config/InstallerError.h"
#include "InstallerCore/download/RangeDecision.h"
#include "fuzz/Check.h"

#include <array>
#include <charconv>
#include <optional>

// The input is a status, an offset, a total and, perhaps, a Content-Range header on a line each; the header
// may hold anything.

namespace InstallerCore::Fuzz {

namespace {

template <typename Integer>
std::optional<Integer> number(std::string_view text) {
    Integer value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

// The header read as loosely as can be: its runs of digits, without leading zeros.
std::vector<std::string> numbersIn(std::string_view header) {
    constexpr std::string_view digits = "0123456789";
    std::vector<std::string> numbers;
    for (std::size_t at = 0; (at = header.find_first_of(digits, at)) != std::string_view::npos;) {
        const std::size_t end = std::min(header.find_first_not_of(digits, at), header.size());
        std::string run(header.substr(at, end - at));
        run.erase(0, std::min(run.find_first_not_of('0'), run.size() - 1));
        numbers.push_back(run);
        at = end;
    }
    return numbers;
}

void checkAppend(std::int64_t offset, std::int64_t total, std::string_view header) {
    const std::vector<std::string> covered = {std::to_string(offset), std::to_string(total - 1),
                                              std::to_string(total)};
    check(offset >= 0 && total >= 1, "only what can be continued is");
    check(numbersIn(header) == covered, "the range appended is the rest of the file");
}

void checkError(const std::string& text, int status, std::int64_t offset, std::int64_t total,
                const std::optional<std::string>& header) {
    if (status != 206) {
        check(text == "HTTP " + std::to_string(status), "another status is named");
    } else if (!header || header->substr(0, 6) != "bytes ") {
        check(text == "Invalid Content-Range", "the header must be there and in bytes");
    } else {
        check(text == "Invalid range end" || text == "Incomplete response range" ||
                  text == "Invalid resumed range: expected offset " + std::to_string(offset) + ", total " +
                              std::to_string(total) + ", got " + *header,
              "a wrong range has its text");
    }
}

void checkDecision(int status, std::int64_t offset, std::int64_t total,
                   const std::optional<std::string>& header) {
    try {
        const RangeDecision decision = rangeDecision(status, offset, header, total);
        check(decision == (status == 200 ? RangeDecision::restart : RangeDecision::append),
              "the status decides");
        if (decision == RangeDecision::append) {
            check(status == 206 && header.has_value(), "only a partial response is appended");
            checkAppend(offset, total, *header);
        }
    } catch (const InstallerError& error) {
        check(status != 200, "a full response is taken");
        checkError(error.errorDescription(), status, offset, total, header);
    }
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore;
    const auto lines = Fuzz::pieces(Fuzz::textOf(data, size), '\n', 4);
    if (lines.size() < 3) {
        return -1;
    }
    const auto status = Fuzz::number<int>(lines[0]);
    const auto offset = Fuzz::number<std::int64_t>(lines[1]);
    const auto total = Fuzz::number<std::int64_t>(lines[2]);
    if (!status || !offset || !total || *total < 0) { // no file has a negative size
        return -1;
    }
    const auto header = lines.size() > 3 ? std::optional(std::string(lines[3])) : std::nullopt;
    Fuzz::checkDecision(*status, *offset, *total, header);
    if (*offset >= 0 && *total > 0) {
        const std::string whole = "bytes " + std::to_string(*offset) + "-" + std::to_string(*total - 1) +
                                  "/" + std::to_string(*total);
        Fuzz::check(rangeDecision(206, *offset, whole, *total) == RangeDecision::append,
                    "the wanted range is appended");
    }
    return 0;
}
