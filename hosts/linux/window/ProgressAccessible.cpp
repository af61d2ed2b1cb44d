#include "hosts/linux/window/ProgressAccessible.h"

#include "hosts/linux/window/DownloadProgressWidget.h"

namespace InstallerCore {

namespace {

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object) {
    auto* bar = dynamic_cast<DownloadProgressWidget*>(object);
    return bar == nullptr ? nullptr : new ProgressAccessible(bar); // Qt's to delete
}

} // namespace

ProgressAccessible::ProgressAccessible(DownloadProgressWidget* bar)
    : QAccessibleWidget(bar, QAccessible::ProgressBar) {}

void ProgressAccessible::install() {
    QAccessible::installFactory(makeInterface);
}

void* ProgressAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::ValueInterface) {
        return static_cast<QAccessibleValueInterface*>(this);
    }
    return QAccessibleWidget::interface_cast(type);
}

QAccessible::State ProgressAccessible::state() const {
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = true;
    state.busy = bar().view().isIndeterminate;
    return state;
}

QVariant ProgressAccessible::currentValue() const {
    const auto value = bar().accessibleValue();
    return value ? QVariant(*value) : QVariant();
}

void ProgressAccessible::setCurrentValue(const QVariant& /*value*/) {}

QVariant ProgressAccessible::maximumValue() const {
    return bar().view().maxValue;
}

QVariant ProgressAccessible::minimumValue() const {
    return bar().view().minValue;
}

QVariant ProgressAccessible::minimumStepSize() const {
    return {};
}

const DownloadProgressWidget& ProgressAccessible::bar() const {
    return *static_cast<const DownloadProgressWidget*>(widget());
}

} // namespace InstallerCore
