#include "tests/integration/signatures/DerTree.h"

#include <stdexcept>

namespace InstallerCore::Testing {

namespace {

constexpr std::size_t longForm = 0x80;

class Parser {
public:
    explicit Parser(ByteView bytes) : bytes_(bytes) {}

    DerNode node() {
        DerNode result;
        result.begin = position_;
        result.tag = bytes_[take(1)];
        const std::size_t length = this->length(result);
        result.contentBegin = position_;
        if (result.indefinite) {
            while (!atEndMark()) {
                result.children.push_back(node());
            }
            result.contentEnd = position_;
            take(2);
        } else {
            result.contentEnd = result.contentBegin + length;
            content(result, length);
        }
        result.end = position_;
        return result;
    }

private:
    // The position of that many bytes, which are then behind.
    std::size_t take(std::size_t size) {
        if (size > bytes_.size() - position_) {
            throw std::runtime_error("a message is cut short");
        }
        const std::size_t begin = position_;
        position_ += size;
        return begin;
    }

    [[nodiscard]] bool atEndMark() const {
        return bytes_.size() - position_ >= 2 && bytes_[position_] == std::byte{0} &&
               bytes_[position_ + 1] == std::byte{0};
    }

    std::size_t length(DerNode& node) {
        const auto first = std::to_integer<std::size_t>(bytes_[take(1)]);
        node.indefinite = first == longForm;
        if (first <= longForm) {
            return first;
        }
        std::size_t value = 0;
        for (std::size_t left = first - longForm; left > 0; --left) {
            value = value << 8U | std::to_integer<std::size_t>(bytes_[take(1)]);
        }
        return value;
    }

    void content(DerNode& node, std::size_t length) {
        if (node.isConstructed()) {
            while (position_ < node.contentEnd) {
                node.children.push_back(this->node());
            }
        } else {
            const ByteView content = bytes_.subspan(take(length), length);
            node.content.assign(content.begin(), content.end());
        }
    }

    ByteView bytes_;
    std::size_t position_ = 0;
};

void appendLength(Bytes& to, std::size_t length) {
    if (length < longForm) {
        to.push_back(static_cast<std::byte>(length));
        return;
    }
    Bytes digits;
    for (; length > 0; length >>= 8U) {
        digits.insert(digits.begin(), static_cast<std::byte>(length));
    }
    to.push_back(static_cast<std::byte>(longForm | digits.size()));
    to.insert(to.end(), digits.begin(), digits.end());
}

} // namespace

DerNode parseDer(ByteView bytes) {
    return Parser(bytes).node();
}

Bytes encodeDer(const DerNode& node) {
    Bytes content = node.content;
    for (const DerNode& child : node.children) {
        const Bytes encoded = encodeDer(child);
        content.insert(content.end(), encoded.begin(), encoded.end());
    }
    Bytes result = {node.tag};
    if (node.indefinite) {
        result.push_back(static_cast<std::byte>(longForm));
        content.resize(content.size() + 2);
    } else {
        appendLength(result, content.size());
    }
    result.insert(result.end(), content.begin(), content.end());
    return result;
}

} // namespace InstallerCore::Testing
