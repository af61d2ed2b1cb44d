#pragma once

#include <sys/types.h>

#include <memory>

struct xcb_connection_t;

namespace InstallerCore::Bench {

// An X server without a screen, which is the display of this process and its children from here on. Exits the
// benchmark when there is none.
class VirtualDisplay {
public:
    VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    ~VirtualDisplay();

    [[nodiscard]] pid_t process() const { return process_; }

    // Return when something, or nothing any more, is painted in the middle of the screen, which is black
    // otherwise. To half a millisecond.
    void waitForPicture() const { waitUntilPainted(true); }

    void waitForNoPicture() const { waitUntilPainted(false); }

private:
    struct Disconnect {
        void operator()(xcb_connection_t* connection) const;
    };

    void waitUntilPainted(bool isPainted) const;

    pid_t process_ = -1;
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
};

} // namespace InstallerCore::Bench
