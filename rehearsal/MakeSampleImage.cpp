// Makes a disk image of the sample application, or of what is in a directory.
// Usage: make-sample-image OUT --version V [--compression raw|zlib|bzip2|lzma] [--files N --bytes M]
//                          [--arch arm64|x64|universal] [--executables DIRECTORY]
//        make-sample-image OUT --content DIRECTORY --volume NAME [--compression raw|zlib|bzip2|lzma]
#include "rehearsal/SampleImage.h"

#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace InstallerCore::Rehearsal {

namespace {

UdifCompression compression(const std::string& name) {
    const std::map<std::string, UdifCompression> compressions = {
        {"raw", UdifCompression::raw},
        {"zlib", UdifCompression::zlib},
        {"bzip2", UdifCompression::bzip2},
        {"lzma", UdifCompression::lzma},
    };
    const auto found = compressions.find(name);
    if (found == compressions.end()) {
        throw std::runtime_error("there is no compression " + name);
    }
    return found->second;
}

struct Request {
    std::string image;
    SampleApplicationOptions application;
    SampleImageOptions options;
    std::string content; // a directory; empty for the sample application
};

std::uint64_t number(const std::string& text) {
    if (text.empty() || text.size() > 18 || text.find_first_not_of("0123456789") != std::string::npos) {
        throw std::runtime_error("this is no number: " + text);
    }
    return std::stoull(text);
}

void apply(const std::string& option, const std::string& value, Request& request) {
    if (option == "--version") {
        request.application.version = value;
    } else if (option == "--compression") {
        request.options.container.compression = compression(value);
    } else if (option == "--files") {
        request.application.payloadFiles = number(value);
    } else if (option == "--bytes") {
        request.application.payloadBytes = number(value);
    } else if (option == "--executables") {
        request.application.executables = value;
    } else if (option == "--content") {
        request.content = value;
    } else if (option == "--volume") {
        request.options.volumeName = value;
    } else if (option == "--arch" && value != "universal") {
        request.application.architectures = {value};
    } else if (option != "--arch") {
        throw std::runtime_error("there is no " + option + " " + value);
    }
}

void run(const std::vector<std::string>& arguments) {
    if (arguments.size() % 2 == 0) {
        throw std::runtime_error(
            "usage: make-sample-image OUT --version V [--compression raw|zlib|bzip2|lzma] "
            "[--files N --bytes M] [--arch arm64|x64|universal] [--executables DIRECTORY], or "
            "OUT --content DIRECTORY --volume NAME [--compression ...]");
    }
    Request request{.image = arguments[0]};
    for (std::size_t i = 1; i < arguments.size(); i += 2) {
        apply(arguments[i], arguments[i + 1], request);
    }
    if (request.content.empty()) {
        makeSampleImage(request.application, request.image, request.options);
    } else {
        packImage(request.content, request.image, request.options);
    }
}

} // namespace

} // namespace InstallerCore::Rehearsal

int main(int count, char** arguments) {
    try {
        InstallerCore::Rehearsal::run({arguments + 1, arguments + count});
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "make-sample-image: " << error.what() << '\n';
        return 1;
    }
}
