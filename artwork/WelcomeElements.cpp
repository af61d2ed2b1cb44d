#include "artwork/WelcomeElements.h"

namespace InstallerCore::Artwork {

namespace {

// Hands out the operations in the picture's order.
class Reader {
public:
    explicit Reader(const Drawing& drawing) : drawing_(drawing) {}

    template <typename Operation>
    Operation next() {
        return std::get<Operation>(drawing_.at(at_++));
    }

    [[nodiscard]] bool isAtEnd() const { return at_ == drawing_.size(); }

    // Which a row's square has behind it.
    [[nodiscard]] bool hasTextBehind() const {
        return std::holds_alternative<DrawText>(drawing_.at(at_ + 1));
    }

private:
    const Drawing& drawing_;
    std::size_t at_ = 0;
};

} // namespace

WelcomeElements WelcomeElements::of(const WelcomeView& view, Size size) {
    const Drawing drawing = view.draw(size);
    Reader reader(drawing);
    WelcomeElements result{.background = reader.next<FillGradient>(),
                           .name = reader.next<DrawText>(),
                           .title = reader.next<DrawText>(),
                           .subtitle = reader.next<DrawText>(),
                           .card = reader.next<FillShadowed>(),
                           .cardTitle = reader.next<DrawText>(),
                           .bars = {},
                           .rows = {}};
    while (!reader.hasTextBehind()) {
        result.bars.push_back(reader.next<FillRoundedRectangle>());
    }
    while (!reader.isAtEnd()) {
        result.rows.push_back(
            {.square = reader.next<FillRoundedRectangle>(),
             .label = reader.next<DrawText>(),
             .lines = {reader.next<FillRoundedRectangle>(), reader.next<FillRoundedRectangle>()}});
    }
    return result;
}

} // namespace InstallerCore::Artwork
