#include "hosts/contract/Contract.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <system_error>

namespace InstallerCore::HostContract {

void Contract::that(const std::string& what, bool holds) {
    std::printf("%s %s\n", holds ? "ok    " : "FAILED", what.c_str());
    if (!holds) {
        failures_.push_back(what);
    }
}

void Contract::part(const std::string& name, const std::function<void(Contract&)>& checks) {
    std::printf("\n%s\n", name.c_str());
    try {
        checks(*this);
    } catch (const std::exception& error) {
        that(std::string("no exception: ") + error.what(), false);
    }
}

TemporaryFolder::TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "kavio-contract-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
        throw PlatformError(FileErrorCode::writeUnknown);
    }
    path_ = std::filesystem::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace InstallerCore::HostContract
