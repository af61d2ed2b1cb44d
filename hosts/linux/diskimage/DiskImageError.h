#pragma once

#include <stdexcept>

namespace InstallerCore {

// A disk image that is damaged, hostile or of a kind that is not read here. what() is a clause for a person.
class DiskImageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace InstallerCore
