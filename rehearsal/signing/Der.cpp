#include "rehearsal/signing/Der.h"

#include <algorithm>

namespace InstallerCore::Rehearsal::Der {

Bytes value(unsigned char tag, ByteView content) {
    constexpr std::size_t shortForm = 128;
    Bytes head{std::byte{tag}};
    if (content.size() < shortForm) {
        head.push_back(static_cast<std::byte>(content.size()));
    } else {
        Bytes length;
        for (std::size_t rest = content.size(); rest > 0; rest >>= 8U) {
            length.push_back(static_cast<std::byte>(rest));
        }
        std::reverse(length.begin(), length.end());
        head.push_back(static_cast<std::byte>(shortForm | length.size()));
        head.insert(head.end(), length.begin(), length.end());
    }
    return join({head, content});
}

} // namespace InstallerCore::Rehearsal::Der
