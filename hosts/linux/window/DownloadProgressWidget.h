#pragma once

#include "KavioInstaller/Announcements.h"
#include "KavioInstaller/DownloadProgressView.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QWidget>
#include <optional>

namespace InstallerCore {

// The opacity of an animation that began that many seconds ago.
[[nodiscard]] double opacityAt(const ActivityAnimation& animation, double seconds);

// The thin bar. Repaints when its value changes, and a few times a second while it pulses in sight.
class DownloadProgressWidget final : public QWidget {
public:
    explicit DownloadProgressWidget(QWidget* parent);

    void setView(const DownloadProgressView& view);

    [[nodiscard]] const DownloadProgressView& view() const { return view_; }

    // What a screen reader is told; none while nobody knows.
    [[nodiscard]] std::optional<double> accessibleValue() const { return announcements_.value(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    [[nodiscard]] ProgressDrawing drawing() const;
    void announce();
    void updateTimer();

    DownloadProgressView view_;
    ProgressAnnouncements announcements_;
    QBasicTimer timer_;
    QElapsedTimer sinceAnimation_;
};

} // namespace InstallerCore
