#include "hosts/linux/PropertyListWriter.h"

#include "InstallerCore/support/Base64.h"

#include <sstream>
#include <stdexcept>

namespace InstallerCore {

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '\r': // a reader would take it for a newline
            result += "&#13;";
            break;
        default:
            result += character;
        }
    }
    return result;
}

class Writer {
public:
    explicit Writer(std::ostream& out) : out_(out) {}

    void write(const PropertyValue& value) {
        std::visit([this](const auto& content) { put(content); }, value.value);
    }

private:
    void line(const std::string& text) { out_ << std::string(depth_, '\t') << text << '\n'; }

    void put(const PropertyOther& /*value*/) {
        throw std::runtime_error("this kind of value is not written");
    }

    void put(bool value) { line(value ? "<true/>" : "<false/>"); }

    void put(std::int64_t value) { line("<integer>" + std::to_string(value) + "</integer>"); }

    void put(double value) {
        std::ostringstream number;
        number << value;
        line("<real>" + number.str() + "</real>");
    }

    void put(const std::string& value) { line("<string>" + escaped(value) + "</string>"); }

    void put(const Bytes& value) {
        line("<data>");
        line(encodeBase64(value));
        line("</data>");
    }

    void put(const PropertyArray& values) {
        line("<array>");
        ++depth_;
        for (const PropertyValue& value : values) {
            write(value);
        }
        --depth_;
        line("</array>");
    }

    void put(const PropertyDictionary& values) {
        line("<dict>");
        ++depth_;
        for (const auto& [key, value] : values) {
            line("<key>" + escaped(key) + "</key>");
            write(value);
        }
        --depth_;
        line("</dict>");
    }

    std::ostream& out_;
    std::size_t depth_ = 0;
};

} // namespace

std::string writePropertyList(const PropertyValue& value) {
    std::ostringstream out;
    out << R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
)";
    Writer(out).write(value);
    out << "</plist>\n";
    return out.str();
}

} // namespace InstallerCore
