#include "hosts/linux/diskimage/VolumeListing.h"

#include "hosts/linux/diskimage/DiskImageError.h"

#include <array>
#include <charconv>
#include <optional>

namespace InstallerCore {

namespace {

[[noreturn]] void refuse() {
    throw DiskImageError("the listing of the volume cannot be read");
}

class LineReader {
public:
    explicit LineReader(std::string_view text) : rest_(text) {}

    [[nodiscard]] std::optional<std::string_view> next() {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const std::size_t end = rest_.find('\n');
        const std::string_view line = rest_.substr(0, end);
        rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
        return line;
    }

private:
    std::string_view rest_;
};

template <typename Number>
Number number(std::string_view text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) {
        refuse();
    }
    return value;
}

// "2021-11-25 20:20:22.839125820", the fraction of up to nine digits or absent.
timespec time(std::string_view text) {
    constexpr std::size_t wholeSeconds = 19;
    constexpr std::size_t digits = 9;
    if (text.size() < wholeSeconds || text.size() > wholeSeconds + 1 + digits) {
        refuse();
    }
    std::tm parts{};
    constexpr int firstYear = 1900;
    parts.tm_year = number<int>(text.substr(0, 4)) - firstYear;
    parts.tm_mon = number<int>(text.substr(5, 2)) - 1;
    parts.tm_mday = number<int>(text.substr(8, 2));
    parts.tm_hour = number<int>(text.substr(11, 2));
    parts.tm_min = number<int>(text.substr(14, 2));
    parts.tm_sec = number<int>(text.substr(17, 2));
    timespec result{.tv_sec = ::timegm(&parts), .tv_nsec = 0};
    if (text.size() > wholeSeconds + 1) {
        std::string fraction(text.substr(wholeSeconds + 1));
        fraction.resize(digits, '0');
        result.tv_nsec = number<long>(fraction);
    }
    return result;
}

// Takes one line "Name = value" into the item.
void take(ListedItem& item, std::string_view name, std::string_view value) {
    if (name == "Path") {
        item.path = value;
    } else if (name == "Mode") {
        item.mode = value;
        item.folder = item.folder || value.starts_with('d');
    } else if (name == "Folder") {
        item.folder = item.folder || value == "+";
    } else if (name == "Alternate Stream") {
        item.stream = value == "+";
    } else if (name == "Size" && !value.empty()) {
        item.size = number<std::int64_t>(value);
    } else if (name == "Modified" && !value.empty()) {
        item.modified = time(value);
    }
}

std::vector<std::string> header(LineReader& lines) {
    constexpr std::string_view volumeName = "volume_name: ";
    std::vector<std::string> names;
    while (const auto line = lines.next()) {
        if (*line == "----------") {
            return names;
        }
        if (line->starts_with(volumeName)) {
            names.emplace_back(line->substr(volumeName.size()));
        }
    }
    return names; // an empty volume
}

} // namespace

VolumeListing parseVolumeListing(std::string_view listing) {
    constexpr std::string_view separator = " = ";
    LineReader lines(listing);
    VolumeListing result;
    result.volumeNames = header(lines);
    bool within = false;
    while (const auto line = lines.next()) {
        if (line->empty()) {
            within = false;
            continue;
        }
        if (!within && line->starts_with("Warnings: ")) { // how many: of data behind the volume and the like
            break;
        }
        const std::size_t middle = line->find(separator);
        // A property without a value may have lost the blank behind its sign of equality.
        const std::string_view name = line->substr(0, middle);
        if (!within) {
            if (name != "Path" || result.items.size() == mostVolumeItems) {
                throw DiskImageError(name == "Path" ? "the volume has too many entries"
                                                    : "the listing of the volume cannot be read");
            }
            result.items.emplace_back();
            within = true;
        }
        if (middle != std::string_view::npos) {
            take(result.items.back(), name, line->substr(middle + separator.size()));
        }
    }
    return result;
}

} // namespace InstallerCore
