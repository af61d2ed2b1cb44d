#pragma once

#include <QObject>
#include <deque>
#include <functional>
#include <mutex>

namespace InstallerCore {

// Work for the thread that made it, which runs Qt's event loop.
class MainQueue final : public QObject {
public:
    // Runs it there later, in the order of the calls. Any thread.
    void post(std::function<void()> work);

    // The same, and returns when it has run. Any other thread.
    void postAndWait(const std::function<void()>& work);

protected:
    void customEvent(QEvent* event) override;

private:
    std::mutex lock_;
    std::deque<std::function<void()>> works_; // one for each event that was posted
};

} // namespace InstallerCore
