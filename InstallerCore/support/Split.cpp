#include "InstallerCore/support/Split.h"

namespace InstallerCore {

std::vector<std::string_view> split(std::string_view text, char separator, EmptyPieces empty) {
    std::vector<std::string_view> pieces;
    while (true) {
        const std::size_t end = text.find(separator);
        const std::string_view piece = text.substr(0, end);
        if (!piece.empty() || empty == EmptyPieces::keep) {
            pieces.push_back(piece);
        }
        if (end == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(end + 1);
    }
}

} // namespace InstallerCore
