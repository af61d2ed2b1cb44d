#include "artwork/IntroAnimation.h"

#include "artwork/WelcomeElements.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace InstallerCore::Artwork {

namespace {

// All times are seconds. A page's time is 0 when all of it may be at rest; it has begun to come before.
constexpr double loop = 1.0 * IntroAnimation::frameCount / IntroAnimation::framesPerSecond;
constexpr std::size_t pageCount = 3;
constexpr double untilNextPage = loop / pageCount;
constexpr double coming = -1.3;
constexpr double going = 2.5;
constexpr double gone = 3.2;

constexpr std::size_t transcriptPage = 0;
constexpr std::size_t searchPage = 2;

// Between two rows of the page: a summary takes its time.
constexpr std::array<double, pageCount> rowDelays = {0.11, 0.26, 0.14};

// Where in the rows of the last page the words are that were looked for.
struct Found {
    std::size_t line;
    double x; // from the line's begin
    double width;
};

constexpr std::array<Found, 4> findings = {{{.line = 0, .x = 58, .width = 46},
                                            {.line = 1, .x = 24, .width = 58},
                                            {.line = 1, .x = 112, .width = 40},
                                            {.line = 0, .x = 132, .width = 50}}};

// How far something has come that takes so long from its begin: 0 before, 1 after.
double progress(double time, double begin, double duration) {
    return std::clamp((time - begin) / duration, 0.0, 1.0);
}

double easeOut(double x) {
    return 1 - std::pow(1 - x, 3);
}

double easeIn(double x) {
    return x * x;
}

double easeInOut(double x) {
    return x * x * (3 - 2 * x);
}

// A little too far, and back.
double overshoot(double x) {
    constexpr double strength = 1.4;
    return 1 + (strength + 1) * std::pow(x - 1, 3) + strength * std::pow(x - 1, 2);
}

// Up and down again in that time.
double swell(double time, double begin, double duration) {
    return std::pow(std::sin(std::numbers::pi * progress(time, begin, duration)), 2);
}

// How something stands: it comes from the right, goes to the left, and fades in and out meanwhile.
struct Pose {
    double opacity = 1;
    double shift = 0;
};

Pose goingAt(double time, double delay) {
    constexpr double distance = 20;
    const double out = easeIn(progress(time, going + delay, 0.35));
    return {.opacity = 1 - out, .shift = -distance * out};
}

Pose poseAt(double time, double delay) {
    constexpr double distance = 28;
    const double in = easeOut(progress(time, coming + delay, 0.55));
    const Pose out = goingAt(time, delay / 4);
    return {.opacity = in * out.opacity, .shift = distance * (1 - in) + out.shift};
}

Color faded(const Color& color, double opacity) {
    return color.withAlpha(color.alpha * opacity);
}

FillRoundedRectangle scaled(FillRoundedRectangle shape, double scale) {
    Rect& r = shape.rectangle;
    r = {.x = r.x + r.width * (1 - scale) / 2,
         .y = r.y + r.height * (1 - scale) / 2,
         .width = r.width * scale,
         .height = r.height * scale};
    shape.radius *= scale;
    return shape;
}

// One page at one moment, added to a drawing.
class PageAnimation {
public:
    PageAnimation(std::size_t page, double time, const IntroWords& words, Drawing& drawing)
        : page_(page),
          time_(time),
          words_(words),
          drawing_(drawing),
          elements_(WelcomeElements::of({.page = page}, IntroAnimation::size)) {}

    void addTexts() {
        add(elements_.title, poseAt(time_, 0));
        add(elements_.subtitle, poseAt(time_, 0.12));
    }

    void addCardContents() {
        add(elements_.cardTitle, poseAt(time_, 0.06));
        for (std::size_t bar = 0; bar < elements_.bars.size(); ++bar) {
            addBar(bar);
        }
        for (std::size_t row = 0; row < elements_.rows.size(); ++row) {
            addRow(row);
        }
    }

private:
    void add(DrawText text, const Pose& pose) {
        text.text = words_(text.text);
        text.frame.x += pose.shift;
        text.color = faded(text.color, pose.opacity);
        drawing_.emplace_back(std::move(text));
    }

    void add(FillRoundedRectangle shape, const Pose& pose) {
        shape.rectangle.x += pose.shift;
        shape.color = faded(shape.color, pose.opacity);
        drawing_.emplace_back(shape);
    }

    // The voice runs through the bars, each taking over its neighbour's height.
    void addBar(std::size_t index) {
        constexpr double barsPerSecond = 7;
        const auto number = static_cast<double>(index);
        const double run = barsPerSecond * std::max(time_, 0.0) * easeInOut(progress(time_, 0, 0.8));
        const double grown = easeOut(progress(time_, coming + 0.2 + 0.014 * number, 0.5));
        FillRoundedRectangle bar = elements_.bars.at(index);
        Rect& r = bar.rectangle;
        const double middle = r.y + r.height / 2;
        r.height = r.width + (loudness(number + run) - r.width) * grown;
        r.y = middle - r.height / 2;
        add(bar, {.opacity = grown * goingAt(time_, 0.02).opacity, .shift = goingAt(time_, 0.02).shift});
    }

    // At a bar, or between two.
    [[nodiscard]] double loudness(double at) const {
        const double before = std::floor(at);
        const auto first = static_cast<std::size_t>(before);
        const double height = heightOf(first);
        return height + (heightOf(first + 1) - height) * easeInOut(at - before);
    }

    [[nodiscard]] double heightOf(std::size_t bar) const {
        return elements_.bars.at(bar % elements_.bars.size()).rectangle.height;
    }

    void addRow(std::size_t index) {
        const auto number = static_cast<double>(index);
        const double begin = coming + 0.3 + rowDelays.at(page_) * number;
        const Pose out = goingAt(time_, 0.04 + 0.03 * number);
        const double popped = progress(time_, begin, 0.4);
        const Pose appearing{.opacity = easeOut(popped) * out.opacity, .shift = out.shift};
        const WelcomeElements::Row& row = elements_.rows.at(index);
        addSquare(row.square, number, popped, appearing);
        add(row.label, appearing);
        for (std::size_t line = 0; line < row.lines.size(); ++line) {
            addLine(row.lines.at(line), progress(time_, begin + 0.08 + 0.1 * static_cast<double>(line), 0.45),
                    out);
        }
        if (page_ == searchPage) {
            addFound(index, out);
        }
    }

    // Whoever speaks is marked, one after another.
    void addSquare(FillRoundedRectangle square, double row, double popped, const Pose& pose) {
        const double speaks = page_ == transcriptPage ? swell(time_, 0.15 + 0.75 * row, 0.9) : 0;
        square.color.alpha *= 1 + 1.4 * speaks;
        add(scaled(square, 0.5 + 0.5 * overshoot(popped)), pose);
    }

    // Written from the left to the right.
    void addLine(FillRoundedRectangle line, double written, const Pose& pose) {
        const double shortest = line.rectangle.height;
        line.rectangle.width = shortest + (line.rectangle.width - shortest) * easeInOut(written);
        add(line, {.opacity = std::min(1.0, 4 * written) * pose.opacity, .shift = pose.shift});
    }

    // The words that were looked for.
    void addFound(std::size_t row, const Pose& pose) {
        const Found& found = findings.at(row);
        FillRoundedRectangle mark = elements_.rows.at(row).lines.at(found.line);
        mark.rectangle.x += found.x;
        mark.rectangle.width = found.width;
        mark.color = elements_.name.color.withAlpha(0.5);
        const double shown = progress(time_, 0.05 + 0.22 * static_cast<double>(row), 0.45);
        addLine(mark, shown, pose);
    }

    std::size_t page_;
    double time_;
    const IntroWords& words_;
    Drawing& drawing_;
    WelcomeElements elements_;
};

// Where the page is in its time when the video is at that second.
double pageTime(double seconds, std::size_t page) {
    const double inLoop = seconds - loop * std::floor(seconds / loop);
    const double time = inLoop - untilNextPage * static_cast<double>(page);
    if (time < coming) {
        return time + loop;
    }
    return time < loop + coming ? time : time - loop;
}

// What is to be seen of all pages: mostly one, two while they change.
std::vector<PageAnimation> pagesAt(double seconds, const IntroWords& words, Drawing& drawing) {
    std::vector<PageAnimation> result;
    for (std::size_t page = 0; page < pageCount; ++page) {
        const double time = pageTime(seconds, page);
        if (time < gone) {
            result.emplace_back(page, time, words, drawing);
        }
    }
    return result;
}

} // namespace

Drawing IntroAnimation::at(double seconds, const IntroWords& words) {
    const auto still = WelcomeElements::of({}, size);
    Drawing drawing{still.background, still.name};
    auto pages = pagesAt(seconds, words, drawing);
    for (PageAnimation& page : pages) {
        page.addTexts();
    }
    drawing.emplace_back(still.card);
    for (PageAnimation& page : pages) {
        page.addCardContents();
    }
    return drawing;
}

} // namespace InstallerCore::Artwork
