#pragma once

#include "KavioInstaller/InstallerWindow.h"

#include <QLabel>

namespace InstallerCore {

// A label whose text may keep to the left part of its frame, and whose base direction is its value's, not its
// text's.
class LabelWidget final : public QLabel {
public:
    explicit LabelWidget(QWidget* parent);

    // Text, font, alignment and direction; where it is and whether it is seen are the owner's.
    void setValue(const TextLabel& label, double textWidth);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TextLabel label_;
    double textWidth_ = 0;
};

} // namespace InstallerCore
