#include "hosts/linux/window/MainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <future>
#include <utility>

namespace InstallerCore {

void MainQueue::post(std::function<void()> work) {
    const std::scoped_lock guard(lock_);
    works_.push_back(std::move(work));
    QCoreApplication::postEvent(this, new QEvent(QEvent::User)); // Qt's to delete
}

void MainQueue::postAndWait(const std::function<void()>& work) {
    std::promise<void> done;
    post([&work, &done] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void MainQueue::customEvent(QEvent* /*event*/) {
    std::function<void()> work;
    {
        const std::scoped_lock guard(lock_);
        work = std::move(works_.front());
        works_.pop_front();
    }
    work();
}

} // namespace InstallerCore
