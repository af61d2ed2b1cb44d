#pragma once

#include "InstallerCore/support/Bytes.h"

#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore::CodeSign {

// A word of the requirement language.
struct RequirementToken {
    enum class Kind {
        word,   // letters, digits and dots: a keyword, a name, a number or a text without quotation marks
        text,   // "..." without its quotation marks; a backslash takes the next character as it is
        hash,   // H"..." in hexadecimal digits
        symbol, // one of ( ) [ ] ! = * -
    };

    Kind kind;
    std::string text; // of a hash: its bytes

    friend bool operator==(const RequirementToken&, const RequirementToken&) = default;
};

// A text that is not in the requirement language.
class RequirementSyntaxError {};

// The words of the text without the blanks, line ends and comments (of C and C++, and from # to the end of
// the line) between them. Throws RequirementSyntaxError, also for a control character in quotation marks and
// for a text that is not UTF-8. Pure; any thread.
[[nodiscard]] std::vector<RequirementToken> requirementTokens(std::string_view text);

} // namespace InstallerCore::CodeSign
