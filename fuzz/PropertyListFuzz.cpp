#include "InstallerCore/support/Base64.h"
#include "InstallerCore/support/PlatformError.h"
#include "InstallerCore/support/UnicodeText.h"
#include "fuzz/Check.h"
#include "hosts/linux/PropertyListsLibplist.h"

#include <algorithm>
#include <optional>
#include <type_traits>

// The input is a property list of either kind. Whatever is read is written as XML by the code below and read
// again.

namespace InstallerCore::Fuzz {

namespace {

constexpr std::size_t deepest = 256;

std::optional<PropertyValue> parse(std::string_view document) {
    try {
        return PropertyListsLibplist().parse(asBytes(document));
    } catch (const PlatformError& error) {
        check(error.domain() == ErrorDomain::propertyList &&
                  error.code() == static_cast<int>(PropertyListErrorCode::corrupt),
              "a document fails in one way");
        return std::nullopt;
    }
}

// Writes a value as XML. Some values have no exact form there: reals, other kinds, and texts with control
// characters.
class XmlWriter {
public:
    void write(const PropertyValue& value, std::size_t depth) {
        check(depth <= deepest, "values are not nested deeper than allowed");
        std::visit([this, depth](const auto& kind) { add(kind, depth); }, value.value);
    }

    // Absent when the XML would not say the same.
    [[nodiscard]] std::optional<std::string> document() const {
        constexpr std::size_t longest = std::size_t{1} << 20U;
        if (!exact_ || text_.size() > longest) {
            return std::nullopt;
        }
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + text_ + "</plist>\n";
    }

private:
    void add(const PropertyOther& /*value*/, std::size_t /*depth*/) { exact_ = false; }

    void add(bool value, std::size_t /*depth*/) { text_ += value ? "<true/>" : "<false/>"; }

    void add(std::int64_t value, std::size_t /*depth*/) { element("integer", std::to_string(value)); }

    void add(double /*value*/, std::size_t /*depth*/) { exact_ = false; }

    void add(const std::string& value, std::size_t /*depth*/) { element("string", escaped(value)); }

    void add(const Bytes& value, std::size_t /*depth*/) { element("data", encodeBase64(value)); }

    void add(const PropertyArray& value, std::size_t depth) {
        text_ += "<array>";
        for (const PropertyValue& item : value) {
            write(item, depth + 1);
        }
        text_ += "</array>";
    }

    void add(const PropertyDictionary& value, std::size_t depth) {
        text_ += "<dict>";
        for (const auto& [key, item] : value) {
            element("key", escaped(key));
            exact_ = exact_ && !key.empty();
            write(item, depth + 1);
        }
        text_ += "</dict>";
    }

    void element(const std::string& name, const std::string& content) {
        text_ += "<" + name + ">" + content + "</" + name + ">";
    }

    std::string escaped(std::string_view value) {
        check(isUtf8(value), "texts are UTF-8");
        std::string result;
        for (const char c : value) {
            exact_ = exact_ && static_cast<unsigned char>(c) >= ' ';
            switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            default:
                result += c;
            }
        }
        return result;
    }

    std::string text_;
    bool exact_ = true;
};

std::optional<std::string> asXml(const PropertyValue& value) {
    XmlWriter writer;
    writer.write(value, 0);
    return writer.document();
}

} // namespace

} // namespace InstallerCore::Fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace InstallerCore::Fuzz;
    const auto value = parse(textOf(data, size));
    if (!value) {
        return 0;
    }
    const auto document = asXml(*value);
    if (document) {
        const auto again = parse(*document);
        check(again.has_value(), "what was read can be written and read again");
        check(asXml(*again) == document, "and is the same then");
    }
    return 0;
}
