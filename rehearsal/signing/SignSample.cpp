// Signs bundles and executable files in place, for trying by hand.
// Usage: sign-sample PATH... --identity DIRECTORY [--ad-hoc] [--no-timestamp] [--no-runtime] [--ticket]
#include "rehearsal/signing/BundleSigner.h"
#include "rehearsal/signing/TicketMaker.h"

#include <exception>
#include <iostream>
#include <optional>

namespace InstallerCore::Rehearsal {

namespace {

constexpr const char* usage = "usage: sign-sample PATH... --identity DIRECTORY [--ad-hoc] [--no-timestamp] "
                              "[--no-runtime] [--ticket]\n";

struct Request {
    std::vector<std::filesystem::path> paths;
    std::filesystem::path identity;
    BundleOptions options;
    bool ticket = false;

    [[nodiscard]] bool complete() const {
        return !paths.empty() && (!identity.empty() || (options.code.adHoc && !ticket));
    }
};

// Absent for wrong usage.
std::optional<Request> read(const std::vector<std::string>& arguments) {
    Request request;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--identity" && i + 1 < arguments.size()) {
            request.identity = arguments[++i];
        } else if (argument == "--ad-hoc") {
            request.options.code.adHoc = true;
        } else if (argument == "--no-timestamp") {
            request.options.code.cms.timeStamp = false;
        } else if (argument == "--no-runtime") {
            request.options.code.hardenedRuntime = false;
        } else if (argument == "--ticket") {
            request.ticket = true;
        } else if (!argument.starts_with("--")) {
            request.paths.emplace_back(argument);
        } else {
            return std::nullopt;
        }
    }
    return request.complete() ? std::optional(request) : std::nullopt;
}

void run(const Request& request) {
    std::optional<SigningIdentity> identity;
    if (!request.identity.empty()) {
        identity = SigningIdentity::load(request.identity);
    }
    for (const std::filesystem::path& path : request.paths) {
        const SignedCode code = sign(path, identity ? &*identity : nullptr, request.options);
        if (request.ticket) {
            stapleTicket(path, *identity);
        }
        std::cout << path.string() << ": " << code.identifier << '\n';
    }
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    using namespace InstallerCore::Rehearsal;
    try {
        const std::optional<Request> request = read({arguments + 1, arguments + count});
        if (!request) {
            std::cerr << usage;
            return 2;
        }
        run(*request);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "sign-sample: " << error.what() << '\n';
        return 1;
    }
}
