#include "KavioInstaller/WelcomeView.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>

namespace InstallerCore {

namespace {

// One line of the list in the card: a label in a square, and how long the two lines beside it are.
struct Row {
    const char* label;
    double first;
    double second;
};

struct Page {
    const char* title;
    const char* subtitle;
    const char* cardTitle;
    bool hasWaveform;
    double firstRow; // y
    std::span<const Row> rows;
};

// Two people take turns.
constexpr std::array<Row, 3> transcript = {{{.label = "m", .first = 214, .second = 168},
                                            {.label = "w", .first = 186, .second = 132},
                                            {.label = "m", .first = 226, .second = 92}}};
constexpr std::array<Row, 4> summary = {{{.label = "✓", .first = 226, .second = 190},
                                         {.label = "✓", .first = 204, .second = 148},
                                         {.label = "✓", .first = 218, .second = 112},
                                         {.label = "✓", .first = 176, .second = 134}}};
constexpr std::array<Row, 4> found = {{{.label = "w", .first = 196, .second = 224},
                                       {.label = "m", .first = 222, .second = 158},
                                       {.label = "m", .first = 178, .second = 206},
                                       {.label = "w", .first = 210, .second = 120}}};

constexpr std::array<Page, 3> pages = {{
    {.title = "Stay in the conversation.",
     .subtitle = "Capture your meetings with Kavio.",
     .cardTitle = "Meeting transcript",
     .hasWaveform = true,
     .firstRow = 204,
     .rows = transcript},
    {.title = "From conversation\nto clarity.",
     .subtitle = "Turn meeting transcripts into AI summaries.",
     .cardTitle = "AI summary",
     .hasWaveform = false,
     .firstRow = 152,
     .rows = summary},
    {.title = "Find the moments\nthat matter.",
     .subtitle = "Review your transcripts, all in one place.",
     .cardTitle = "Search your meetings",
     .hasWaveform = false,
     .firstRow = 152,
     .rows = found},
}};

// Somebody speaks, pauses and goes on.
constexpr std::array<double, 20> heights = {6, 10, 17, 28, 22, 34, 29, 19, 25, 14,
                                            8, 6,  11, 20, 31, 37, 26, 30, 18, 9};
constexpr std::size_t barCount = 32;
constexpr double heightLimit = 38; // all are below
static_assert(std::ranges::max(heights) < heightLimit);

FillRoundedRectangle filled(Rect rectangle, double radius, Color color) {
    return {.rectangle = rectangle, .radius = radius, .color = color};
}

void addWaveform(Drawing& drawing, Color purple) {
    constexpr double middle = 160;
    constexpr double barWidth = 4;
    for (std::size_t bar = 0; bar < barCount; ++bar) {
        const double height = heights.at(bar % heights.size());
        drawing.emplace_back(filled({.x = 444 + 8 * static_cast<double>(bar),
                                     .y = middle - height / 2,
                                     .width = barWidth,
                                     .height = height},
                                    2, purple.withAlpha(0.65)));
    }
}

void addRow(Drawing& drawing, const Row& row, double y, Color purple) {
    constexpr Color placeholder = Color::gray(0.89);
    drawing.emplace_back(filled({.x = 442, .y = y, .width = 22, .height = 22}, 7, purple.withAlpha(0.12)));
    drawing.emplace_back(DrawText{.text = row.label,
                                  .frame = {.x = 448, .y = y + 2, .width = 16, .height = 18},
                                  .font = {.size = 12},
                                  .color = purple});
    drawing.emplace_back(filled({.x = 476, .y = y + 3, .width = row.first, .height = 6}, 3, placeholder));
    drawing.emplace_back(filled({.x = 476, .y = y + 15, .width = row.second, .height = 6}, 3, placeholder));
}

void addTexts(Drawing& drawing, const Page& page, Color purple) {
    constexpr Color darkGray = Color::gray(1.0 / 3);
    constexpr Color titleColor = Color::gray(0.16);
    drawing.emplace_back(DrawText{.text = "kavio",
                                  .frame = {.x = 40, .y = 34, .width = 200, .height = 42},
                                  .font = {.size = 30, .weight = FontWeight::bold},
                                  .color = purple});
    drawing.emplace_back(DrawText{.text = page.title,
                                  .frame = {.x = 40, .y = 118, .width = 350, .height = 110},
                                  .font = {.size = 32, .weight = FontWeight::bold},
                                  .color = titleColor});
    drawing.emplace_back(DrawText{.text = page.subtitle,
                                  .frame = {.x = 40, .y = 244, .width = 320, .height = 65},
                                  .font = {.size = 17},
                                  .color = darkGray});
}

void addCard(Drawing& drawing, const Page& page, Color purple) {
    constexpr double rowDistance = 39;
    drawing.emplace_back(
        FillShadowed{.shape = filled({.x = 420, .y = 76, .width = 310, .height = 246}, 18, Color::gray(1)),
                     .shadow = Color::gray(0, 0.12),
                     .blurRadius = 24,
                     .offset = {.x = 0, .y = 5}});
    drawing.emplace_back(DrawText{.text = page.cardTitle,
                                  .frame = {.x = 442, .y = 101, .width = 270, .height = 25},
                                  .font = {.size = 16, .weight = FontWeight::semibold},
                                  .color = Color::gray(0.16)});
    if (page.hasWaveform) {
        addWaveform(drawing, purple);
    }
    double y = page.firstRow;
    for (const Row& row : page.rows) {
        addRow(drawing, row, y, purple);
        y += rowDistance;
    }
}

} // namespace

Drawing WelcomeView::draw(Size size) const {
    if (page >= pages.size()) {
        std::abort(); // nobody but us sets it
    }
    constexpr Color lilac{.red = 0.94, .green = 0.92, .blue = 1};
    Drawing drawing;
    drawing.emplace_back(
        FillGradient{.rectangle = {.x = 0, .y = 0, .width = size.width, .height = size.height},
                     .top = lilac,
                     .bottom = Color::gray(1)});
    addTexts(drawing, pages.at(page), purple);
    addCard(drawing, pages.at(page), purple);
    return drawing;
}

} // namespace InstallerCore
