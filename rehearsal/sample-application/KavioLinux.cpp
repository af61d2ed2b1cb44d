// What runs as the sample application on Linux. Started by a desktop, all its streams closed off, it shows a
// small window until that is closed. Else it sends back each byte of its input and ends with status 0 when
// the input does; with --stay it waits for a signal instead.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

constexpr std::uint16_t width = 420;
constexpr std::uint16_t height = 200;
constexpr std::uint32_t lilac = 0xF0EBFF;
constexpr std::uint32_t purple = 0x6E4DE8;
constexpr std::string_view title = "Kavio";
constexpr std::string_view sentence = "Kavio is open. This is the sample application.";

bool isClosedOff(int descriptor) {
    constexpr unsigned memoryDevices = 1;
    constexpr unsigned nullDevice = 3;
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
           major(status.st_rdev) == memoryDevices && minor(status.st_rdev) == nullDevice;
}

void draw(xcb_connection_t* connection, xcb_window_t window) {
    const xcb_gcontext_t context = xcb_generate_id(connection);
    const std::array colors = {purple, lilac};
    xcb_create_gc(connection, context, window, XCB_GC_FOREGROUND | XCB_GC_BACKGROUND, colors.data());
    const xcb_rectangle_t band{.x = 0, .y = 0, .width = width, .height = 48};
    xcb_poly_fill_rectangle(connection, window, context, 1, &band);
    xcb_image_text_8(connection, static_cast<std::uint8_t>(sentence.size()), window, context, 60, 120,
                     sentence.data());
    xcb_free_gc(connection, context);
    xcb_flush(connection);
}

int showWindow() {
    const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> connection(
        xcb_connect(nullptr, nullptr), xcb_disconnect);
    if (xcb_connection_has_error(connection.get()) != 0) {
        return 1;
    }
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    const xcb_window_t window = xcb_generate_id(connection.get());
    const std::array<std::uint32_t, 2> values = {lilac, XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, screen->root, 180, 160, width, height,
                      0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values.data());
    constexpr std::uint8_t bits = 8;
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                        bits, static_cast<std::uint32_t>(title.size()), title.data());
    xcb_map_window(connection.get(), window);
    xcb_flush(connection.get());
    while (xcb_generic_event_t* const event = xcb_wait_for_event(connection.get())) {
        constexpr unsigned kindMask = 0x7F;
        if ((event->response_type & kindMask) == XCB_EXPOSE) {
            draw(connection.get(), window);
        }
        std::free(event);
    }
    return 0; // the window was closed, and the connection with it
}

int echo() {
    char byte = 0;
    while (::read(STDIN_FILENO, &byte, 1) == 1) {
        if (::write(STDOUT_FILENO, &byte, 1) != 1) {
            return 1;
        }
    }
    return 0;
}

} // namespace

int main(int count, char** arguments) {
    if (count > 1 && std::string_view(arguments[1]) == "--stay") {
        for (;;) {
            ::pause();
        }
    }
    const bool isOnDesktop = isClosedOff(STDIN_FILENO) && isClosedOff(STDOUT_FILENO);
    return isOnDesktop ? showWindow() : echo();
}
