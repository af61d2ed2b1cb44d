#pragma once

#include "hosts/posix/Descriptor.h"

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QThread>
#include <mutex>
#include <string>
#include <vector>

namespace InstallerCore::Testing {

// The system's message bus for this process, and on it the part of the session manager that keeps a machine
// awake. It answers from a thread of its own. One for a process, before anything else uses the bus.
class FakeSessionManager final : private QDBusVirtualObject {
public:
    enum class Answer { grant, refuse, none };

    FakeSessionManager();
    FakeSessionManager(const FakeSessionManager&) = delete;
    FakeSessionManager& operator=(const FakeSessionManager&) = delete;
    ~FakeSessionManager() override;

    void answerWith(Answer answer);

    // What it was asked since the last look: the four arguments, joined by bars.
    [[nodiscard]] std::vector<std::string> takeRequests();

    // Waits until nobody holds what was granted last.
    void waitForRelease();

    // Descriptors of this process for what was granted last, for a moment also the answer's own: whether each
    // would go to a child.
    [[nodiscard]] std::vector<bool> heldDescriptors() const;

private:
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

    [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

    QProcess bus_;
    QThread thread_;
    mutable std::mutex lock_;
    Answer answer_ = Answer::grant;
    std::vector<std::string> requests_;
    Descriptor granted_; // the end of a pipe that hears of its release
};

} // namespace InstallerCore::Testing
