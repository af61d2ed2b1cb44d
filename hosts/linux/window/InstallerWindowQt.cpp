#include "hosts/linux/window/InstallerWindowQt.h"

#include "hosts/linux/window/DownloadProgressWidget.h"
#include "hosts/linux/window/FooterWidget.h"
#include "hosts/linux/window/IntroWidget.h"
#include "hosts/linux/window/LabelWidget.h"
#include "hosts/linux/window/QtValues.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <utility>

namespace InstallerCore {

namespace {

constexpr Font buttonFont{.size = 13, .weight = FontWeight::semibold};

// Qt's own button in the colours of the bar, and of one shape under every desktop.
constexpr const char* buttonStyle = R"(
QPushButton { color: white; background: #0a7aff; border: none; border-radius: 8px; }
QPushButton:hover { background: #2b8cff; }
QPushButton:pressed { background: #0667da; }
QPushButton:disabled { color: #8a94a3; background: #e6edf5; }
)";

QRect placed(const Rect& frame) {
    return fromBottomLeft(frame, InstallerWindow::contentSize.height);
}

void setLabel(LabelWidget& widget, const TextLabel& label, double textWidth) {
    widget.setGeometry(placed(label.frame));
    widget.setValue(label, textWidth);
    widget.setVisible(!label.isHidden);
}

} // namespace

InstallerWindowQt::InstallerWindowQt(Actions actions)
    : QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint),
      actions_(std::move(actions)),
      intro_(new IntroWidget(this)),
      footer_(new FooterWidget(this)),
      label_(new LabelWidget(this)),
      bar_(new DownloadProgressWidget(this)),
      percentage_(new LabelWidget(this)),
      action_(new QPushButton(this)) {
    const QSize size =
        QSizeF(InstallerWindow::contentSize.width, InstallerWindow::contentSize.height).toSize();
    setFixedSize(size);
    setWindowTitle(QString::fromUtf8(InstallerWindow::title));
    move(QGuiApplication::primaryScreen()->availableGeometry().center() - QRect(QPoint(), size).center());

    for (const auto each : InstallerWindow::order) {
        view(each)->raise();
    }
    intro_->setAccessibleName(QString::fromLatin1(VideoIntroView::accessibleName));
    action_->setFont(toQt(buttonFont));
    action_->setStyleSheet(QString::fromLatin1(buttonStyle));
    action_->setDefault(true);
    connect(action_, &QPushButton::clicked, this, [this] { actions_.action(); });
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* shortcut = new QShortcut(key, this);
        shortcut->setAutoRepeat(false);
        connect(shortcut, &QShortcut::activated, action_, &QPushButton::click);
    }
}

void InstallerWindowQt::setValue(const InstallerWindow& window) {
    intro_->setGeometry(placed(window.introFrame));
    intro_->setView(window.intro);
    footer_->setGeometry(placed(window.footerFrame));
    setLabel(*label_, window.label, window.labelTextWidth());
    bar_->setGeometry(placed(window.barFrame));
    bar_->setView(window.bar);
    bar_->setVisible(!window.isBarHidden);
    bar_->setAccessibleName(toQt(window.barName()));
    setLabel(*percentage_, window.percentage, window.percentage.frame.width);
    setAction(window.action);
    action_->setAccessibleDescription(toQt(window.announcement()));
    if (announcements_.take(window)) {
        action_->setFocus(); // so that a screen reader says both
    }
}

void InstallerWindowQt::setAction(const PushButton& action) {
    action_->setGeometry(placed(action.frame));
    action_->setText(toQt(action.title));
    action_->setEnabled(action.canBePressed());
    action_->setVisible(!action.isHidden);
}

QWidget* InstallerWindowQt::view(InstallerWindow::View view) const {
    switch (view) {
    case InstallerWindow::View::intro:
        return intro_;
    case InstallerWindow::View::footer:
        return footer_;
    case InstallerWindow::View::label:
        return label_;
    case InstallerWindow::View::bar:
        return bar_;
    case InstallerWindow::View::percentage:
        return percentage_;
    case InstallerWindow::View::action:
        return action_;
    }
    return nullptr;
}

void InstallerWindowQt::orderFront() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void InstallerWindowQt::orderOut() {
    hide();
}

void InstallerWindowQt::closeEvent(QCloseEvent* event) {
    event->setAccepted(actions_.shouldClose());
}

} // namespace InstallerCore
