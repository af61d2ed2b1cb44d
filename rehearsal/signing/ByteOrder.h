#pragma once

#include "InstallerCore/support/Bytes.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

// Integers in files. Whatever lies outside the bytes is a std::runtime_error.
namespace InstallerCore::Rehearsal {

enum class ByteOrder { big, little };

namespace Detail {
template <std::unsigned_integral T>
constexpr unsigned shiftOf(std::size_t index, ByteOrder order) {
    return static_cast<unsigned>(8 * (order == ByteOrder::little ? index : sizeof(T) - 1 - index));
}

inline void requireWithin(std::size_t size, std::size_t offset, std::size_t length) {
    if (offset > size || length > size - offset) {
        throw std::runtime_error("a file refers to what lies behind its end");
    }
}
} // namespace Detail

template <std::unsigned_integral T>
T load(ByteView bytes, std::size_t offset, ByteOrder order) {
    Detail::requireWithin(bytes.size(), offset, sizeof(T));
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value |= static_cast<T>(std::to_integer<T>(bytes[offset + i]) << Detail::shiftOf<T>(i, order));
    }
    return value;
}

template <std::unsigned_integral T>
void store(Bytes& bytes, std::size_t offset, T value, ByteOrder order) {
    Detail::requireWithin(bytes.size(), offset, sizeof(T));
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes[offset + i] = static_cast<std::byte>(value >> Detail::shiftOf<T>(i, order));
    }
}

template <std::unsigned_integral T>
void append(Bytes& bytes, T value, ByteOrder order) {
    bytes.resize(bytes.size() + sizeof(T));
    store(bytes, bytes.size() - sizeof(T), value, order);
}

inline void append(Bytes& bytes, ByteView more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline ByteView slice(ByteView bytes, std::size_t offset, std::size_t length) {
    Detail::requireWithin(bytes.size(), offset, length);
    return bytes.subspan(offset, length);
}

} // namespace InstallerCore::Rehearsal
