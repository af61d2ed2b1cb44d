#pragma once

#include <QWidget>

namespace InstallerCore {

// The white fade above the footer. Clicks fall through it.
class FooterWidget final : public QWidget {
public:
    explicit FooterWidget(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace InstallerCore
