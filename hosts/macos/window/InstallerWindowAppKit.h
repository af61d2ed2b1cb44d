#pragma once

#include "KavioInstaller/Announcements.h"
#include "KavioInstaller/InstallerWindow.h"

#import <AppKit/AppKit.h>

@class AppDelegateAppKit;
@class DownloadProgressViewAppKit;
@class InstallerFooterBlendAppKit;
@class VideoIntroViewAppKit;

namespace InstallerCore {

// The installer's window, for the main thread. Not on the screen until it is ordered to the front.
class InstallerWindowAppKit {
public:
    // The delegate says whether the window may close, and is what the button tells that it was pressed.
    explicit InstallerWindowAppKit(AppDelegateAppKit* delegate);

    // Brings all of the window in line with the value.
    void show(const InstallerWindow& value);

    void orderFront();
    void orderOut();

private:
    void setUpWindow(AppDelegateAppKit* delegate);
    [[nodiscard]] NSView* view(InstallerWindow::View view) const;
    void announce(const std::string& text);

    NSWindow* window_;
    VideoIntroViewAppKit* intro_;
    InstallerFooterBlendAppKit* footer_;
    NSView* labelArea_;
    NSTextField* label_; // in its area
    DownloadProgressViewAppKit* bar_;
    NSTextField* percentage_;
    NSButton* action_;
    StatusAnnouncements announcements_;
};

} // namespace InstallerCore
