#include "artwork/IconFile.h"

#include "artwork/InstallerIcon.h"
#include "hosts/linux/window/DrawingPainter.h"

#include <QBuffer>
#include <QPainter>
#include <array>
#include <cstdint>

namespace InstallerCore::Artwork {

namespace {

struct Kind {
    const char* name;
    int pixels;
    bool isPacked;
};

constexpr std::array<Kind, 10> kinds = {{
    {.name = "ic04", .pixels = 16, .isPacked = true},
    {.name = "ic11", .pixels = 32, .isPacked = false}, // 16 points
    {.name = "ic05", .pixels = 32, .isPacked = true},
    {.name = "ic12", .pixels = 64, .isPacked = false}, // 32 points
    {.name = "ic07", .pixels = 128, .isPacked = false},
    {.name = "ic13", .pixels = 256, .isPacked = false}, // 128 points
    {.name = "ic08", .pixels = 256, .isPacked = false},
    {.name = "ic14", .pixels = 512, .isPacked = false}, // 256 points
    {.name = "ic09", .pixels = 512, .isPacked = false},
    {.name = "ic10", .pixels = 1024, .isPacked = false}, // 512 points
}};

void append(QByteArray& bytes, std::uint32_t value) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes.append(static_cast<char>(value >> shift & 0xFFU));
    }
}

QByteArray block(const char* name, const QByteArray& content) {
    constexpr qsizetype header = 8;
    QByteArray result(name);
    append(result, static_cast<std::uint32_t>(header + content.size()));
    return result.append(content);
}

QByteArray png(const QImage& picture) {
    QByteArray result;
    QBuffer buffer(&result);
    buffer.open(QIODevice::WriteOnly);
    constexpr int smallest = 0;
    picture.save(&buffer, "PNG", smallest);
    return result;
}

QByteArray packed(const QByteArray& bytes) {
    constexpr qsizetype shortestRun = 3;
    constexpr qsizetype longestRun = 130;
    constexpr qsizetype longestPlain = 128;
    constexpr qsizetype runMark = 125;
    const auto runAt = [&](qsizetype start) {
        qsizetype end = start;
        while (end < bytes.size() && bytes[end] == bytes[start] && end - start < longestRun) {
            ++end;
        }
        return end - start;
    };
    QByteArray result;
    for (qsizetype at = 0; at < bytes.size();) {
        if (const qsizetype run = runAt(at); run >= shortestRun) {
            result.append(static_cast<char>(run + runMark)).append(bytes[at]);
            at += run;
            continue;
        }
        const qsizetype start = at;
        while (at < bytes.size() && at - start < longestPlain && runAt(at) < shortestRun) {
            ++at;
        }
        result.append(static_cast<char>(at - start - 1)).append(bytes.mid(start, at - start));
    }
    return result;
}

QByteArray packedChannels(const QImage& picture) {
    std::array<QByteArray, 4> channels;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb pixel = picture.pixel(x, y); // not multiplied by its alpha
            channels[0].append(static_cast<char>(qAlpha(pixel)));
            channels[1].append(static_cast<char>(qRed(pixel)));
            channels[2].append(static_cast<char>(qGreen(pixel)));
            channels[3].append(static_cast<char>(qBlue(pixel)));
        }
    }
    QByteArray result("ARGB");
    for (const QByteArray& channel : channels) {
        result.append(packed(channel));
    }
    return result;
}

} // namespace

QImage iconPicture(int pixels) {
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paint(painter, installerIcon(pixels));
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

QByteArray iconFile() {
    QByteArray pictures;
    for (const Kind& kind : kinds) {
        const QImage picture = iconPicture(kind.pixels);
        pictures.append(block(kind.name, kind.isPacked ? packedChannels(picture) : png(picture)));
    }
    return block("icns", pictures);
}

} // namespace InstallerCore::Artwork
