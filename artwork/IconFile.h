#pragma once

#include <QByteArray>
#include <QImage>

namespace InstallerCore::Artwork {

// The installer's icon, that many pixels each way.
[[nodiscard]] QImage iconPicture(int pixels);

// A file as a Mac reads it ("icns"), with the pictures for 16 to 512 points at one and at two pixels
// a point. Integers are big-endian.
//   file      0 "icns", 4 its length, then the pictures
//   picture   0 its kind, 4 its length with these eight bytes, then a PNG file; of the two smallest kinds
//             "ARGB" and the four channels one after the other, each packed
//   packed    a byte below 128 and one more than so many bytes as they are, or a byte from 128 on and one
//   byte to be
//             repeated 125 times less than that
[[nodiscard]] QByteArray iconFile();

} // namespace InstallerCore::Artwork
