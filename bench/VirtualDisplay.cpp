#include "bench/VirtualDisplay.h"

#include "bench/Measure.h"

#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <thread>

namespace InstallerCore::Bench {

namespace {

constexpr std::int16_t width = 1000;
constexpr std::int16_t height = 720;

std::string readLine(int descriptor) {
    std::string line;
    char byte = 0;
    while (::read(descriptor, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

} // namespace

void VirtualDisplay::Disconnect::operator()(xcb_connection_t* connection) const {
    xcb_disconnect(connection);
}

VirtualDisplay::VirtualDisplay() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        fail("there is no pipe");
    }
    const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
    process_ = startProgram({"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", screen,
                             "-nolisten", "tcp", "-noreset"});
    ::close(ends[1]);
    const std::string number = readLine(ends[0]);
    ::close(ends[0]);
    ::setenv("DISPLAY", (":" + number).c_str(), 1);
    ::unsetenv("WAYLAND_DISPLAY");
    connection_.reset(xcb_connect(nullptr, nullptr));
    if (number.empty() || xcb_connection_has_error(connection_.get()) != 0) {
        fail("Xvfb does not run");
    }
}

VirtualDisplay::~VirtualDisplay() {
    connection_.reset();
    static_cast<void>(endProgram(process_, SIGTERM));
}

void VirtualDisplay::waitUntilPainted(bool isPainted) const {
    xcb_connection_t* const connection = connection_.get();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    constexpr std::uint32_t allPlanes = 0xFFFFFFFF;
    constexpr std::uint32_t color = 0xFFFFFF;
    for (;;) {
        const auto request = xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, width / 2, height / 2,
                                           1, 1, allPlanes);
        const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> reply(
            xcb_get_image_reply(connection, request, nullptr), &std::free);
        if (!reply) {
            fail("the display is gone");
        }
        const auto* const pixel = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(reply.get()));
        if (((*pixel & color) != 0) == isPainted) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
}

} // namespace InstallerCore::Bench
