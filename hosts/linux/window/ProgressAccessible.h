#pragma once

#include <QAccessibleWidget>

namespace InstallerCore {

class DownloadProgressWidget;

// The bar to a screen reader: a progress indicator with a value, which is absent while nobody knows it.
class ProgressAccessible final : public QAccessibleWidget, public QAccessibleValueInterface {
public:
    explicit ProgressAccessible(DownloadProgressWidget* bar);

    // Makes the interface of each DownloadProgressWidget from now on; once is enough.
    static void install();

    void* interface_cast(QAccessible::InterfaceType type) override;
    [[nodiscard]] QAccessible::State state() const override;

    [[nodiscard]] QVariant currentValue() const override;
    void setCurrentValue(const QVariant& value) override; // nobody but the flow does
    [[nodiscard]] QVariant maximumValue() const override;
    [[nodiscard]] QVariant minimumValue() const override;
    [[nodiscard]] QVariant minimumStepSize() const override;

private:
    [[nodiscard]] const DownloadProgressWidget& bar() const;
};

} // namespace InstallerCore
