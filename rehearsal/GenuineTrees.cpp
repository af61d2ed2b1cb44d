#include "rehearsal/GenuineTrees.h"

#include "rehearsal/TreeDigest.h"

#include <exception>
#include <filesystem>

namespace InstallerCore::Rehearsal {

namespace {

class Tree final : public StaticCode {
public:
    Tree(std::filesystem::path bundle, const std::set<std::string>& digests)
        : bundle_(std::move(bundle)), digests_(digests) {}

    [[nodiscard]] bool isValid(const SigningRequirement& /*requirement*/) const override {
        try {
            return digests_.contains(treeDigest(bundle_));
        } catch (const std::exception&) {
            return false; // what cannot be read cannot be valid
        }
    }

private:
    std::filesystem::path bundle_;
    const std::set<std::string>& digests_;
};

} // namespace

std::unique_ptr<StaticCode> GenuineTrees::staticCode(const std::filesystem::path& bundle) const {
    std::error_code error;
    return std::filesystem::is_directory(bundle, error) ? std::make_unique<Tree>(bundle, digests_) : nullptr;
}

std::unique_ptr<SigningRequirement> GenuineTrees::requirement(const std::string& /*text*/) const {
    return std::make_unique<SigningRequirement>();
}

} // namespace InstallerCore::Rehearsal
