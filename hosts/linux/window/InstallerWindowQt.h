#pragma once

#include "KavioInstaller/Announcements.h"
#include "KavioInstaller/InstallerWindow.h"

#include <QWidget>
#include <functional>

class QPushButton;

namespace InstallerCore {

class DownloadProgressWidget;
class FooterWidget;
class IntroWidget;
class LabelWidget;

// The installer's window, for the main thread. Not on the screen until it is ordered to the front.
class InstallerWindowQt final : public QWidget {
public:
    struct Actions {
        std::function<bool()> shouldClose; // the user wants to close; whether the window may
        std::function<void()> action;      // the button was pressed
    };

    explicit InstallerWindowQt(Actions actions);

    // Brings all of the window in line with the value; repaints what differs.
    void setValue(const InstallerWindow& window);

    void orderFront();
    void orderOut();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void setAction(const PushButton& action);
    [[nodiscard]] QWidget* view(InstallerWindow::View view) const;

    Actions actions_;
    StatusAnnouncements announcements_;
    IntroWidget* intro_; // all of them this widget's children
    FooterWidget* footer_;
    LabelWidget* label_;
    DownloadProgressWidget* bar_;
    LabelWidget* percentage_;
    QPushButton* action_;
};

} // namespace InstallerCore
