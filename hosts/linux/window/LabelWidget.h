#pragma once

#include "KavioInstaller/InstallerWindow.h"

#include <QLabel>

namespace InstallerCore {

// A label whose text may keep to a part of its frame, and whose base direction is its value's, not its
// text's.
class LabelWidget final : public QLabel {
public:
    explicit LabelWidget(QWidget* parent);

    // Text, font, alignment and direction; where it is and whether it is seen are the owner's. The text's
    // frame is in the label's own coordinates.
    void setValue(const TextLabel& label, const QRect& textFrame);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TextLabel label_;
    QRect textFrame_;
};

} // namespace InstallerCore
