#include "hosts/linux/window/SleepInhibitor.h"

#include "KavioInstaller/InstallerHost.h"

#include <fcntl.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusUnixFileDescriptor>

namespace InstallerCore {

namespace {

Descriptor inhibit() {
    constexpr int patience = 500; // milliseconds, for a bus that does not answer
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
        QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("Inhibit"));
    call << QStringLiteral("idle:sleep") << QString::fromUtf8(InstallerWindow::title)
         << QString::fromLatin1(InstallerHost::awakeReason) << QStringLiteral("block");
    const QDBusReply<QDBusUnixFileDescriptor> reply =
        QDBusConnection::systemBus().call(call, QDBus::Block, patience);
    const bool isGranted = reply.isValid() && reply.value().isValid();
    return isGranted ? Descriptor(::fcntl(reply.value().fileDescriptor(), F_DUPFD_CLOEXEC, 0)) : Descriptor();
}

} // namespace

void SleepInhibitor::hold(bool isHeld) {
    if (!isHeld) {
        lock_ = Descriptor();
    } else if (lock_.get() < 0) {
        lock_ = inhibit();
    }
}

} // namespace InstallerCore
