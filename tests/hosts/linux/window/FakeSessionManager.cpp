#include "tests/hosts/linux/window/FakeSessionManager.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <array>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace InstallerCore::Testing {

namespace {

void check(bool done, const char* what) {
    if (!done) {
        throw std::runtime_error(what);
    }
}

QByteArray startBus(QProcess& bus) {
    bus.start(QStringLiteral("setpriv"),
              {QStringLiteral("--pdeathsig"), QStringLiteral("KILL"), QStringLiteral("dbus-daemon"),
               QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    check(bus.waitForReadyRead(-1), "there is no message bus");
    return bus.readLine().trimmed();
}

} // namespace

FakeSessionManager::FakeSessionManager() {
    const QByteArray address = startBus(bus_);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
    moveToThread(&thread_);
    thread_.start();
    QDBusConnection connection =
        QDBusConnection::connectToBus(QString::fromLatin1(address), QStringLiteral("session manager"));
    check(connection.registerVirtualObject(QStringLiteral("/org/freedesktop/login1"), this),
          "the session manager has no place");
    check(connection.registerService(QStringLiteral("org.freedesktop.login1")),
          "the session manager has no name");
}

FakeSessionManager::~FakeSessionManager() {
    QDBusConnection::disconnectFromBus(QStringLiteral("session manager"));
    thread_.quit();
    thread_.wait();
    bus_.kill();
    bus_.waitForFinished(-1);
}

void FakeSessionManager::answerWith(Answer answer) {
    const std::scoped_lock guard(lock_);
    answer_ = answer;
}

std::vector<std::string> FakeSessionManager::takeRequests() {
    const std::scoped_lock guard(lock_);
    return std::exchange(requests_, {});
}

void FakeSessionManager::waitForRelease() {
    const std::scoped_lock guard(lock_);
    pollfd end{.fd = granted_.get(), .events = 0, .revents = 0};
    constexpr int patience = 60'000; // milliseconds
    check(::poll(&end, 1, patience) == 1, "it was not released");
}

std::vector<bool> FakeSessionManager::heldDescriptors() const {
    const std::scoped_lock guard(lock_);
    struct stat wanted{};
    check(::fstat(granted_.get(), &wanted) == 0, "nothing was granted");
    std::vector<bool> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int number = std::stoi(entry.path().filename().string());
        struct stat status{};
        if (number != granted_.get() && ::fstat(number, &status) == 0 && status.st_ino == wanted.st_ino &&
            status.st_dev == wanted.st_dev) {
            found.push_back((::fcntl(number, F_GETFD) & FD_CLOEXEC) == 0);
        }
    }
    return found;
}

bool FakeSessionManager::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    if (message.member() != QStringLiteral("Inhibit") ||
        message.interface() != QStringLiteral("org.freedesktop.login1.Manager")) {
        return false;
    }
    const std::scoped_lock guard(lock_);
    std::string request;
    for (const QVariant& argument : message.arguments()) {
        request += (request.empty() ? "" : "|") + argument.toString().toStdString();
    }
    requests_.push_back(request);
    std::array<int, 2> ends{};
    switch (answer_) {
    case Answer::grant:
        check(::pipe2(ends.data(), O_CLOEXEC) == 0, "there is no pipe");
        granted_ = Descriptor(ends[0]);
        {
            const Descriptor theirs(ends[1]);
            connection.send(message.createReply(QVariant::fromValue(QDBusUnixFileDescriptor(theirs.get()))));
        }
        break;
    case Answer::refuse:
        connection.send(message.createErrorReply(QDBusError::AccessDenied, QStringLiteral("not today")));
        break;
    case Answer::none:
        break;
    }
    return true;
}

} // namespace InstallerCore::Testing
